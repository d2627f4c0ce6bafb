// The coordinator's scrolling flows: the overlay and its hint, the check for synthesised
// input, the all-in-one bar's action, the panel, and the delivery into the history.

#include "capture/CaptureCoordinator.h"
#include "capture/HistoryManager.h"

#include "ScrollPages.h"
#include "support/EventLoop.h"
#include "support/FakePlatform.h"

#include <QDir>

namespace {

using namespace testsupport;

struct NoWheel : platform::ScrollSynthesizer {
    Result<bool> available() override { return Error{QStringLiteral("no wheel")}; }
    Result<bool> movePointer(const QPoint&) override { return true; }
    Result<bool> turnWheel(int, bool) override { return true; }
};

struct Surfaces : CaptureSurfaces {
    struct Selection : AreaSelectionController {
        Surfaces& owner;
        explicit Selection(Surfaces& o) : owner(o) {}
        void start(Completion completion) override { owner.finishSelection = std::move(completion); }
    };
    struct Panel : ScrollingPanel {
        Surfaces& owner;
        explicit Panel(Surfaces& o) : owner(o) { owner.panelUp = true; }
        ~Panel() override { owner.panelUp = false; }
        void setLength(int pixels) override { owner.lengths << pixels; }
    };
    std::unique_ptr<AreaSelectionController> makeAreaSelection(const SelectionParameters& p) override {
        selections << p;
        return std::make_unique<Selection>(*this);
    }
    std::unique_ptr<WindowPickerController> makeWindowPicker() override { return nullptr; }
    std::unique_ptr<CountdownPanel> makeCountdownPanel() override { return nullptr; }
    void pin(const QImage&, double, const QRect&) override {}
    std::unique_ptr<ScrollingPanel> makeScrollingPanel(const ScrollingPanelRequest& request) override {
        requests << request;
        return std::make_unique<Panel>(*this);
    }

    QList<SelectionParameters> selections;
    AreaSelectionController::Completion finishSelection;
    QList<ScrollingPanelRequest> requests;
    QList<int> lengths;
    bool panelUp = false;
};

// A page 1200 pixels long, shown 300 at a time from the area at (100, 50), scrolled 40
// pixels a notch.
struct Wheel : platform::ScrollSynthesizer {
    bool works = true;
    QString refusal; // the desktop asks the user at the first move, who says no
    int* top = nullptr;
    Result<bool> available() override {
        if (!works) return Error{QStringLiteral("no XTEST")};
        return true;
    }
    Result<bool> movePointer(const QPoint&) override {
        if (!refusal.isEmpty()) return Error{refusal};
        return true;
    }
    Result<bool> turnWheel(int notches, bool) override {
        *top = std::clamp(*top + notches * 40, 0, 1200 - 300);
        return true;
    }
};

struct PageScreen : FakeScreen {
    QImage page = textPage(200, 1200);
    int top = 0;
    Result<QImage> grabArea(const QRect& rect) override {
        return page.copy(0, top, rect.width(), rect.height());
    }
};

class ScrollingFlowsTest : public PlatformTest {
protected:
    // The fakes here point into this test: later tests get a wheel that goes nowhere.
    void TearDown() override {
        platform::Services inert;
        inert.scrollSynthesizer = std::make_unique<NoWheel>();
        platform::install(std::move(inert));
    }
    void SetUp() override {
        PlatformTest::SetUp();
        auto pageScreen = std::make_unique<PageScreen>();
        pageScreen->displayList = {{1, "DP-1", QRect(0, 0, 800, 600), 1.0, true, 0}};
        shown = pageScreen.get();
        auto scroller = std::make_unique<Wheel>();
        scroller->top = &shown->top;
        wheel = scroller.get();
        platform::Services services;
        services.screen = std::move(pageScreen);
        services.scrollSynthesizer = std::move(scroller);
        platform::install(std::move(services));
        surfaces = std::make_shared<Surfaces>();
        coordinator = std::make_unique<CaptureCoordinator>(surfaces, std::chrono::milliseconds(50),
                                                           std::chrono::milliseconds(0));
        coordinator->setScrollingTiming(
            {std::chrono::milliseconds(1), std::chrono::milliseconds(1), std::chrono::milliseconds(1)});
    }

    SelectionTarget target() const { return {shown->displayList.first(), std::nullopt}; }
    static QStringList history() { return QDir(HistoryManager::directory()).entryList(QDir::Files); }

