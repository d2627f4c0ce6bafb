// Scrolling captures on GNOME, where no compositor protocol lets a program move the pointer:
// the wheel turns through the remote desktop portal, whose "Remote desktop" window asks the
// user which screen to share, and whether to allow remote interaction. The tests answer it as a
// user would, then compare the stitched page with the page rendered whole, check that one
// answer serves a whole run, and that a user who says no hears why.

#include "PatternMatching.h"
#include "WaitUntil.h"
#include "WaylandGnomeSessionTest.h"

#include <QImage>
#include <QRect>

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <optional>

namespace {

using namespace testsupport;

// The page's fixed header, as scroll_page paints it.
constexpr QRgb headerColour = qRgb(0x1f, 0x3a, 0x93);
// Behind the page, far from every colour of the shell's and GTK's dialogs.
constexpr QRgb backdrop = qRgb(0xcc, 0x33, 0x66);

class WaylandGnomeScrollTest : public WaylandGnomeSessionTest {
protected:
    [[nodiscard]] bool startGnome() {
        if (!WaylandGnomeSessionTest::startGnome(QSize(1024, 768),
                                                 "copyToClipboard = false\ncaptureSound = false\n"
                                                 "showQuickAccess = false\n"))
            return false;
        page = session->reachable(SCROLL_PAGE_BIN);
        const std::string window = session->reachable(TEST_WINDOW_BIN);
        EXPECT_FALSE(page.empty());
        EXPECT_FALSE(window.empty());
        if (page.empty() || window.empty()) return false;
        session->startProcess(window, {"--title", "Backdrop", "--pattern", "#cc3366", "--fullscreen"},
                              {{"QT_QPA_PLATFORM", "wayland"}});
        // Screenshots find the page and the portal's window: the shell asks once before the first.
        return !firstScreenshotAllowed().isNull();
    }

    // Shows the page over the backdrop and returns where its client area is, in the output's
    // pixels, once it is drawn: from the top-left corner of its header, at the size it asks for.
    QRect showPage(const std::vector<std::string>& args, QSize size) {
        session->startProcess(page, args,
                              {{"QT_QPA_PLATFORM", "wayland"}, {"QT_WAYLAND_DISABLE_WINDOWDECORATION", "1"}});
        QRect found;
        const bool shown = waitUntil([&] {
            const QImage screen = screenshot();
            QRect header;
            for (int y = 0; y < screen.height(); ++y)
                for (int x = 0; x < screen.width(); ++x)
                    if (screen.pixel(x, y) == headerColour) header |= QRect(x, y, 1, 1);
            found = QRect(header.topLeft(), size);
            // The whole header, and the page below it drawn.
            return header.width() == size.width() && screen.rect().contains(found) &&
                   screen.pixel(found.center()) != backdrop;
        });
        EXPECT_TRUE(shown) << "the page did not come up";
        return shown ? found : QRect();
    }

    static std::string rectArgument(const QRect& r) {
        return std::to_string(r.x()) + "," + std::to_string(r.y()) + "," + std::to_string(r.width()) + "," +
               std::to_string(r.height());
    }

    // Pictavia's scrolling capture of `area`, run while the test answers the portal's question
    // with `answer`.
    ProcessOutput scrollingCapture(const QRect& area, const std::function<void()>& answer) {
        auto capture = std::async(std::launch::async, [&] {
            return session->run(program, {"capture", "scrolling", "--rect", rectArgument(area)},
                                {.timeout = 180s});
        });
        answer();
        return capture.get();
    }

