// Scrolling captures of real programs under Xvfb: a Qt page with a fixed header and footer,
// compared row by row with the page rendered whole; xterm's scrollback, line by line; and
// Chromium with a sticky header, compared with its own full-page rendering.

#include "PatternMatching.h"
#include "TestWindow.h"
#include "WaitUntil.h"
#include "XServer.h"

#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QSet>
#include <QTemporaryDir>

#include <cmath>
#include <filesystem>

namespace {

using namespace testsupport;

class ScrollingCaptureTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(home.isValid());
        server = XServer::start({.width = 1280, .height = 900, .windowManager = true});
        QDir().mkpath(home.path() + "/config/pictavia");
        QFile prefs(home.path() + "/config/pictavia/pictavia.conf");
        ASSERT_TRUE(prefs.open(QIODevice::WriteOnly));
        prefs.write("copyToClipboard = false\ncaptureSound = false\nshowQuickAccess = false\n");
    }

    ProcessOutput pictavia(const std::vector<std::string>& args) {
        const std::string dir = home.path().toStdString();
        return server->run(PICTAVIA_BIN, args,
                           {.environment = {{"XDG_CONFIG_HOME", dir + "/config"},
                                            {"XDG_DATA_HOME", dir + "/data"},
                                            {"XDG_RUNTIME_DIR", dir},
                                            {"HOME", dir}},
                            .timeout = 120s});
    }

    // Runs `pictavia capture scrolling` on the root rectangle; the image it delivered.
    QImage scrollingCapture(const QRect& area) {
        const ProcessOutput out = pictavia({"capture", "scrolling", "--rect",
                                            QStringLiteral("%1,%2,%3,%4")
                                                .arg(area.x())
                                                .arg(area.y())
                                                .arg(area.width())
                                                .arg(area.height())
                                                .toStdString()});
        EXPECT_EQ(out.exitCode, 0) << out.err;
        const QString file = QString::fromStdString(out.out).trimmed();
        EXPECT_TRUE(QFileInfo(file).isFile()) << out.out << out.err;
        return QImage(file);
    }

    QRect settledClientRect(uint32_t id) {
        QRect client, previous;
        waitUntil([&] {
            previous = client;
            client = clientRect(*server, id);
            return !client.isEmpty() && client == previous;
        });
        return client;
    }

    QTemporaryDir home;
    std::unique_ptr<XServer> server;
};

TEST_F(ScrollingCaptureTest, AQtPageComesOutRowForRowWithItsHeaderAndFooterOnce) {
    const std::string reference = (home.path() + "/page.png").toStdString();
    ASSERT_EQ(server->run(SCROLL_PAGE_BIN, {"--lines", "160", "--render", reference}).exitCode, 0);
    ChildProcess& page = server->startProcess(SCROLL_PAGE_BIN, {"--lines", "160", "--pos", "60,60"});
    const auto id = page.readLine(20s);
    ASSERT_TRUE(id) << "the page did not come up";
    const QRect client = settledClientRect(uint32_t(std::stoul(*id)));

    const QImage result = scrollingCapture(client);
    const QImage whole(QString::fromStdString(reference));
    // The scroll bar's column (the rightmost 20 pixels) is not part of the page.
    ASSERT_NO_FATAL_FAILURE(expectWholePage(result, whole, whole.width() - 20));
}

TEST_F(ScrollingCaptureTest, APageThatScrollsSidewaysIsFollowedSideways) {
    const std::string reference = (home.path() + "/wide.png").toStdString();
    ASSERT_EQ(server->run(SCROLL_PAGE_BIN, {"--sideways", "--lines", "40", "--render", reference}).exitCode,
              0);
    ChildProcess& page =
        server->startProcess(SCROLL_PAGE_BIN, {"--sideways", "--lines", "40", "--pos", "60,60"});
    const auto id = page.readLine(20s);
    ASSERT_TRUE(id) << "the page did not come up";
    const QRect client = settledClientRect(uint32_t(std::stoul(*id)));

    // The automatic direction finds that down does nothing here.
    const QImage result = scrollingCapture(client);
    const QImage whole(QString::fromStdString(reference));
    ASSERT_EQ(result.size(), whole.size());
    // The header and the columns (above the scroll bar), and the footer, row by row.
    const int columns = 360, footer = 36;
    EXPECT_EQ(compareRows(result.copy(0, 0, result.width(), columns),
                          whole.copy(0, 0, whole.width(), columns), whole.width())
                  .differingRows,
              0);
    EXPECT_EQ(compareRows(result.copy(0, result.height() - footer, result.width(), footer),
                          whole.copy(0, whole.height() - footer, whole.width(), footer), whole.width())
                  .differingRows,
              0);
}

