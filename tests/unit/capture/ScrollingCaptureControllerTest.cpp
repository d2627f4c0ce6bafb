// The scrolling capture's loop against a page that a fake wheel scrolls: the limits, the
// end of the content, an unexpected change and Esc.

#include "capture/ScrollingCaptureController.h"

#include "ScrollPages.h"
#include "support/EventLoop.h"
#include "support/FakePlatform.h"

#include <QPainter>

namespace {

using namespace testsupport;

struct NoWheel : platform::ScrollSynthesizer {
    Result<bool> available() override { return Error{QStringLiteral("no wheel")}; }
    Result<bool> movePointer(const QPoint&) override { return true; }
    Result<bool> turnWheel(int, bool) override { return true; }
};

// A program showing `page` in the area, scrolled by whole notches of `pixelsPerNotch`
// (it scrolls by lines, like most do) and never past its end.
struct ScrolledPage {
    QImage page;
    int top = 0;
    int pixelsPerNotch = 51;
    int viewport = 400;
    QList<int> notches;
    std::optional<QImage> replacement; // shown instead from `replaceAfter` notches on
    int replaceAfter = 0;
    QString grabFailure; // the screen cannot be grabbed, and says why
};

class PageScreen : public FakeScreen {
public:
    explicit PageScreen(ScrolledPage& shown) : m_shown(shown) {}
    Result<QImage> grabArea(const QRect& rootRect) override {
        if (!m_shown.grabFailure.isEmpty()) return Error{m_shown.grabFailure};
        const QImage& page = m_shown.replacement && m_shown.notches.size() >= m_shown.replaceAfter
                                 ? *m_shown.replacement
                                 : m_shown.page;
        return framed(page, m_shown.top, rootRect.height());
    }

private:
    ScrolledPage& m_shown;
};

class PageScroller : public platform::ScrollSynthesizer {
public:
    explicit PageScroller(ScrolledPage& shown) : m_shown(shown) {}
    Result<bool> available() override { return true; }
    Result<bool> movePointer(const QPoint& point) override {
        if (!refusal.isEmpty()) return Error{refusal};
        pointer = point;
        return true;
    }
    Result<bool> turnWheel(int notches, bool) override {
        if (turnsLeft && (*turnsLeft)-- == 0)
            return Error{QStringLiteral("The desktop took the pointer back.")};
        m_shown.notches.append(notches);
        m_shown.top = std::clamp(m_shown.top + notches * m_shown.pixelsPerNotch, 0,
                                 m_shown.page.height() - m_shown.viewport);
        return true;
    }
    QPoint pointer;
    QString refusal;              // the desktop will not let the pointer move
    std::optional<int> turnsLeft; // the wheel turns this many times, then fails

private:
    ScrolledPage& m_shown;
};

class ScrollingCaptureControllerTest : public PlatformTest {
protected:
    // The fakes here point into this test: later tests get a wheel that goes nowhere.
    void TearDown() override {
        platform::Services inert;
        inert.scrollSynthesizer = std::make_unique<NoWheel>();
        platform::install(std::move(inert));
    }
    void SetUp() override {
        PlatformTest::SetUp();
        shown.page = textPage(300, 1500);
        platform::Services services;
        auto pageScreen = std::make_unique<PageScreen>(shown);
        pageScreen->displayList = {{1, "DP-1", QRect(0, 0, 1000, 1000), 1.0, true, 0}};
        services.screen = std::move(pageScreen);
        auto scroller = std::make_unique<PageScroller>(shown);
        wheel = scroller.get();
        services.scrollSynthesizer = std::move(scroller);
        platform::install(std::move(services));
    }

