#include "capture/CaptureCoordinator.h"
#include "capture/HistoryManager.h"
#include "capture/OutputPipeline.h"

#include "editor/ProjectStore.h"
#include "support/FakePlatform.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>

namespace {

using Kind = SelectionOutcome::Kind;

// Surfaces that record what the coordinator asked for and let the test finish them.
struct FakeSurfaces : CaptureSurfaces {
    struct Selection : AreaSelectionController {
        FakeSurfaces& owner;
        explicit Selection(FakeSurfaces& o) : owner(o) {}
        void start(Completion completion) override { owner.finishSelection = std::move(completion); }
    };
    struct Picker : WindowPickerController {
        FakeSurfaces& owner;
        explicit Picker(FakeSurfaces& o) : owner(o) {}
        void start(Completion completion) override { owner.finishPick = std::move(completion); }
    };
    struct Panel : CountdownPanel {
        FakeSurfaces& owner;
        explicit Panel(FakeSurfaces& o) : owner(o) {}
        void show(const platform::DisplayInfo&) override { owner.panelUp = true; }
        void setSeconds(int seconds) override { owner.shownSeconds << seconds; }
        void hide() override { owner.panelUp = false; }
    };

    std::unique_ptr<AreaSelectionController> makeAreaSelection(const SelectionParameters& p) override {
        selections << p;
        return std::make_unique<Selection>(*this);
    }
    std::unique_ptr<WindowPickerController> makeWindowPicker() override {
        ++pickers;
        return std::make_unique<Picker>(*this);
    }
    std::unique_ptr<CountdownPanel> makeCountdownPanel() override { return std::make_unique<Panel>(*this); }
    void pin(const QImage& image, double, const QRect& near) override {
        pins << std::pair{image.size(), near};
    }

