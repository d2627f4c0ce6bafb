#include "capture/CaptureCoordinator.h"
#include "capture/HistoryManager.h"
#include "capture/OutputPipeline.h"

#include "editor/ProjectStore.h"
#include "platform/media/FfmpegMovieWriter.h"
#include "platform/media/GiflibWriter.h"
#include "recording/ScreenRecorder.h"
#include "support/FakeFrameStreams.h"
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
    struct HUD : RecorderHUD {
        FakeSurfaces& owner;
        explicit HUD(FakeSurfaces& o) : owner(o) { ++owner.hudsUp; }
        ~HUD() override { --owner.hudsUp; }
    };
    std::unique_ptr<RecorderHUD> makeRecorderHUD(ScreenRecorder&,
                                                 const RecorderHUDRequest& request) override {
        huds << request;
        return std::make_unique<HUD>(*this);
    }
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
    QList<RecorderHUDRequest> huds;
    int hudsUp = 0;
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

// The recording flows, with a recorder of the test's own fed by a fake frame stream.
class RecordingFlowsTest : public CaptureCoordinatorTest {
protected:
    void SetUp() override {
        CaptureCoordinatorTest::SetUp();
        auto streamFactory = std::make_unique<testsupport::FakeFrameStreams>();
        streams = streamFactory.get();
        platform::Services services;
        services.frameStreams = std::move(streamFactory);
        services.movies = std::make_unique<platform::media::FfmpegMovieWriter>();
        services.gifs = std::make_unique<platform::media::GiflibWriter>();
        platform::install(std::move(services));
        Prefs::setValue("recCountdown", 0);
        Prefs::setValue("copyToClipboard", false);
        Prefs::setValue("showQuickAccess", false);
        Prefs::setValue("recFPS", 10);
        screen->windowList = {{77, 10, "Notes", "todo.txt", 0, QRect(1650, 50, 200, 100)}};
        coordinator = std::make_unique<CaptureCoordinator>(surfaces, std::chrono::milliseconds(50),
                                                           std::chrono::milliseconds(0), &recorder);
    }
    void TearDown() override {
        recorder.cancel(true);
        waitForIdle();
        coordinator.reset();
        platform::services().frameStreams.reset();
        platform::services().movies.reset();
        platform::services().gifs.reset();
    }

    bool recording() const { return recorder.state() == ScreenRecorder::State::recording; }
    void waitForIdle() {
        spinUntil([&] { return recorder.state() == ScreenRecorder::State::idle && !coordinator->busy(); },
                  20000);
    }
    void waitForRecording() {
        spinUntil([&] { return recording() && !coordinator->busy(); });
        ASSERT_TRUE(recording());
    }
    platform::FrameSource recorded() const { return streams->last->source; }
    void pick(std::optional<uint32_t> window) {
        ASSERT_TRUE(surfaces->finishPick);
        std::exchange(surfaces->finishPick, nullptr)(
            window ? std::optional(WindowPick{*window, screen->displayList[1]}) : std::nullopt);
    }

    ScreenRecorder recorder{1000};
    testsupport::FakeFrameStreams* streams = nullptr;
};

TEST_F(RecordingFlowsTest, TheToggleStartsByModeAndStopsWhileRecordingOrPaused) {
    coordinator->toggleRecording(false, RecordMode::fullscreen(2));
    waitForRecording();
    EXPECT_EQ(recorded().rootRect, QRect(1600, 0, 1000, 800));
    EXPECT_EQ(Prefs::lastRecordingArea(), (Prefs::Area{QRectF(0, 0, 1000, 800), 2}));
    // The controls come up beside the recording, and the display is kept awake.
    ASSERT_EQ(surfaces->huds.size(), 1);
    EXPECT_EQ(surfaces->hudsUp, 1);
    EXPECT_EQ(surfaces->huds[0].recordedRootRect, QRect(1600, 0, 1000, 800));
    EXPECT_EQ(surfaces->huds[0].display.id, 2u);
    EXPECT_EQ(sleepGuard->held.size(), 1);
    EXPECT_EQ(sleepGuard->reasons, QStringList{"Pictavia screen recording"});

    // Every other way in does nothing while one runs.
    coordinator->recordArea(false);
    coordinator->recordWindow(false);
    coordinator->recordFullscreen(true, 1u);
    EXPECT_TRUE(surfaces->selections.isEmpty());
    EXPECT_EQ(surfaces->pickers, 0);
    EXPECT_EQ(recorded().rootRect, QRect(1600, 0, 1000, 800));

    recorder.pause();
    coordinator->toggleRecording(true, RecordMode::window()); // paused still counts as running
    EXPECT_EQ(surfaces->pickers, 0);
    waitForIdle();
    EXPECT_EQ(surfaces->hudsUp, 0);
    EXPECT_TRUE(sleepGuard->held.isEmpty());

    // Without the controls and the sleep guard when the preferences say so.
    Prefs::setValue("recShowHUD", false);
    Prefs::setValue("recPreventSleep", false);
    coordinator->toggleRecording(false, RecordMode::fullscreen());
    waitForRecording();
    EXPECT_EQ(recorded().rootRect, QRect(1600, 0, 1000, 800)); // the display under the pointer
    EXPECT_EQ(surfaces->huds.size(), 1);
    EXPECT_TRUE(sleepGuard->held.isEmpty());
    coordinator->toggleRecording(false, RecordMode::area());
    waitForIdle();

    coordinator->recordFullscreen(false, 99u);
    EXPECT_EQ(toasts->shown.last(), "Could not find that display");
}