TEST_F(ScrollingCaptureTest, WithoutXTestItSaysWhatIsMissing) {
    server = XServer::start(
        {.width = 640, .height = 480, .windowManager = false, .xvfbArguments = {"-extension", "XTEST"}});
    const ProcessOutput out = pictavia({"capture", "scrolling", "--rect", "0,0,200,200"});
    EXPECT_EQ(out.exitCode, 1);
    EXPECT_NE(out.err.find("XTEST"), std::string::npos) << out.err;
    EXPECT_TRUE(out.out.empty());
}

TEST_F(ScrollingCaptureTest, XtermScrollbackHasEveryLineOnce) {
    const int lines = 150, rows = 30;
    ChildProcess& xterm = server->startProcess(
        "xterm",
        {"-geometry", "70x30+40+40", "-sl", "1000", "-fa", "DejaVu Sans Mono", "-fs", "10", "-e", "sh", "-c",
         "i=1; while [ $i -le " + std::to_string(lines) +
             " ]; do echo \"line $i of the scrollback $((i * 7919 % 1000))\"; i=$((i + 1)); done; "
             "exec sleep 600"});
    std::string window;
    ASSERT_TRUE(waitUntil([&] {
        window = server->run("xdotool", {"search", "--pid", std::to_string(xterm.pid())}).out;
        return !window.empty();
    }));
    const QRect client = settledClientRect(uint32_t(std::stoul(window)));
    // Back to the top of the scrollback, with the wheel.
    server->run("xdotool",
                {"mousemove", std::to_string(client.center().x()), std::to_string(client.center().y()),
                 "click", "--repeat", "60", "--delay", "5", "4"});

    const QImage result = scrollingCapture(client);
    // xterm draws `rows` lines of equal height inside a small border; the scrollback has
    // `lines` of text and the prompt line, so that many line heights more than the window.
    const int border = 2;
    const int lineHeight = (client.height() - 2 * border) / rows;
    ASSERT_GT(lineHeight, 8);
    EXPECT_EQ(result.height(), client.height() + (lines + 1 - rows) * lineHeight);
    // No two text lines alike: a doubled line would be.
    QSet<QByteArray> seen;
    int textLines = 0;
    for (int k = 0; k < lines; ++k) {
        const QImage slice =
            result.copy(border, border + k * lineHeight, result.width() - 2 * border, lineHeight)
                .convertToFormat(QImage::Format_RGB32);
        const QByteArray hash = QCryptographicHash::hash(
            QByteArray(reinterpret_cast<const char*>(slice.constBits()), slice.sizeInBytes()),
            QCryptographicHash::Sha1);
        EXPECT_FALSE(seen.contains(hash)) << "line " << k + 1 << " appears twice";
        seen.insert(hash);
        ++textLines;
    }
    EXPECT_EQ(textLines, lines);
}