    std::string page;
};

TEST_F(WaylandGnomeScrollTest, APageScrolledThroughTheRemoteDesktopPortalComesOutWhole) {
    if (!startGnome()) return;
    const std::string reference = session->directory() + "/page.png";
    ASSERT_EQ(session->run(page, {"--lines", "160", "--render", reference}).exitCode, 0);
    const QRect client = showPage({"--lines", "160"}, QSize(520, 420));
    ASSERT_FALSE(client.isEmpty());

    const ProcessOutput out =
        scrollingCapture(client, [&] { EXPECT_TRUE(shareTheMonitor()) << "the portal did not ask"; });
    ASSERT_EQ(out.exitCode, 0) << out.err;
    const QImage result(QString::fromStdString(out.out).trimmed());
    const QImage whole(QString::fromStdString(reference));
    // The scroll bar's column (the rightmost 20 pixels) is not part of the page.
    ASSERT_NO_FATAL_FAILURE(expectWholePage(result, whole, whole.width() - 20));
}

TEST_F(WaylandGnomeScrollTest, OneAnswerServesEveryTurnOfTheWheelInARun) {
    if (!startGnome()) return;
    const std::string wheel = session->reachable(PORTAL_WHEEL_BIN);
    ASSERT_FALSE(wheel.empty());
    const QRect client = showPage({"--lines", "160"}, QSize(520, 420));
    ASSERT_FALSE(client.isEmpty());
    const QImage before = screenshot().copy(client);

    auto questions = session->startReading(
        "dbus-monitor",
        {"--session", "interface='org.freedesktop.impl.portal.RemoteDesktop',member='Start'"});
    const std::string at = std::to_string(client.center().x()) + "," + std::to_string(client.center().y());
    auto turns = std::async(std::launch::async, [&] {
        return session->run(wheel, {at + ":2", at + ":2", at + ":2"}, {.timeout = 120s});
    });
    EXPECT_TRUE(shareTheMonitor()) << "the portal did not ask";
    const ProcessOutput turned = turns.get();
    ASSERT_EQ(turned.exitCode, 0) << turned.err;
    EXPECT_EQ(turned.out, "turned\nturned\nturned\n");
    int asked = 0;
    while (const auto line = questions->readLine(2s))
        asked += line->find("member=Start") != std::string::npos;
    EXPECT_EQ(asked, 1);
    // The page moved under its fixed header: six notches down.
    const QImage after = screenshot().copy(client);
    EXPECT_EQ(after.copy(0, 0, client.width(), 36), before.copy(0, 0, client.width(), 36));
    EXPECT_NE(after.copy(0, 36, client.width(), 300), before.copy(0, 36, client.width(), 300));
}

TEST_F(WaylandGnomeScrollTest, AUserWhoDeclinesOrLeavesInteractionOffHearsWhy) {
    if (!startGnome()) return;
    const QRect client = showPage({"--lines", "160"}, QSize(520, 420));
    ASSERT_FALSE(client.isEmpty());

    // "Cancel" and "Share" stand at the two ends of the centred window's header.
    const auto pressInHeader = [&](bool share) {
        QImage screen;
        std::optional<QPoint> shareButton;
        EXPECT_TRUE(waitUntil(
            [&] {
                screen = screenshot();
                shareButton = middleOf(screen, suggestedAction, 6, 30);
                return shareButton.has_value();
            },
            60s))
            << "the portal did not ask";
        if (!shareButton) return;
        click(share ? *shareButton : QPoint(screen.width() - shareButton->x(), shareButton->y()),
              screen.size());
    };
    const ProcessOutput declined = scrollingCapture(client, [&] { pressInHeader(false); });
    EXPECT_EQ(declined.exitCode, 1);
    EXPECT_EQ(declined.out, "");
    EXPECT_EQ(declined.err, "pictavia: Scrolling capture was not allowed: the desktop's question whether "
                            "Pictavia may control the pointer was declined.\n");

    // Shared, but with "Allow remote interaction" left off: the screen comes without the pointer.
    const ProcessOutput noPointer = scrollingCapture(client, [&] { pressInHeader(true); });
    EXPECT_EQ(noPointer.exitCode, 1);
    EXPECT_EQ(noPointer.out, "");
    EXPECT_EQ(noPointer.err, "pictavia: Scrolling capture was not allowed: the desktop shared the screen but "
                             "not the pointer (remote interaction was left off).\n");
}

} // namespace