    PageScreen* shown = nullptr;
    Wheel* wheel = nullptr;
    std::shared_ptr<Surfaces> surfaces;
    std::unique_ptr<CaptureCoordinator> coordinator;
};

TEST_F(ScrollingFlowsTest, TheOverlayLeadsToOneLongCaptureInTheHistory) {
    coordinator->scrollingCapture();
    ASSERT_EQ(surfaces->selections.size(), 1);
    EXPECT_EQ(surfaces->selections[0].hint, "Select the scrollable area. Esc cancels");
    EXPECT_FALSE(surfaces->selections[0].freeze);
    // A second request while the overlay is up is ignored.
    coordinator->scrollingCapture();
    EXPECT_EQ(surfaces->selections.size(), 1);

    QImage frozen(800, 600, QImage::Format_RGB32);
    std::exchange(surfaces->finishSelection, nullptr)({SelectionOutcome::Kind::selected,
                                                       SelectionAction::capture,
                                                       QRectF(100, 50, 200, 300),
                                                       {target().display, frozen}});
    EXPECT_TRUE(surfaces->panelUp);
    EXPECT_EQ(surfaces->requests.value(0).capturedRootRect, QRect(100, 50, 200, 300));
    ASSERT_TRUE(waitUntil([&] { return !coordinator->busy(); }, 20000));
    EXPECT_FALSE(surfaces->panelUp);
    EXPECT_EQ(surfaces->lengths.last(), 1200);
    const QStringList files = history();
    ASSERT_EQ(files.size(), 1);
    const QImage stored(HistoryManager::directory() + "/" + files[0]);
    EXPECT_TRUE(alike(stored, shown->page, 0)) << stored.width() << "x" << stored.height();
}

TEST_F(ScrollingFlowsTest, AUserWhoWillNotLetThePointerMoveHearsWhyAndNothingIsKept) {
    wheel->refusal = QStringLiteral("Scrolling capture was not allowed.");
    coordinator->scrollingCapture();
    std::exchange(surfaces->finishSelection, nullptr)(
        {SelectionOutcome::Kind::selected, SelectionAction::capture, QRectF(100, 50, 200, 300), target()});
    ASSERT_TRUE(waitUntil([&] { return !coordinator->busy(); }, 20000));
    EXPECT_EQ(toasts->shown.last(), "Scrolling capture was not allowed.");
    EXPECT_FALSE(surfaces->panelUp);
    EXPECT_TRUE(history().isEmpty());
}

TEST_F(ScrollingFlowsTest, WithoutSynthesisedInputItSaysWhyAndTheBarHasNoScroll) {
    EXPECT_TRUE(coordinator->availableActions().contains(SelectionAction::scroll));
    wheel->works = false;
    coordinator->scrollingCapture();
    EXPECT_TRUE(surfaces->selections.isEmpty());
    ASSERT_EQ(toasts->shown.size(), 1);
    EXPECT_TRUE(toasts->shown[0].startsWith("Scrolling capture needs Accessibility access ("));

    coordinator->captureAllInOne();
    std::exchange(surfaces->finishSelection, nullptr)(
        {SelectionOutcome::Kind::action, SelectionAction::scroll, QRectF(100, 50, 200, 300), target()});
    EXPECT_EQ(toasts->shown.last(), "Scrolling capture needs Accessibility access");
    EXPECT_FALSE(surfaces->panelUp);
}

TEST_F(ScrollingFlowsTest, TheAllInOneActionAndAgentsScrollTheSelectionAndDoneEndsIt) {
    coordinator->captureAllInOne();
    ASSERT_TRUE(surfaces->selections[0].actions.contains(SelectionAction::scroll));
    std::exchange(surfaces->finishSelection, nullptr)(
        {SelectionOutcome::Kind::action, SelectionAction::scroll, QRectF(100, 50, 200, 300), target()});
    ASSERT_TRUE(surfaces->panelUp);
    // Done on the panel: what is captured so far is delivered.
    surfaces->requests[0].done();
    ASSERT_TRUE(waitUntil([&] { return !coordinator->busy(); }, 20000));
    ASSERT_EQ(history().size(), 1);

    shown->top = 0;
    std::optional<QImage> image;
    bool answered = false;
    coordinator->runScrollingCapture(QRectF(100, 50, 200, 300), target().display, ScrollAxis::vertical,
                                     [&](std::optional<QImage> result) {
                                         image = std::move(result);
                                         answered = true;
                                     });
    ASSERT_TRUE(waitUntil([&] { return answered; }, 20000));
    ASSERT_TRUE(image);
    EXPECT_TRUE(alike(*image, shown->page, 0));
    EXPECT_EQ(history().size(), 1) << "an agent's capture is delivered by the agent's tool";
}

} // namespace