// A page of `items` rows of 40 pixels under a sticky header of 48, without scroll bars.
QByteArray stickyHeaderPage(int items) {
    static const char* const words[] = {"alpha", "bravo", "charlie", "delta", "echo", "foxtrot", "golf"};
    QByteArray html = R"(<!doctype html><html><head><meta charset=utf-8><style>
html,body{margin:0;padding:0;background:#fcfcf8;font:16px/20px "DejaVu Sans",sans-serif}
html{scrollbar-width:none} ::-webkit-scrollbar{display:none}
header{position:sticky;top:0;height:48px;background:#1f3a93;color:#fff;line-height:48px;padding-left:12px}
.item{height:40px;box-sizing:border-box;border-bottom:1px solid #ddd;padding:10px 12px;white-space:nowrap}
.mark{display:inline-block;height:14px;margin-right:10px;vertical-align:middle}
</style></head><body><header>Sticky header</header>)";
    for (int k = 0; k < items; ++k)
        html +=
            QStringLiteral("<div class=item><span class=mark style=\"width:%1px;background:hsl(%2,60%,55%)\">"
                           "</span>Item %3 %4 %5 %6</div>\n")
                .arg(10 + (k * 37) % 90)
                .arg((k * 47) % 360)
                .arg(k + 1)
                .arg(QLatin1String(words[k % 7]), QLatin1String(words[(k * 3 + 1) % 7]))
                .arg(k * k)
                .toUtf8();
    return html + "</body></html>";
}

TEST_F(ScrollingCaptureTest, ChromiumWithAStickyHeaderMatchesItsOwnFullPageRendering) {
    if (std::system("command -v chromium >/dev/null 2>&1") != 0) GTEST_SKIP() << "chromium is not installed";
    const int items = 120, width = 600, pageHeight = 48 + items * 40;
    const QString page = home.path() + "/page.html";
    QFile file(page);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(stickyHeaderPage(items));
    file.close();
    const std::vector<std::string> common{"--no-sandbox",          "--test-type",
                                          "--disable-gpu",         "--force-device-scale-factor=1",
                                          "--no-first-run",        "--no-default-browser-check",
                                          "--password-store=basic"};
    // Chromium's own rendering of the whole page at the same width, in one go.
    const std::string reference = (home.path() + "/reference.png").toStdString();
    std::vector<std::string> headless = common;
    headless.insert(headless.end(),
                    {"--user-data-dir=" + (home.path() + "/chromium").toStdString(), "--headless",
                     "--hide-scrollbars",
                     "--window-size=" + std::to_string(width) + "," + std::to_string(pageHeight),
                     "--screenshot=" + reference, "file://" + page.toStdString()});
    ASSERT_EQ(server->run("chromium", headless, {.timeout = 60s}).exitCode, 0);
    const QImage whole(QString::fromStdString(reference));
    ASSERT_EQ(whole.size(), QSize(width, pageHeight));

    // The same page in a real window, scrolled by the wheel.
    std::vector<std::string> windowed = common;
    windowed.insert(windowed.end(),
                    {"--user-data-dir=" + (home.path() + "/chromium-window").toStdString(),
                     "--window-position=60,60", "--window-size=" + std::to_string(width) + ",700",
                     "--app=file://" + page.toStdString()});
    server->startProcess("chromium", windowed);
    // The page's area: from the header's first row to the bottom of the window's client.
    QRect area;
    ASSERT_TRUE(waitUntil(
        [&] {
            const std::string found =
                server->run("xdotool", {"search", "--onlyvisible", "--class", "chromium"}).out;
            if (found.empty()) return false;
            const QRect client = clientRect(
                *server, uint32_t(std::stoul(found.substr(found.rfind('\n', found.size() - 2) + 1))));
            if (client.width() != width) return false;
            const std::string shot = (home.path() + "/window.png").toStdString();
            server->run("import", {"-window", "root", shot});
            const QImage screen(QString::fromStdString(shot));
            for (int y = client.top(); y < client.bottom(); ++y)
                if (screen.pixel(client.left() + 4, y) == qRgb(0x1f, 0x3a, 0x93) &&
                    screen.pixel(client.left() + 4, y + 47) == qRgb(0x1f, 0x3a, 0x93)) {
                    area = QRect(client.left(), y, client.width(), client.bottom() + 1 - y);
                    return true;
                }
            return false;
        },
        60s))
        << "the page did not show";

    const QImage result = scrollingCapture(area);
    ASSERT_NO_FATAL_FAILURE(expectWholePage(result, whole, width));
}

} // namespace