    // Runs a capture of the area to its end; the image it delivered.
    std::optional<QImage> capture(const std::function<void(ScrollingCaptureController&)>& adjust = {}) {
        bool finished = false;
        std::optional<QImage> result;
        ScrollingCaptureController controller(
            QRectF(100, 100, 300, shown.viewport),
            {platform::services().screen->displays().first(), std::nullopt}, ScrollAxis::automatic,
            [&](std::optional<QImage> image) {
                EXPECT_FALSE(finished) << "the completion runs once";
                finished = true;
                result = std::move(image);
            },
            {std::chrono::milliseconds(1), std::chrono::milliseconds(1), std::chrono::milliseconds(1)});
        if (adjust) adjust(controller);
        controller.begin();
        EXPECT_TRUE(waitUntil([&] { return finished; }, 20000));
        failure = controller.failure();
        return result;
    }

    ScrolledPage shown;
    QString failure; // the last capture's
    PageScroller* wheel = nullptr;
};

TEST_F(ScrollingCaptureControllerTest, AWholePageComesOutSeamlesslyAndTheEndNeedsNoToast) {
    const auto image = capture();
    ASSERT_TRUE(image);
    EXPECT_TRUE(alike(*image, shown.page, 0)) << image->width() << "x" << image->height();
    EXPECT_EQ(wheel->pointer, QPoint(250, 300)); // the area's centre
    // One notch to learn the wheel's distance, then steps of 0.6 of the area in notches.
    ASSERT_GE(shown.notches.size(), 3);
    EXPECT_EQ(shown.notches[0], 1);
    EXPECT_EQ(shown.notches[1], 240 / 51);
    EXPECT_EQ(toasts->shown, QStringList{"Scrolling capture running. Press Esc to finish"});
    EXPECT_TRUE(hotkeys->bound.isEmpty()) << "Esc is given back";
}

TEST_F(ScrollingCaptureControllerTest, AListScrolledByWholeRowsIsNotMistakenForItsEnd) {
    // Between a heading and the rest of the page, identical items 68 pixels apart; a step of
    // 4 notches of 51 pixels is exactly 3 items and looks like no movement at all.
    QImage page = repeatedRows(300, 1500, 68);
    QPainter painter(&page);
    painter.drawImage(0, 0, textPage(300, 60, 5));
    painter.drawImage(0, 1000, textPage(300, 500, 6));
    painter.end();
    shown.page = page;
    const auto image = capture();
    ASSERT_TRUE(image);
    EXPECT_TRUE(alike(*image, page, 0)) << image->width() << "x" << image->height();
}

TEST_F(ScrollingCaptureControllerTest, StepsAndLengthAreLimited) {
    const auto stepped = capture([](ScrollingCaptureController& c) { c.maxSteps = 3; });
    ASSERT_TRUE(stepped);
    EXPECT_EQ(shown.notches.size(), 3);
    EXPECT_TRUE(alike(*stepped, shown.page.copy(0, 0, 300, 400 + 51 + 204 + 204), 0));

    shown.top = 0;
    shown.notches.clear();
    const auto cut = capture([](ScrollingCaptureController& c) { c.maxTotalLength = 700; });
    ASSERT_TRUE(cut);
    EXPECT_TRUE(alike(*cut, shown.page.copy(0, 0, 300, 700), 0));
}

TEST_F(ScrollingCaptureControllerTest, AnUnexpectedChangeStopsWithAToastAndKeepsWhatCameBefore) {
    shown.replacement = textPage(300, 1500, 99);
    shown.replaceAfter = 3;
    const auto image = capture();
    ASSERT_TRUE(image);
    EXPECT_TRUE(alike(*image, shown.page.copy(0, 0, 300, 400 + 51 + 204), 0));
    EXPECT_TRUE(toasts->shown.contains("Scrolling capture stopped. The page moved unexpectedly"));
}

TEST_F(ScrollingCaptureControllerTest, APointerTheDesktopWillNotMoveEndsTheCaptureWithTheReason) {
    wheel->refusal = QStringLiteral("The user said no.");
    EXPECT_FALSE(capture());
    EXPECT_EQ(failure, "The user said no.");
    EXPECT_TRUE(shown.notches.isEmpty());
    EXPECT_TRUE(hotkeys->bound.isEmpty()) << "Esc is given back";
}

TEST_F(ScrollingCaptureControllerTest, AnAreaThatCannotBeGrabbedEndsTheCaptureWithTheReason) {
    shown.grabFailure = QStringLiteral("The shared screen sent no picture.");
    EXPECT_FALSE(capture());
    EXPECT_EQ(failure, "The shared screen sent no picture.");
    EXPECT_TRUE(shown.notches.isEmpty());
}

TEST_F(ScrollingCaptureControllerTest, AWheelTakenAwayMidwayKeepsWhatCameBeforeWithTheReason) {
    wheel->turnsLeft = 2;
    const auto image = capture();
    ASSERT_TRUE(image);
    EXPECT_TRUE(alike(*image, shown.page.copy(0, 0, 300, 400 + 51 + 204), 0));
    EXPECT_TRUE(toasts->shown.contains("The desktop took the pointer back."));
    EXPECT_EQ(failure, "");
}

TEST_F(ScrollingCaptureControllerTest, EscFinishesWithTheFramesSoFar) {
    bool pressed = false;
    const auto image = capture([&](ScrollingCaptureController& c) {
        QObject::connect(&c, &ScrollingCaptureController::lengthChanged, [&](int length) {
            if (length >= 400 + 51 && !pressed) pressed = hotkeys->press(QKeySequence(Qt::Key_Escape));
        });
    });
    ASSERT_TRUE(pressed);
    ASSERT_TRUE(image);
    EXPECT_LT(image->height(), shown.page.height());
    EXPECT_TRUE(alike(*image, shown.page.copy(0, 0, 300, image->height()), 0));
}

TEST_F(ScrollingCaptureControllerTest, APageThatOnlyScrollsSidewaysIsFollowedSideways) {
    const QImage wide = textPage(400, 1200).transformed(QTransform().rotate(90));
    // The same program, turned: the fake scrolls `top` along x.
    struct SidewaysScreen : FakeScreen {
        ScrolledPage* shown = nullptr;
        QImage wide;
        Result<QImage> grabArea(const QRect& rootRect) override {
            return wide.copy(shown->top, 0, rootRect.width(), rootRect.height());
        }
    };
    auto screen = std::make_unique<SidewaysScreen>();
    screen->displayList = {{1, "DP-1", QRect(0, 0, 2000, 1000), 1.0, true, 0}};
    screen->shown = &shown;
    screen->wide = wide;
    shown.page = QImage(wide.height(), wide.width(), QImage::Format_RGB32); // its length for the clamp
    shown.viewport = 300;
    platform::Services services;
    services.screen = std::move(screen);
    platform::install(std::move(services));
    // Down does nothing on this page: the fake wheel turns it only sideways.
    bool finished = false;
    std::optional<QImage> result;
    int downs = 0;
    struct SidewaysScroller : platform::ScrollSynthesizer {
        ScrolledPage* shown = nullptr;
        int* downs = nullptr;
        Result<bool> available() override { return true; }
        Result<bool> movePointer(const QPoint&) override { return true; }
        Result<bool> turnWheel(int notches, bool horizontal) override {
            if (!horizontal) return ++*downs, true;
            shown->top = std::clamp(shown->top + notches * shown->pixelsPerNotch, 0, 1200 - 300);
            return true;
        }
    };
    auto scroller = std::make_unique<SidewaysScroller>();
    scroller->shown = &shown;
    scroller->downs = &downs;
    platform::Services more;
    more.scrollSynthesizer = std::move(scroller);
    platform::install(std::move(more));
    ScrollingCaptureController controller(
        QRectF(0, 0, 300, 400), {platform::services().screen->displays().first(), std::nullopt},
        ScrollAxis::automatic,
        [&](std::optional<QImage> image) {
            finished = true;
            result = std::move(image);
        },
        {std::chrono::milliseconds(1), std::chrono::milliseconds(1), std::chrono::milliseconds(1)});
    controller.begin();
    ASSERT_TRUE(waitUntil([&] { return finished; }, 20000));
    ASSERT_TRUE(result);
    EXPECT_EQ(downs, 2); // the first notch, and one more before giving up on that way
    EXPECT_TRUE(alike(*result, wide, 0)) << result->width() << "x" << result->height();
}

} // namespace
