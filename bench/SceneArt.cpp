#include "SceneArt.h"

#include <QFont>
#include <QFontMetrics>
#include <QLinearGradient>
#include <QStringList>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <thread>

namespace scene {

namespace {

// ---- noise ---------------------------------------------------------------------------

uint32_t hash(int x, int y, uint32_t seed) {
    uint32_t h = uint32_t(x) * 0x8da6b343u ^ uint32_t(y) * 0xd8163841u ^ seed * 0xcb1ab31fu;
    h ^= h >> 13;
    h *= 0x5bd1e995u;
    h ^= h >> 15;
    return h;
}

float lattice(int x, int y, uint32_t seed) {
    return float(hash(x, y, seed) & 0xffff) / 65535.0f;
}

float smooth(float t) {
    return t * t * (3.0f - 2.0f * t);
}

// Value noise in 0...1.
float noise(float x, float y, uint32_t seed) {
    const float fx = std::floor(x), fy = std::floor(y);
    const int ix = int(fx), iy = int(fy);
    const float tx = smooth(x - fx), ty = smooth(y - fy);
    const float a = lattice(ix, iy, seed), b = lattice(ix + 1, iy, seed);
    const float c = lattice(ix, iy + 1, seed), d = lattice(ix + 1, iy + 1, seed);
    return (a + (b - a) * tx) + ((c + (d - c) * tx) - (a + (b - a) * tx)) * ty;
}

// Fractal noise in about 0...1: octaves of value noise, each finer and fainter.
float fbm(float x, float y, int octaves, uint32_t seed) {
    float sum = 0, amplitude = 0.5f, norm = 0;
    for (int i = 0; i < octaves; ++i) {
        sum += amplitude * noise(x, y, seed + uint32_t(i) * 101u);
        norm += amplitude;
        x *= 2.03f;
        y *= 2.03f;
        amplitude *= 0.5f;
    }
    return sum / norm;
}

struct Rgb {
    float r, g, b;
};

Rgb mix(Rgb a, Rgb b, float t) {
    return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}
Rgb scaled(Rgb c, float k) {
    return {c.r * k, c.g * k, c.b * k};
}

// ---- the landscape -------------------------------------------------------------------

struct Ridge {
    float base, amplitude, frequency;
    uint32_t seed;
    Rgb colour;
    float haze; // how much the sky shows through: distant ridges are paler
};

constexpr std::array<Ridge, 3> kRidges = {{
    {0.42f, 0.16f, 2.2f, 11, {112, 132, 165}, 0.45f},
    {0.55f, 0.12f, 3.5f, 23, {62, 88, 98}, 0.2f},
    {0.68f, 0.08f, 6.0f, 37, {38, 68, 40}, 0.05f},
}};

float ridgeHeight(const Ridge& ridge, float u) {
    return ridge.base - ridge.amplitude * fbm(u * ridge.frequency, 0.5f, 5, ridge.seed);
}

Rgb skyColour(float u, float v, float horizon) {
    const Rgb zenith{34, 78, 158}, nearHorizon{196, 212, 228};
    Rgb sky = mix(zenith, nearHorizon, std::pow(std::clamp(v / horizon, 0.0f, 1.0f), 0.8f));
    // Cumulus: thresholded fractal noise, lit from above.
    const float cloud = std::clamp((fbm(u * 5.0f, v * 11.0f, 6, 5) - 0.52f) * 3.2f, 0.0f, 1.0f);
    const float shade = 0.82f + 0.18f * fbm(u * 9.0f, v * 20.0f - 0.3f, 4, 7);
    return mix(sky, scaled(Rgb{244, 244, 247}, shade), cloud);
}

Rgb landColour(float u, float v, float aspect) {
    // Front to back: the nearest ridge whose crest is above this point owns it.
    const Rgb haze{196, 212, 228};
    for (int i = int(kRidges.size()) - 1; i >= 0; --i) {
        const Ridge& ridge = kRidges[size_t(i)];
        if (v < ridgeHeight(ridge, u)) continue;
        const float texture = fbm(u * 30.0f * aspect, v * 30.0f, 5, ridge.seed + 3);
        const float detail = fbm(u * 160.0f * aspect, v * 160.0f, 3, ridge.seed + 9);
        Rgb c = scaled(ridge.colour, 0.7f + 0.45f * texture + 0.25f * (detail - 0.5f));
        return mix(c, haze, ridge.haze);
    }
    // The meadow in front, lit unevenly, with grass streaks.
    const float light = fbm(u * 4.0f * aspect, v * 6.0f, 4, 51);
    const float grass = fbm(u * 400.0f * aspect, v * 60.0f, 3, 53);
    Rgb meadow = mix(Rgb{58, 92, 34}, Rgb{150, 160, 70}, light);
    return scaled(meadow, 0.75f + 0.45f * grass);
}

void paintRows(QImage& image, int from, int to) {
    const int w = image.width(), h = image.height();
    const float aspect = float(w) / float(h);
    uint32_t grainState = 0x9e3779b9u ^ uint32_t(from) * 2654435761u;
    auto grain = [&grainState] {
        grainState ^= grainState << 13;
        grainState ^= grainState >> 17;
        grainState ^= grainState << 5;
        // Sum of two uniforms: a soft bell of about +-3 levels, like sensor noise.
        return float(int(grainState & 7) + int((grainState >> 3) & 7) - 7) * 0.5f;
    };
    for (int y = from; y < to; ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        const float v = (float(y) + 0.5f) / float(h);
        for (int x = 0; x < w; ++x) {
            const float u = (float(x) + 0.5f) / float(w);
            const float horizon = ridgeHeight(kRidges[0], u);
            Rgb c = v < horizon ? skyColour(u, v, horizon) : landColour(u, v, aspect);
            // Vignette, as lenses darken the corners.
            const float du = u - 0.5f, dv = v - 0.5f;
            c = scaled(c, 1.0f - 0.35f * (du * du + dv * dv));
            const float luma = grain();
            auto channel = [&](float value) {
                return std::clamp(int(std::lround(value + luma + grain() * 0.4f)), 0, 255);
            };
            row[x] = qRgb(channel(c.r), channel(c.g), channel(c.b));
        }
    }
}

// ---- the windows' text ---------------------------------------------------------------

const QStringList& codeLines() {
    static const QStringList lines = {
        QStringLiteral("#include \"capture/FrameQueue.h\""),
        QStringLiteral(""),
        QStringLiteral("namespace capture {"),
        QStringLiteral(""),
        QStringLiteral("// Drops the oldest frame when the encoder falls behind, so the preview stays live."),
        QStringLiteral("bool FrameQueue::push(Frame frame) {"),
        QStringLiteral("    std::lock_guard lock(mutex_);"),
        QStringLiteral("    if (frames_.size() == capacity_) {"),
        QStringLiteral("        frames_.pop_front();"),
        QStringLiteral("        ++dropped_;"),
        QStringLiteral("    }"),
        QStringLiteral("    frames_.push_back(std::move(frame));"),
        QStringLiteral("    ready_.notify_one();"),
        QStringLiteral("    return dropped_ == 0;"),
        QStringLiteral("}"),
        QStringLiteral(""),
        QStringLiteral("std::optional<Frame> FrameQueue::pop(std::chrono::milliseconds timeout) {"),
        QStringLiteral("    std::unique_lock lock(mutex_);"),
        QStringLiteral("    if (!ready_.wait_for(lock, timeout, [this] { return !frames_.empty(); }))"),
        QStringLiteral("        return std::nullopt;"),
        QStringLiteral("    Frame frame = std::move(frames_.front());"),
        QStringLiteral("    frames_.pop_front();"),
        QStringLiteral("    return frame;"),
        QStringLiteral("}"),
        QStringLiteral(""),
        QStringLiteral("QRect visibleBounds(const std::vector<QRect>& screens, QPoint origin) {"),
        QStringLiteral("    QRect bounds;"),
        QStringLiteral("    for (const QRect& screen : screens)"),
        QStringLiteral("        bounds = bounds.united(screen.translated(-origin));"),
        QStringLiteral("    return bounds.isValid() ? bounds : QRect(0, 0, 1, 1);"),
        QStringLiteral("}"),
        QStringLiteral(""),
        QStringLiteral("int scaledLength(int length, double factor) {"),
        QStringLiteral("    const double value = std::round(length * factor);"),
        QStringLiteral("    return static_cast<int>(std::clamp(value, 1.0, 65535.0)); // keep it drawable"),
        QStringLiteral("}"),
        QStringLiteral(""),
        QStringLiteral("} // namespace capture"),
    };
    return lines;
}

const QStringList& proseSentences() {
    static const QStringList sentences = {
        QStringLiteral(
            "The valley opens slowly after the last bend of the road, and the river, which until then "
            "had been a noise somewhere below the trees, lies suddenly in full view."),
        QStringLiteral(
            "Farmers here still cut the upper meadows by hand, because the slopes are too steep for "
            "machines and the hay from them is said to be the sweetest in the district."),
        QStringLiteral(
            "In the afternoon the clouds build over the western ridge, grey at the base and "
            "brilliant white above, and by four o'clock the first thunder rolls along the cliffs."),
        QStringLiteral("Nobody remembers who planted the row of walnut trees beside the chapel."),
        QStringLiteral("A survey of 1871 counts eleven households, two mills and a smithy; of these only the "
                       "lower mill survives, converted into a guest house with a small museum."),
        QStringLiteral("Walkers who set out early can reach the pass before noon and return along the "
                       "eastern path, which is longer but gentler on the knees."),
        QStringLiteral("The committee will meet again on the third Thursday to review the budget, the "
                       "maintenance of the footbridges, and the proposal to extend the bus service."),
        QStringLiteral("Results are summarised in Table 3: median response fell from 412 ms to 188 ms, while "
                       "the error rate stayed below 0.2 per cent throughout the trial."),
    };
    return sentences;
}

QString terminalLine(int index) {
    static const QStringList names = {QStringLiteral("FrameQueue"), QStringLiteral("ScreenGrabber"),
                                      QStringLiteral("PngEncoder"), QStringLiteral("HistoryStore"),
                                      QStringLiteral("Annotator"),  QStringLiteral("PrefsDialog"),
                                      QStringLiteral("HotkeyMap"),  QStringLiteral("ShareSheet")};
    const uint32_t r = hash(index, 7, 99);
    switch (index % 9) {
    case 0:
        return QStringLiteral("user@workstation:~/src/pictavia$ ninja -C build");
    case 1:
    case 2:
    case 3:
    case 4:
        return QStringLiteral("[%1/%2] Building CXX object src/CMakeFiles/core.dir/%3.cpp.o")
            .arg(index * 3 % 211 + 1)
            .arg(212)
            .arg(names[int(r % uint32_t(names.size()))]);
    case 5:
        return QStringLiteral("drwxr-xr-x  %1 user user  %2 Mar %3 10:%4 %5")
            .arg(r % 9 + 2)
            .arg(4096 * (r % 3 + 1))
            .arg(r % 28 + 1)
            .arg(r % 60, 2, 10, QLatin1Char('0'))
            .arg(names[int((r >> 8) % uint32_t(names.size()))].toLower());
    case 6:
        return QStringLiteral("-rw-r--r--  1 user user %1 Mar %2 09:%3 %4.h")
            .arg(r % 90000 + 300, 6)
            .arg(r % 28 + 1)
            .arg((r >> 4) % 60, 2, 10, QLatin1Char('0'))
            .arg(names[int((r >> 12) % uint32_t(names.size()))]);
    case 7:
        return QStringLiteral("[ RUN      ] %1.HandlesCase%2")
            .arg(names[int(r % uint32_t(names.size()))])
            .arg(r % 40);
    default:
        return QStringLiteral("[       OK ] %1.HandlesCase%2 (%3 ms)")
            .arg(names[int(r % uint32_t(names.size()))])
            .arg(r % 40)
            .arg(r % 97);
    }
}

struct Theme {
    QColor background, text, gutter, gutterText, keyword, string, comment;
};

bool isKeyword(const QString& word) {
    static const QStringList keywords = {
        QStringLiteral("bool"),   QStringLiteral("int"),       QStringLiteral("double"),
        QStringLiteral("return"), QStringLiteral("if"),        QStringLiteral("for"),
        QStringLiteral("const"),  QStringLiteral("namespace"), QStringLiteral("static_cast"),
        QStringLiteral("this"),   QStringLiteral("auto"),      QStringLiteral("#include")};
    return keywords.contains(word);
}

// One line of code with keywords, strings and comments in the theme's colours.
void drawCodeLine(QPainter& painter, const QFontMetrics& metrics, int x, int baseline, const QString& line,
                  const Theme& theme) {
    const int comment = line.indexOf(QStringLiteral("//"));
    const QString code = comment >= 0 ? line.left(comment) : line;
    QString word;
    int column = x;
    auto flush = [&](const QColor& colour) {
        if (word.isEmpty()) return;
        painter.setPen(colour);
        painter.drawText(column, baseline, word);
        column += metrics.horizontalAdvance(word);
        word.clear();
    };
    bool inString = false;
    for (const QChar ch : code) {
        if (ch == QLatin1Char('"')) {
            if (inString) {
                word += ch;
                flush(theme.string);
            } else {
                flush(isKeyword(word) ? theme.keyword : theme.text);
                word += ch;
            }
            inString = !inString;
            continue;
        }
        if (!inString && !ch.isLetterOrNumber() && ch != QLatin1Char('_') && ch != QLatin1Char('#')) {
            flush(isKeyword(word) ? theme.keyword : theme.text);
            word = ch;
            flush(theme.text);
            continue;
        }
        word += ch;
    }
    flush(inString ? theme.string : isKeyword(word) ? theme.keyword : theme.text);
    if (comment >= 0) {
        painter.setPen(theme.comment);
        painter.drawText(column, baseline, line.mid(comment));
    }
}

void paintEditor(QPainter& painter, const QRect& area, const Theme& theme, int firstLine, int pixelSize) {
    painter.fillRect(area, theme.background);
    QFont font(QStringLiteral("DejaVu Sans Mono"));
    font.setPixelSize(pixelSize);
    painter.setFont(font);
    const QFontMetrics metrics(font);
    const int lineHeight = metrics.lineSpacing() + pixelSize / 6;
    const int gutterWidth = metrics.horizontalAdvance(QStringLiteral("0000")) + pixelSize;
    painter.fillRect(QRect(area.topLeft(), QSize(gutterWidth, area.height())), theme.gutter);
    const QStringList& lines = codeLines();
    int n = firstLine;
    for (int baseline = area.top() + lineHeight; baseline < area.bottom(); baseline += lineHeight, ++n) {
        painter.setPen(theme.gutterText);
        painter.drawText(
            QRect(area.left(), baseline - metrics.ascent(), gutterWidth - pixelSize / 2, metrics.height()),
            Qt::AlignRight, QString::number(n + 1));
        drawCodeLine(painter, metrics, area.left() + gutterWidth + pixelSize / 2, baseline,
                     lines[n % int(lines.size())], theme);
    }
}

void paintTerminal(QPainter& painter, const QRect& area, int pixelSize) {
    painter.fillRect(area, QColor(28, 28, 30));
    QFont font(QStringLiteral("DejaVu Sans Mono"));
    font.setPixelSize(pixelSize);
    painter.setFont(font);
    const QFontMetrics metrics(font);
    int index = 0;
    for (int baseline = area.top() + metrics.lineSpacing(); baseline < area.bottom();
         baseline += metrics.lineSpacing(), ++index) {
        const QString line = terminalLine(index);
        painter.setPen(line.startsWith(QStringLiteral("user@")) ? QColor(138, 226, 52)
                       : line.startsWith(QStringLiteral("[  ")) ? QColor(114, 159, 207)
                       : line.contains(QStringLiteral(" OK "))  ? QColor(78, 154, 6)
                                                                : QColor(211, 215, 207));
        painter.drawText(area.left() + pixelSize / 2, baseline, line);
    }
}

void paintDocument(QPainter& painter, const QRect& area, int pixelSize) {
    painter.fillRect(area, QColor(255, 255, 255));
    const int margin = pixelSize * 2;
    QRect text = area.adjusted(margin, margin, -margin, -margin);
    QFont heading(QStringLiteral("DejaVu Sans"));
    heading.setPixelSize(pixelSize * 3 / 2);
    heading.setBold(true);
    painter.setFont(heading);
    painter.setPen(QColor(32, 32, 32));
    QRect used;
    painter.drawText(text, Qt::TextWordWrap, QStringLiteral("Notes on the Upper Valley"), &used);
    text.setTop(used.bottom() + pixelSize);

    QFont body(QStringLiteral("DejaVu Serif"));
    body.setPixelSize(pixelSize);
    painter.setFont(body);
    painter.setPen(QColor(40, 40, 40));
    const QStringList& sentences = proseSentences();
    for (int paragraph = 0; text.height() > pixelSize; ++paragraph) {
        QStringList parts;
        for (int i = 0; i < 3 + paragraph % 3; ++i)
            parts << sentences[int(hash(paragraph, i, 3) % uint32_t(sentences.size()))];
        painter.drawText(text, Qt::TextWordWrap, parts.join(QLatin1Char(' ')), &used);
        text.setTop(used.bottom() + pixelSize * 3 / 4);
    }
}

} // namespace

QImage photoBackground(QSize size) {
    QImage image(size, QImage::Format_RGB32);
    const int threads = std::max(1u, std::thread::hardware_concurrency());
    std::vector<std::thread> workers;
    workers.reserve(size_t(threads));
    for (int t = 0; t < threads; ++t)
        workers.emplace_back([&image, t, threads] {
            paintRows(image, image.height() * t / threads, image.height() * (t + 1) / threads);
        });
    for (std::thread& worker : workers)
        worker.join();
    return image;
}

int textScale(QSize screen) {
    return std::max(1, screen.height() / 1080);
}

std::vector<WindowSpec> windowLayout(QSize screen) {
    const double w = screen.width(), h = screen.height();
    auto rect = [&](double x, double y, double width, double height) {
        return QRect(int(x * w), int(y * h), int(width * w), int(height * h));
    };
    return {
        {Panel::DarkEditor, QStringLiteral("FrameQueue.cpp - Editor"), rect(0.04, 0.07, 0.44, 0.60)},
        {Panel::Document, QStringLiteral("Notes on the Upper Valley - Reader"), rect(0.33, 0.20, 0.33, 0.70)},
        {Panel::Terminal, QStringLiteral("Terminal"), rect(0.57, 0.55, 0.39, 0.38)},
        {Panel::LightEditor, QStringLiteral("FrameQueue.cpp (light) - Editor"), rect(0.62, 0.06, 0.33, 0.40)},
    };
}

void paintPanel(QPainter& painter, const QRect& area, Panel panel, int scale) {
    const int u = std::max(1, scale);
    painter.save();
    painter.setClipRect(area);
    painter.setRenderHint(QPainter::TextAntialiasing);
    switch (panel) {
    case Panel::LightEditor:
        paintEditor(painter, area,
                    {QColor(250, 250, 250), QColor(56, 58, 66), QColor(240, 240, 240), QColor(160, 161, 167),
                     QColor(166, 38, 164), QColor(80, 161, 79), QColor(160, 161, 167)},
                    12, 13 * u);
        break;
    case Panel::DarkEditor:
        paintEditor(painter, area,
                    {QColor(40, 44, 52), QColor(171, 178, 191), QColor(33, 37, 43), QColor(99, 109, 131),
                     QColor(198, 120, 221), QColor(152, 195, 121), QColor(92, 99, 112)},
                    0, 13 * u);
        break;
    case Panel::Terminal:
        paintTerminal(painter, area, 13 * u);
        break;
    case Panel::Document:
        paintDocument(painter, area, 15 * u);
        break;
    }
    painter.restore();
}

QImage composedScreen(QSize size, Wallpaper wallpaper) {
    QImage image(size, QImage::Format_RGB32);
    if (wallpaper == Wallpaper::Photo)
        image = photoBackground(size);
    else
        image.fill(QColor(46, 52, 64));
    QPainter painter(&image);
    const int u = textScale(size);
    QFont titleFont(QStringLiteral("DejaVu Sans"));
    titleFont.setPixelSize(12 * u);
    titleFont.setBold(true);
    for (const WindowSpec& window : windowLayout(size)) {
        const int title = 22 * u;
        const QRect frame = window.client.adjusted(-u, -title, u, u);
        painter.fillRect(frame, QColor(70, 76, 88));
        QLinearGradient bar(frame.topLeft(), frame.topLeft() + QPoint(0, title));
        bar.setColorAt(0, QColor(112, 128, 150));
        bar.setColorAt(1, QColor(86, 100, 122));
        painter.fillRect(QRect(frame.topLeft(), QSize(frame.width(), title)), bar);
        painter.setFont(titleFont);
        painter.setPen(Qt::white);
        painter.drawText(QRect(frame.left() + 8 * u, frame.top(), frame.width() - 16 * u, title),
                         Qt::AlignVCenter, window.title);
        paintPanel(painter, window.client, window.panel, u);
    }
    return image;
}

} // namespace scene
