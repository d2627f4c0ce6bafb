#include "UiStrips.h"

#include <QColor>
#include <QFont>
#include <QFontInfo>
#include <QFontMetricsF>
#include <QMap>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>

namespace corpus {
namespace {

// Where a part of a row goes: after the previous part with a gap, at a column, or pushed
// against the right edge (right parts keep their order, the last one ends at the margin).
enum class Place { after, column, right };
enum class Look { normal, secondary, bold };

struct Part {
    QString text;
    Place place = Place::after;
    double at = 0; // em: the gap before it (after, right) or the column (column)
    Look look = Look::normal;
};

struct Row {
    QList<Part> parts = {};
    bool highlighted = false; // a selected tab or menu
};

struct Strip {
    QString kind;
    bool monospace = false;
    double minimumWidth = 0; // em
    double rowHeight = 1.8;  // em
    QList<Row> rows = {};
};

class Random {
public:
    explicit Random(unsigned seed) : engine_(seed) {}
    int between(int low, int high) { return std::uniform_int_distribution<int>(low, high)(engine_); }
    double between(double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(engine_);
    }
    bool chance(double p) { return between(0.0, 1.0) < p; }
    template <typename T> const T& pick(const QList<T>& list) {
        return list[between(0, int(list.size()) - 1)];
    }
    // `count` different items, in the list's order.
    QStringList several(const QStringList& list, int count) {
        QList<int> indices;
        for (int i = 0; i < list.size(); ++i)
            indices << i;
        std::shuffle(indices.begin(), indices.end(), engine_);
        indices.resize(std::min<qsizetype>(count, indices.size()));
        std::sort(indices.begin(), indices.end());
        QStringList out;
        for (const int i : indices)
            out << list[i];
        return out;
    }
    QString code(int length) {
        // No 0/O or 1/I/l: fonts draw them alike, and so does nobody who prints a code.
        static const QString alphabet = QStringLiteral("ABCDEFGHJKLMNPQRSTUVWXYZ23456789");
        QString out;
        for (int i = 0; i < length; ++i)
            out += alphabet[between(0, int(alphabet.size()) - 1)];
        return out;
    }

private:
    std::mt19937 engine_;
};

// Every other item of a pool: the tuning set takes the even ones, the judging set the odd
// ones, so that no string is in both.
QStringList half(const QStringList& pool, StripSet set) {
    QStringList out;
    for (qsizetype i = set == StripSet::tuning ? 0 : 1; i < pool.size(); i += 2)
        out << pool[i];
    return out;
}

const QStringList menuWords{
    "File",    "Edit",      "View",     "Window",   "Help",     "Insert", "Format",   "Tools",
    "Go",      "Run",       "Terminal", "Select",   "Image",    "Layer",  "Filters",  "Selection",
    "History", "Bookmarks", "Profiles", "Tab",      "Navigate", "Code",   "Refactor", "Build",
    "Debug",   "Table",     "Review",   "Mailings", "Project",  "Share",  "Arrange",  "Account",
    "Colors",  "Effects",   "Sketch",   "Playback", "Library",  "Store",  "Devices",  "Games"};
const QStringList menuItems{
    "New Window",     "Open File...",  "Save All",      "Close Editor", "Print Preview",
    "Undo Typing",    "Find in Files", "Replace...",    "Zoom In",      "Full Screen",
    "Toggle Sidebar", "Go to Line...", "Select All",    "Copy Path",    "Rename Symbol",
    "Export as PNG",  "Duplicate",     "Move to Trash", "Show Desktop", "Reload Page",
    "Check Spelling", "Insert Table",  "Merge Cells",   "Word Count",   "Clear History"};
const QStringList tabNames{"General",  "Appearance",   "Privacy",  "Network",  "Accounts", "Updates",
                           "Advanced", "Keyboard",     "Display",  "Sound",    "Storage",  "Notifications",
                           "Overview", "Details",      "Activity", "Settings", "Members",  "Billing",
                           "Security", "Integrations", "Files",    "Insights", "Labels",   "Pull requests",
                           "Issues",   "Discussions",  "Wiki",     "Actions",  "Preview",  "Console"};
const QStringList sentences{"Changes are saved automatically",
                            "Last synced 4 minutes ago",
                            "Show hidden files in the sidebar",
                            "Two people are editing this file",
                            "Restart to finish installing updates",
                            "Your trial ends in 9 days",
                            "Press Enter to send, Shift+Enter for a new line",
                            "No results match your filters",
                            "Drag files here to upload them",
                            "Signed in as a guest"};
const QStringList statusLeft{
    "Ready",       "Saved",      "Indexing files...",    "3 items selected", "Connected", "Build succeeded",
    "No problems", "Syncing",    "Offline mode",         "2 warnings",       "Recording", "Paused",
    "Uploading",   "Up to date", "Line endings changed", "Read only"};
// %1 and %2 are filled with numbers.
const QStringList statusRight{
    "Ln %1, Col %2", "Volume %1%", "UTF-8",       "Brightness %1%", "5G",       "CPU %1%",      "Wi-Fi",
    "Battery %1%",   "LF",         "4G LTE",      "Spaces: %2",     "Zoom %1%", "RAM %2.%1 GB", "CRLF",
    "Page %2 of %1", "%2 errors",  "Python 3.%2", "Disk %1%",       "main",     "Go 1.%1"};
const QStringList keys{"Created", "Owner",   "Modified", "Size",     "Type",     "Location",
                       "Kind",    "Version", "Status",   "Priority", "Assignee", "Due",
                       "Region",  "Plan",    "Seats",    "Renewal",  "Author",   "Licence",
                       "Build",   "Runtime", "Uptime",   "Latency",  "Channel",  "Quota"};
const QStringList people{"Ana Silva",  "J. Okafor",   "Lee Min-jun", "Sofia Rossi", "Tom Becker",
                         "Priya Nair", "Omar Haddad", "Eva Novak",   "Kenji Ito",   "Maria Lopez"};
const QStringList months{"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
const QStringList users{"alice", "dev", "root", "maria", "kim", "ops", "sam", "build"};
const QStringList hosts{"laptop", "build-07", "pi4", "vm3", "studio", "web-02", "nas", "ci-runner"};
const QStringList paths{"~",          "~/src/app",  "/var/log", "~/projects/web",
                        "/etc/nginx", "~/dotfiles", "/tmp",     "~/work/api"};
const QStringList commands{"git log --oneline -5",
                           "ls -la",
                           "docker ps -a",
                           "ssh deploy@10.0.4.17",
                           "make -j8",
                           "python3 -m venv .venv",
                           "grep -rn TODO src/",
                           "curl -sI https://example.com",
                           "chmod 600 ~/.ssh/id_ed25519",
                           "tar xzf release-2.4.1.tar.gz",
                           "kubectl get pods -n prod",
                           "npm run build",
                           "df -h /home",
                           "sudo apt install htop",
                           "cd ../backend && make test",
                           "git checkout -b fix/login",
                           "ping -c 3 8.8.4.4",
                           "du -sh node_modules",
                           "cat /proc/cpuinfo | head",
                           "systemctl status sshd"};
const QStringList outputs{"total 48",
                          "Already up to date.",
                          "3 files changed, 41 insertions(+), 7 deletions(-)",
                          "Permission denied (publickey).",
                          "Successfully installed requests-2.31.0",
                          "error: pathspec 'main' did not match",
                          "CONTAINER ID   IMAGE   STATUS",
                          "64 bytes from 8.8.4.4: icmp_seq=1 ttl=117",
                          "Filesystem Size Used Avail Use%",
                          "Active: active (running) since Tue",
                          "Switched to a new branch 'fix/login'",
                          "done in 2.7s",
                          "No such file or directory",
                          "Reading package lists... Done"};
const QStringList items{"Wireless Mouse",   "USB-C Cable 2 m",  "Monthly plan",      "Extra storage 50 GB",
                        "Shipping",         "VAT 20%",          "Discount",          "Gift card",
                        "Annual licence",   "Support add-on",   "Coffee beans 1 kg", "Train ticket",
                        "Parking, 3 hours", "Laptop stand",     "Domain renewal",    "Phone case",
                        "Cloud backup",     "Express delivery", "Service fee",       "Keyboard cover"};
const QStringList currencies{"$%1", "%1 EUR", "\u20ac%1", "\u00a3%1", "%1 USD", "CHF %1"};
const QStringList codeLabels{"Order #",  "Coupon: ",  "SKU ",     "Ref: ",    "Invoice ",
                             "Booking ", "Tracking ", "Voucher ", "Ticket #", "Key: "};

QString number(Random& r, int low, int high) {
    return QString::number(r.between(low, high));
}

QString price(Random& r) {
    const QString amount =
        QStringLiteral("%1.%2").arg(r.between(1, 1999)).arg(r.between(0, 99), 2, 10, QChar('0'));
    return r.pick(currencies).arg(amount);
}

Strip menubar(Random& r, StripSet set) {
    Strip s{"menubar"};
    Row bar;
    const QStringList words = r.several(half(menuWords, set), r.between(4, 7));
    for (const QString& w : words)
        bar.parts << Part{w, Place::after, r.between(1.2, 3.5)};
    bar.highlighted = r.chance(0.3);
    s.rows << bar;
    if (r.chance(0.6)) {
        const double column = r.between(0.0, 8.0), shortcut = column + r.between(10.0, 14.0);
        for (const QString& item : r.several(half(menuItems, set), r.between(2, 4))) {
            QString keys = QStringLiteral("Ctrl+") + QChar('A' + r.between(0, 25));
            if (r.chance(0.3)) keys = QStringLiteral("Ctrl+Shift+") + QChar('A' + r.between(0, 25));
            s.rows << Row{
                {Part{item, Place::column, column}, Part{keys, Place::column, shortcut, Look::secondary}}};
        }
    }
    return s;
}

Strip tabs(Random& r, StripSet set) {
    Strip s{"tabs"};
    Row strip;
    for (const QString& name : r.several(half(tabNames, set), r.between(3, 6)))
        strip.parts << Part{name, Place::after, r.between(2.0, 4.0)};
    strip.highlighted = true;
    s.rows << strip;
    if (r.chance(0.5)) s.rows << Row{{Part{r.pick(half(sentences, set)), Place::after, 0, Look::secondary}}};
    return s;
}

Strip status(Random& r, StripSet set) {
    Strip s{"status"};
    s.minimumWidth = r.between(36.0, 60.0);
    s.rowHeight = 1.6;
    Row row{{Part{r.pick(half(statusLeft, set))}}};
    for (const QString& part : r.several(half(statusRight, set), r.between(2, 4)))
        row.parts << Part{QString(part).replace("%1", number(r, 10, 99)).replace("%2", number(r, 2, 9)),
                          Place::right, r.between(1.5, 3.0), r.chance(0.3) ? Look::secondary : Look::normal};
    s.rows << row;
    return s;
}

QString value(Random& r, const QString& key) {
    if (key == "Owner" || key == "Assignee" || key == "Author") return r.pick(people);
    if (key == "Created" || key == "Modified" || key == "Due" || key == "Renewal")
        return QStringLiteral("%1 %2 %3")
            .arg(r.between(1, 28))
            .arg(r.pick(months))
            .arg(r.between(2019, 2026));
    if (key == "Size" || key == "Quota")
        return QStringLiteral("%1.%2 MB").arg(r.between(1, 900)).arg(r.between(0, 9));
    if (key == "Latency") return QStringLiteral("%1 ms").arg(r.between(3, 400));
    if (key == "Seats" || key == "Build") return number(r, 2, 9999);
    if (key == "Version" || key == "Runtime")
        return QStringLiteral("v%1.%2.%3").arg(r.between(1, 9)).arg(r.between(0, 20)).arg(r.between(0, 9));
    static const QStringList words{"Draft",  "Active", "High", "EU West",  "Pro", "Stable",
                                   "Folder", "PDF",    "MIT",  "Archived", "Low", "Beta"};
    return r.pick(words);
}

Strip twoColumns(Random& r, StripSet set) {
    Strip s{"twocolumns"};
    const QStringList pool = half(keys, set);
    const double column = r.between(14.0, 20.0);
    const int rows = r.between(3, 5);
    for (int i = 0; i < rows; ++i) {
        const QString left = r.pick(pool), right = r.pick(pool);
        s.rows << Row{{Part{left + QStringLiteral(": ") + value(r, left)},
                       Part{right + QStringLiteral(": ") + value(r, right), Place::column, column}}};
    }
    return s;
}

Strip terminal(Random& r, StripSet set) {
    Strip s{"terminal", true};
    s.rowHeight = 1.4;
    const int rows = r.between(3, 5);
    const bool clock = r.chance(0.3);
    if (clock) s.minimumWidth = r.between(50.0, 64.0);
    for (int i = 0; i < rows; ++i) {
        if (i % 2 == 0 || r.chance(0.3)) {
            const QString prompt = QStringLiteral("%1@%2:%3$ %4")
                                       .arg(r.pick(half(users, set)), r.pick(half(hosts, set)),
                                            r.pick(half(paths, set)), r.pick(half(commands, set)));
            Row row{{Part{prompt}}};
            if (clock)
                row.parts << Part{QStringLiteral("%1:%2:%3")
                                      .arg(r.between(0, 23), 2, 10, QChar('0'))
                                      .arg(r.between(0, 59), 2, 10, QChar('0'))
                                      .arg(r.between(0, 59), 2, 10, QChar('0')),
                                  Place::right, 2, Look::secondary};
            s.rows << row;
        } else {
            s.rows << Row{{Part{r.pick(half(outputs, set))}}};
        }
    }
    return s;
}

Strip prices(Random& r, StripSet set) {
    Strip s{"prices"};
    s.minimumWidth = r.between(24.0, 40.0);
    for (const QString& item : r.several(half(items, set), r.between(2, 4)))
        s.rows << Row{{Part{item}, Part{price(r), Place::right, 2}}};
    QString code = r.code(r.between(4, 7));
    if (r.chance(0.4)) code.insert(r.between(1, int(code.size()) - 1), QStringLiteral("-"));
    s.rows << Row{{Part{r.pick(half(codeLabels, set)) + code, Place::after, 0, Look::bold}}};
    return s;
}

struct Palette {
    QColor background, text, secondary, highlight;
};

Palette palette(Random& r, bool dark) {
    static const QList<Palette> light{{"#ffffff", "#1f1f1f", "#6e6e6e", "#dbe8ff"},
                                      {"#f3f3f3", "#333333", "#5f6368", "#e0e0e0"},
                                      {"#ececec", "#000000", "#616161", "#cfd8dc"},
                                      {"#fdf6e3", "#33312b", "#6b6657", "#eee8d5"}};
    static const QList<Palette> darkOnes{{"#1e1e1e", "#d4d4d4", "#9aa0a6", "#37373d"},
                                         {"#2b2b2b", "#e8e8e8", "#8b8b8b", "#3c3f41"},
                                         {"#202124", "#ffffff", "#9aa0a6", "#3c4043"},
                                         {"#0c0c0c", "#cccccc", "#8a8a8a", "#264f78"},
                                         {"#282a36", "#f8f8f2", "#a4a8c0", "#44475a"}};
    return r.pick(dark ? darkOnes : light);
}

struct Fonts {
    QStringList sans, mono;
};

Fonts fontsOf(StripSet set) {
    if (set == StripSet::tuning) return {{"DejaVu Sans"}, {"DejaVu Sans Mono"}};
    return {{"Liberation Sans"}, {"Liberation Mono"}};
}

QFont fontFor(const QString& family, int px, Look look) {
    QFont font(family);
    font.setPixelSize(px);
    font.setBold(look == Look::bold);
    return font;
}

TextImage render(const Strip& strip, const QString& family, int px, int scale, bool dark, Random& r) {
    const Palette colours = palette(r, dark);
    const double em = px, margin = 0.8 * em, rowHeight = strip.rowHeight * em;
    // Left and column parts first; the width then makes room for the right parts.
    struct Placed {
        QList<double> x;
        double leftEnd = 0, rightWidth = 0;
    };
    QList<Placed> placed;
    double width = strip.minimumWidth * em;
    for (const Row& row : strip.rows) {
        Placed p;
        double end = margin;
        bool first = true;
        for (const Part& part : row.parts) {
            const double advance = QFontMetricsF(fontFor(family, px, part.look)).horizontalAdvance(part.text);
            if (part.place == Place::right) {
                p.x << 0;
                p.rightWidth += advance + part.at * em;
                continue;
            }
            const double x =
                part.place == Place::column ? margin + part.at * em : end + (first ? 0 : part.at * em);
            p.x << x;
            end = x + advance;
            first = false;
        }
        p.leftEnd = end;
        width = std::max(width, p.leftEnd + p.rightWidth + margin + (p.rightWidth > 0 ? 2 * em : 0));
        placed << p;
    }
    for (qsizetype i = 0; i < strip.rows.size(); ++i) {
        double x = width - margin;
        for (qsizetype k = strip.rows[i].parts.size() - 1; k >= 0; --k) {
            const Part& part = strip.rows[i].parts[k];
            if (part.place != Place::right) continue;
            x -= QFontMetricsF(fontFor(family, px, part.look)).horizontalAdvance(part.text);
            placed[i].x[k] = x;
            x -= part.at * em;
        }
    }
    const double height = 2 * margin + rowHeight * double(strip.rows.size());
    QImage image(int(std::ceil(width * scale)), int(std::ceil(height * scale)), QImage::Format_RGB32);
    image.setDevicePixelRatio(scale);
    image.fill(colours.background);
    QPainter painter(&image);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    QStringList truth;
    for (qsizetype i = 0; i < strip.rows.size(); ++i) {
        const Row& row = strip.rows[i];
        const double top = margin + rowHeight * double(i), baseline = top + rowHeight / 2 + em * 0.36;
        QList<std::pair<double, QString>> texts;
        for (qsizetype k = 0; k < row.parts.size(); ++k) {
            const Part& part = row.parts[k];
            const QFont font = fontFor(family, px, part.look);
            const double x = placed[i].x[k];
            if (row.highlighted && k == (i * 7 + qsizetype(px)) % row.parts.size()) {
                // The selected one of a row of tabs or menus: a filled box around it.
                const double advance = QFontMetricsF(font).horizontalAdvance(part.text);
                painter.fillRect(QRectF(x - em * 0.5, top, advance + em, rowHeight), colours.highlight);
            }
            painter.setFont(font);
            painter.setPen(part.look == Look::secondary ? colours.secondary : colours.text);
            painter.drawText(QPointF(x, baseline), part.text);
            texts << std::pair(x, part.text);
        }
        std::sort(texts.begin(), texts.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
        QStringList line;
        for (const auto& [x, text] : texts)
            line << text;
        truth << line.join(QLatin1Char(' '));
    }
    painter.end();
    TextImage out;
    out.name = QStringLiteral("%1-%2-%3px-%4x-%5")
                   .arg(strip.kind, QString(family).remove(' ').toLower())
                   .arg(px)
                   .arg(scale)
                   .arg(dark ? "dark" : "light");
    out.image = image;
    out.groundTruth = truth.join(QLatin1Char('\n'));
    out.scale = scale;
    out.dark = dark;
    out.pixelSize = px;
    out.monospace = strip.monospace;
    return out;
}

} // namespace

QList<TextImage> uiStrips(StripSet set) {
    using Generator = Strip (*)(Random&, StripSet);
    const QList<Generator> generators{menubar, tabs, status, twoColumns, terminal, prices};
    const Fonts fonts = fontsOf(set);
    for (const QString& family : fonts.sans + fonts.mono)
        if (QFontInfo(QFont(family)).family() != family)
            std::fprintf(stderr, "ui strips: the font %s is not installed (scripts/deps.sh)\n",
                         qPrintable(family));
    Random r(set == StripSet::tuning ? 20241 : 90517);
    QList<TextImage> images;
    QMap<QString, int> seen;
    for (int i = 0; i < 60; ++i) {
        const Strip strip = generators[i % generators.size()](r, set);
        const QString family = r.pick(strip.monospace ? fonts.mono : fonts.sans);
        const int px = r.between(10, 16), scale = r.chance(0.2) ? 2 : 1;
        const bool dark = r.chance(0.5);
        TextImage image = render(strip, family, px, scale, dark, r);
        // Names stay unique: they are file names.
        if (const int n = seen[image.name]++; n > 0) image.name += QStringLiteral("-%1").arg(n + 1);
        images << image;
    }
    return images;
}

QString stripKind(const TextImage& image) {
    return image.name.section(QLatin1Char('-'), 0, 0);
}

} // namespace corpus