    QList<SelectionParameters> selections;
    AreaSelectionController::Completion finishSelection;
    int pickers = 0;
    WindowPickerController::Completion finishPick;
    bool panelUp = false;
    QList<int> shownSeconds;
    QList<std::pair<QSize, QRect>> pins;
};

void spinUntil(const std::function<bool()>& done, int ms = 2000) {
    QElapsedTimer clock;
    clock.start();
    while (!done() && clock.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

class CaptureCoordinatorTest : public testsupport::PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        // Two displays: a 2x one on the left (800 x 600 points) and a 1x one on the right.
        screen->displayList = {{1, "eDP-1", QRect(0, 0, 1600, 1200), 2.0, true, 0},
                               {2, "HDMI-1", QRect(1600, 0, 1000, 800), 1.0, false, 0}};
        screen->desktop = QImage(2600, 1200, QImage::Format_RGB32);
        screen->desktop.fill(Qt::darkGreen);
        screen->pointer = QPoint(1700, 100);
        surfaces = std::make_shared<FakeSurfaces>();
        coordinator = std::make_unique<CaptureCoordinator>(surfaces, std::chrono::milliseconds(50),
                                                           std::chrono::milliseconds(0));
    }

    static QStringList history() { return QDir(HistoryManager::directory()).entryList(QDir::Files); }

    SelectionTarget frozenLeft() const {
        QImage frozen(1600, 1200, QImage::Format_RGB32);
        frozen.fill(Qt::blue);
        return {screen->displayList[0], frozen};
    }
    void select(const QRectF& rect, const SelectionTarget& target, Kind kind = Kind::selected,
                SelectionAction action = SelectionAction::capture) {
        ASSERT_TRUE(surfaces->finishSelection);
        std::exchange(surfaces->finishSelection, nullptr)({kind, action, rect, target});
        spinUntil([&] { return !coordinator->busy(); });
    }

    std::shared_ptr<FakeSurfaces> surfaces;
    std::unique_ptr<CaptureCoordinator> coordinator;
};

TEST_F(CaptureCoordinatorTest, AreaFlowGuardsCropsTheFrozenImageAndRemembersTheArea) {
    coordinator->captureArea();
    coordinator->captureArea(); // ignored while the overlay is up
    coordinator->captureAllInOne();
    ASSERT_EQ(surfaces->selections.size(), 1);
    EXPECT_EQ(surfaces->selections[0].hint, "Drag to select an area. Esc cancels");
    EXPECT_TRUE(surfaces->selections[0].freeze);
    EXPECT_FALSE(surfaces->selections[0].showActions);
    EXPECT_TRUE(desktopCover->covered);

    select(QRectF(10, 20, 30, 40), frozenLeft());
    const QStringList files = history();
    ASSERT_EQ(files.size(), 1);
    const QImage saved(HistoryManager::directory() + "/" + files[0]);
    EXPECT_EQ(saved.size(), QSize(60, 80)); // points on a 2x display
    EXPECT_EQ(saved.pixelColor(0, 0), QColor(Qt::blue));
    EXPECT_EQ(Prefs::lastArea(), (Prefs::Area{QRectF(10, 20, 30, 40), 1}));
    EXPECT_FALSE(desktopCover->covered);
    EXPECT_TRUE(screen->grabbedAreas.isEmpty());

    coordinator->captureArea(); // the guard is re-armed
    EXPECT_EQ(surfaces->selections.size(), 2);
    select({}, {}, Kind::cancelled);
    EXPECT_EQ(history().size(), 1);
}

TEST_F(CaptureCoordinatorTest, AllInOneActions) {
    coordinator->captureAllInOne();
    ASSERT_EQ(surfaces->selections.size(), 1);
    EXPECT_TRUE(surfaces->selections[0].showActions);
    EXPECT_EQ(surfaces->selections[0].actions,
              (QList<SelectionAction>{SelectionAction::capture, SelectionAction::copy, SelectionAction::ocr,
                                      SelectionAction::pin}));

    Prefs::setValue("copyToClipboard", false);
    Prefs::setValue("showQuickAccess", true);
    int quickAccess = 0;
    OutputPipeline::setHooks({[&](const QString&, const QImage&) { ++quickAccess; }, {}});
    select(QRectF(0, 0, 10, 10), frozenLeft(), Kind::action, SelectionAction::copy);
    EXPECT_EQ(clipboard->images.size(), 1);
    EXPECT_EQ(quickAccess, 0);
    OutputPipeline::setHooks({});

    coordinator->captureAllInOne();
    select(QRectF(5, 5, 10, 10), frozenLeft(), Kind::action, SelectionAction::pin);
    ASSERT_EQ(surfaces->pins.size(), 1);
    EXPECT_EQ(surfaces->pins[0].first, QSize(20, 20));
    EXPECT_EQ(surfaces->pins[0].second, QRect(10, 10, 20, 20));

    textRecognition->lines = {{"Quarterly report", 0.9f, QRectF(0, 0.5, 1, 0.5), {}}};
    barcodes->payloads = {"https://example.org"};
    coordinator->captureAllInOne();
    select(QRectF(0, 0, 50, 10), frozenLeft(), Kind::action, SelectionAction::ocr);
    ASSERT_FALSE(clipboard->texts.isEmpty());
    EXPECT_EQ(clipboard->texts.last(), "Quarterly report");
    EXPECT_EQ(toasts->shown.last(), "Copied 16 characters of text. Found a code");

    textRecognition->failure = Error{"The model is missing"};
    coordinator->captureText();
    select(QRectF(0, 0, 50, 10), frozenLeft());
    EXPECT_EQ(toasts->shown.last(), "Text recognition failed: The model is missing");
}

TEST_F(CaptureCoordinatorTest, PreviousAreaAndProgrammaticRectangles) {
    coordinator->capturePreviousArea();
    EXPECT_EQ(toasts->shown.last(), "No previous area yet. Capture an area first");

    coordinator->captureRect(QRectF(10, 10, 50, 40), 2u, false);
    ASSERT_EQ(screen->grabbedAreas.size(), 1);
    EXPECT_EQ(screen->grabbedAreas[0], QRect(1610, 10, 50, 40));

    coordinator->capturePreviousArea();
    EXPECT_EQ(screen->grabbedAreas.last(), QRect(1610, 10, 50, 40));

    // Unplugged since: the same rectangle on the display under the pointer.
    Prefs::setLastArea(Prefs::Area{QRectF(0, 0, 20, 20), 99});
    screen->pointer = QPoint(100, 100);
    coordinator->capturePreviousArea();
    EXPECT_EQ(screen->grabbedAreas.last(), QRect(0, 0, 40, 40));
    spinUntil([&] { return !coordinator->busy(); }); // the encoding runs on a worker thread
    EXPECT_EQ(history().size(), 3) << qPrintable(history().join(","));

    const auto before = Prefs::lastArea();
    coordinator->captureRect(QRectF(5000, 5000, 10, 10), 1u, false);
    EXPECT_EQ(toasts->shown.last(), "That area is off screen");
    // Reaching past the edge is refused too, rather than clipped.
    coordinator->captureRect(QRectF(700, 0, 200, 10), 1u, false);
    EXPECT_EQ(toasts->shown.last(),
              "That area reaches past the edge of the display, which is 800×600 points");
    EXPECT_EQ(screen->grabbedAreas.size(), 3);
    EXPECT_EQ(Prefs::lastArea(), before);
}

TEST_F(CaptureCoordinatorTest, CountdownsRunOutOrAreCancelledWithEscape) {
    coordinator->timedArea(0);
    EXPECT_EQ(surfaces->selections[0].hint, "Select an area. The capture fires 0s after you release");
    select(QRectF(0, 0, 10, 10), frozenLeft());
    EXPECT_TRUE(surfaces->shownSeconds.isEmpty());
    EXPECT_EQ(history().size(), 1);
    EXPECT_EQ(screen->grabbedAreas.size(), 1); // grabbed after the wait, not from the frozen image

    coordinator->timedFullscreen(2);
    EXPECT_TRUE(surfaces->panelUp);
    EXPECT_TRUE(coordinator->busy());
    spinUntil([&] { return !coordinator->busy(); });
    EXPECT_FALSE(surfaces->panelUp);
    EXPECT_EQ(surfaces->shownSeconds, (QList<int>{2, 1}));
    EXPECT_EQ(history().size(), 2);
    EXPECT_TRUE(hotkeys->bound.isEmpty());

    coordinator->timedFullscreen(3);
    ASSERT_TRUE(hotkeys->press(QKeySequence(Qt::Key_Escape)));
    spinUntil([&] { return !coordinator->busy(); });
    EXPECT_FALSE(surfaces->panelUp);
    EXPECT_EQ(history().size(), 2);
    EXPECT_TRUE(hotkeys->bound.isEmpty());
}

TEST_F(CaptureCoordinatorTest, WindowPicker) {
    screen->windowList = {{77, 10, "Notes", "todo.txt", 0, QRect(1650, 50, 200, 100)}};
    QImage pixels(200, 100, QImage::Format_RGB32);
    pixels.fill(Qt::red);
    screen->windowPixels.insert(77, pixels);
    Prefs::setValue("windowShadow", false);

    coordinator->captureWindow();
    coordinator->captureWindow();
    EXPECT_EQ(surfaces->pickers, 1);
    std::exchange(surfaces->finishPick, nullptr)(WindowPick{77, screen->displayList[1]});
    spinUntil([&] { return !coordinator->busy(); });
    ASSERT_EQ(history().size(), 1);
    const QString file = HistoryManager::directory() + "/" + history()[0];
    EXPECT_EQ(QImage(file).pixelColor(0, 0), QColor(Qt::red));
    // The window is kept editable, without a baked shadow to draw around.
    const auto project = ProjectStore::load(file);
    ASSERT_TRUE(project);
    EXPECT_TRUE(project->isWindowCapture);
    EXPECT_EQ(project->padding, 0);
    EXPECT_EQ(project->background, "none");

    coordinator->captureWindow();
    std::exchange(surfaces->finishPick, nullptr)(WindowPick{78, screen->displayList[1]});
    spinUntil([&] { return !coordinator->busy(); });
    EXPECT_EQ(toasts->shown.last(), "Window capture failed: Window not found");
    coordinator->captureWindow();
    std::exchange(surfaces->finishPick, nullptr)(std::nullopt);
    EXPECT_EQ(history().size(), 1);
}

} // namespace
