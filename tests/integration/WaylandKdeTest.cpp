// Captures and recordings on KDE: kwin_wayland on a virtual output, with xdg-desktop-portal-kde.
// KDE's portal answers a screenshot only through its "Request screenshot" dialog, every time,
// and asks before a recording it has no restore token for. The tests look at the screen
// around the portal (kwin_screenshot) and answer the recording's question with the pointer
// (kwin_click), then check that Pictavia either returns the known pixels or says in one
// sentence why not, and that the answer is not asked for again. Where this KWin cannot do what
// is asked (no GPU here), the test says so and is skipped after its checks.

#include "MovieFrames.h"
#include "WaitUntil.h"
#include "WaylandSessionTest.h"

#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <algorithm>
#include <future>

namespace {

using namespace testsupport;

constexpr QRgb known = qRgb(0xcc, 0x33, 0x66);
constexpr QSize outputSize(1280, 720);

class WaylandKdeTest : public WaylandSessionTest {
protected:
    [[nodiscard]] bool startKde() {
        if (!startSession(
                {.outputs = {{outputSize.width(), outputSize.height(), 1.0}},
                 .desktop = WaylandSession::Desktop::kde},
                "copyToClipboard = false\ncaptureSound = false\nrecFPS = 30\nrecShowClicks = false\n"))
            return false;
        const std::string window = session->reachable(TEST_WINDOW_BIN);
        look = session->reachable(KWIN_SCREENSHOT_BIN);
        hand = session->reachable(KWIN_CLICK_BIN);
        EXPECT_FALSE(window.empty() || look.empty() || hand.empty());
        if (window.empty() || look.empty() || hand.empty()) return false;
        session->startProcess(window, {"--title", "Known", "--pattern", "#cc3366", "--fullscreen"},
                              {{"QT_QPA_PLATFORM", "wayland"}});
        return true;
    }

    // The desktop as KWin copies it.
    QImage screen() {
        const ProcessOutput shot = session->run(look, {});
        QImage image;
        image.loadFromData(QByteArray::fromStdString(shot.out), "PPM");
        return image.convertToFormat(QImage::Format_RGB32);
    }

    void click(QPoint at) {
        const ProcessOutput clicked =
            session->run(hand, {std::to_string(at.x()) + "," + std::to_string(at.y())});
        EXPECT_EQ(clicked.exitCode, 0) << clicked.err;
    }

    // Answers the portal's "Screen Sharing" window, centred: this output's card right of the
    // "New Virtual Output" one, and "Share" at the bottom, where KWin places them on 1280×720.
    void shareThisOutput() {
        const QPoint centre(outputSize.width() / 2, outputSize.height() / 2);
        ASSERT_TRUE(waitUntil([&] { return screen().pixel(centre) != known; }, 60s))
            << "no question was asked";
        click(centre + QPoint(127, -30));
        click(centre + QPoint(139, 247));
    }

    // A failure as Pictavia must fail: exit 1, nothing on stdout, one sentence on stderr as
    // its last line (a recording's notices may come before it).
    static void expectOneSentence(const ProcessOutput& out) {
        EXPECT_EQ(out.exitCode, 1) << out.err;
        EXPECT_EQ(out.out, "");
        const std::size_t last = out.err.rfind('\n', out.err.size() - 2);
        const std::string sentence = out.err.substr(last == std::string::npos ? 0 : last + 1);
        EXPECT_EQ(sentence.rfind("pictavia: ", 0), 0u) << out.err;
        EXPECT_EQ(std::count(sentence.begin(), sentence.end(), '\n'), 1) << out.err;
        EXPECT_EQ(out.err.find("pictavia: "), out.err.size() - sentence.size()) << out.err;
    }