TEST_F(RecordingFlowsTest, TheAreaOverlayOffersThePreviousAreaAndSwitchesToTheWindowPicker) {
    coordinator->recordArea(false);
    ASSERT_EQ(surfaces->selections.size(), 1);
    const SelectionParameters first = surfaces->selections[0];
    EXPECT_EQ(first.hint, "Drag the area to record. ↩ full screen, W a window, Esc cancels");
    EXPECT_FALSE(first.freeze);
    EXPECT_FALSE(first.adjustable);
    EXPECT_TRUE(first.allowWindowSwitch);
    EXPECT_FALSE(first.initialSelection);
    coordinator->recordArea(false); // one overlay at a time
    EXPECT_EQ(surfaces->selections.size(), 1);

    // W: the picker, and the picked window is recorded, followed by its number.
    std::exchange(surfaces->finishSelection, nullptr)({Kind::switchToWindowPicker, {}, {}, {}});
    EXPECT_EQ(surfaces->pickers, 1);
    pick(77);
    waitForRecording();
    EXPECT_EQ(recorded().windowId, 77u);
    EXPECT_FALSE(recorded().rootRect);
    ASSERT_EQ(surfaces->huds.size(), 1);
    EXPECT_EQ(surfaces->huds[0].recordedRootRect, QRect(1650, 50, 200, 100));
    EXPECT_FALSE(Prefs::lastRecordingArea()) << "a window is no area to offer again";
    coordinator->toggleRecording(false, RecordMode::area());
    waitForIdle();

    // A chosen area is recorded in the display's pixels and offered the next time.
    coordinator->recordArea(true);
    select(QRectF(10, 20, 100, 50), SelectionTarget{screen->displayList[0], std::nullopt});
    waitForRecording();
    EXPECT_EQ(recorded().rootRect, QRect(20, 40, 200, 100));
    EXPECT_TRUE(surfaces->huds.last().gif);
    coordinator->toggleRecording(true, RecordMode::area());
    waitForIdle();
    coordinator->recordArea(true);
    const SelectionParameters again = surfaces->selections.last();
    EXPECT_EQ(again.hint, "Previous GIF area shown. Drag to reselect, ↩ starts, W picks a window");
    EXPECT_TRUE(again.adjustable);
    EXPECT_EQ(again.initialSelection, (Prefs::Area{QRectF(10, 20, 100, 50), 1}));
    select({}, {}, Kind::cancelled);
    EXPECT_EQ(recorder.state(), ScreenRecorder::State::idle);

    // A window that closed while the picker was up.
    coordinator->recordWindow(false);
    pick(78);
    EXPECT_EQ(toasts->shown.last(), "That window is no longer available");
    EXPECT_EQ(recorder.state(), ScreenRecorder::State::idle);
}

TEST_F(RecordingFlowsTest, RestartRecordsTheSameThingAgainOrTheScreenWhenTheWindowIsGone) {
    coordinator->recordWindow(false);
    pick(77);
    waitForRecording();
    ASSERT_EQ(surfaces->huds.size(), 1);

    // The controls' restart button: the same window again, at once.
    surfaces->huds[0].restart();
    EXPECT_EQ(toasts->shown.last(), "Restarting recording…");
    spinUntil([&] { return surfaces->huds.size() == 2 && recording(); }, 20000);
    ASSERT_TRUE(recording());
    EXPECT_EQ(recorded().windowId, 77u);
    EXPECT_EQ(surfaces->hudsUp, 1);

    screen->windowList.clear();
    coordinator->restartRecording();
    spinUntil([&] { return surfaces->huds.size() == 3 && recording(); }, 20000);
    ASSERT_TRUE(recording());
    EXPECT_TRUE(toasts->shown.contains("That window is gone. Recording the screen instead"));
    EXPECT_EQ(recorded().rootRect, QRect(1600, 0, 1000, 800));
    EXPECT_FALSE(recorded().windowId);

    // The display went as well: nothing to restart on.
    screen->displayList.removeLast();
    coordinator->restartRecording();
    waitForIdle();
    EXPECT_EQ(toasts->shown.last(), "Could not restart recording");
    EXPECT_EQ(surfaces->hudsUp, 0);

    coordinator->restartRecording(); // nothing runs: nothing to restart
    EXPECT_EQ(toasts->shown.last(), "Could not restart recording");
}

TEST_F(RecordingFlowsTest, TheAllInOneBarRecordsItsSelectionAndAFailedStartSaysWhy) {
    coordinator->captureAllInOne();
    EXPECT_EQ(
        surfaces->selections[0].actions,
        (QList<SelectionAction>{SelectionAction::capture, SelectionAction::copy, SelectionAction::record,
                                SelectionAction::gif, SelectionAction::ocr, SelectionAction::pin}));
    select(QRectF(0, 0, 100, 100), SelectionTarget{screen->displayList[1], std::nullopt}, Kind::action,
           SelectionAction::gif);
    waitForRecording();
    EXPECT_EQ(recorded().rootRect, QRect(1600, 0, 100, 100));
    EXPECT_TRUE(surfaces->huds.last().gif);
    recorder.cancel(true);
    waitForIdle();

    streams->failure = Error{"The X server refused the grab"};
    coordinator->captureAllInOne();
    select(QRectF(0, 0, 100, 100), SelectionTarget{screen->displayList[1], std::nullopt}, Kind::action,
           SelectionAction::record);
    EXPECT_EQ(toasts->shown.last(), "Could not start recording: The X server refused the grab");
    EXPECT_EQ(surfaces->hudsUp, 0);
    EXPECT_TRUE(sleepGuard->held.isEmpty());
}

} // namespace