    std::string look; // kwin_screenshot
    std::string hand; // kwin_click
};

TEST_F(WaylandKdeTest, TheOutputIsListedAndAScreenshotIsTheKnownPixelsOrOneSentence) {
    if (!startKde()) return;
    ASSERT_TRUE(waitUntil([&] { return pixelsNotOf(screen(), known) == 0; }))
        << "the window did not cover the output";

    const ProcessOutput listing = session->run(program, {"displays", "--json"});
    ASSERT_EQ(listing.exitCode, 0) << listing.err;
    const QJsonArray displays = QJsonDocument::fromJson(QByteArray::fromStdString(listing.out)).array();
    ASSERT_EQ(displays.size(), 1) << listing.out;
    EXPECT_EQ(displays[0]["name"].toString().toStdString(), session->outputNames().front());
    EXPECT_EQ(displays[0]["frame"]["width"].toInt(), outputSize.width()) << listing.out;
    EXPECT_EQ(displays[0]["frame"]["height"].toInt(), outputSize.height()) << listing.out;

    // KDE's screenshot portal asks before every screenshot: stills come from the shared screen,
    // whose question is asked once.
    auto first = std::async(std::launch::async, [&] {
        return session->run(program, {"capture", "fullscreen"}, {.timeout = 100s});
    });
    shareThisOutput();
    const ProcessOutput shot = first.get();
    ASSERT_FALSE(shot.timedOut) << "the Screen Sharing window was not answered";
    EXPECT_FALSE(savedRestoreToken().isEmpty());
    if (shot.exitCode == 0) {
        const QImage image(QString::fromStdString(shot.out).trimmed());
        ASSERT_EQ(image.size(), outputSize);
        EXPECT_EQ(pixelsNotOf(image, known), 0);
        return;
    }
    // Never a black or empty picture: a sentence.
    expectOneSentence(shot);
    GTEST_SKIP() << "KWin 5.27 without a GPU sends the shared screen no frame, and xdg-desktop-portal-kde "
                    "5.27's \"Request screenshot\" dialog, the way left, does not open in this session; "
                    "Pictavia said: "
                 << shot.err;
}

TEST_F(WaylandKdeTest, ARecordingIsSharedOnceAndTheRestoreTokenSkipsTheQuestion) {
    if (!startKde()) return;
    ASSERT_TRUE(waitUntil([&] { return pixelsNotOf(screen(), known) == 0; }))
        << "the window did not cover the output";

    auto first = std::async(std::launch::async, [&] {
        return session->run(program, {"record", "fullscreen", "--duration", "2", "--no-audio"},
                            {.timeout = 100s});
    });
    shareThisOutput();
    const ProcessOutput answered = first.get();
    ASSERT_FALSE(answered.timedOut) << "the Screen Sharing window was not answered";
    if (answered.exitCode != 0 && savedRestoreToken().isEmpty()) {
        // A busy machine's KWin can turn the session down before the question is answered.
        expectOneSentence(answered);
        GTEST_SKIP() << "the desktop opened no session to remember; Pictavia said: " << answered.err;
    }
    EXPECT_FALSE(savedRestoreToken().isEmpty());
    const std::size_t logged = sessionLog("portal").size();

    // No question the second time: the recording ends without a click.
    const ProcessOutput again =
        session->run(program, {"record", "fullscreen", "--duration", "2", "--no-audio"}, {.timeout = 60s});
    ASSERT_FALSE(again.timedOut) << "the portal asked again";
    EXPECT_NE(sessionLog("portal").substr(logged).find("Replacing 'restore_token' with portal-specific data"),
              std::string::npos);
    if (again.exitCode == 0) {
        const QList<QImage> frames = movieFrames(QString::fromStdString(again.out).trimmed(), outputSize);
        ASSERT_FALSE(frames.isEmpty());
        EXPECT_EQ(pixelsNotOf(frames[frames.size() / 2], known), 0);
        return;
    }
    expectOneSentence(again);
    GTEST_SKIP() << "KWin 5.27 on its virtual backend without a GPU starts the screen cast (shared-memory "
                    "buffers) but never fills a buffer; Pictavia said: "
                 << again.err;
}

} // namespace
