// The recording half of the capture coordinator: starting, stopping and restarting the one
// screen recorder, and the overlays and pickers that choose what it records.
#include "capture/CaptureCoordinator.h"

#include "app/Prefs.h"
#include "app/Toast.h"
#include "app/Usage.h"
#include "capture/ScreenCaptureService.h"
#include "recording/ScreenRecorder.h"

#include <QPointer>

namespace {

const QString couldNotStart = QStringLiteral("Could not start recording");

// Where a window is now, in root pixels; none when it is gone.
std::optional<QRect> windowFrame(uint32_t windowID) {
    auto& screen = platform::services().screen;
    if (!screen) return std::nullopt;
    for (const platform::WindowInfo& window : screen->windows())
        if (window.id == windowID) return window.frame;
    return std::nullopt;
}

} // namespace

bool CaptureCoordinator::mayStartRecording() const {
    // While a recording runs (or counts down to its start), only the toggle and restart act.
    return m_recorder.state() == ScreenRecorder::State::idle && !m_countdown.running();
}

void CaptureCoordinator::toggleRecording(bool gif, RecordMode mode) {
    if (m_recorder.state() != ScreenRecorder::State::idle) {
        // A second press of the record hotkey stops, whether running or paused.
        m_recorder.stop();
        return;
    }
    switch (mode.kind) {
    case RecordMode::Kind::fullscreen:
        return recordFullscreen(gif, mode.displayID);
    case RecordMode::Kind::area:
        return recordArea(gif);
    case RecordMode::Kind::window:
        return recordWindow(gif);
    }
}

void CaptureCoordinator::recordArea(bool gif) {
    if (!mayStartRecording() || m_selection) return;
    const auto previous = Prefs::lastRecordingArea();
    SelectionParameters parameters;
    parameters.hint =
        previous ? QStringLiteral("Previous ") + (gif ? QStringLiteral("GIF") : QStringLiteral("recording")) +
                       QStringLiteral(" area shown. Drag to reselect, ↩ starts, W picks a window")
                 : QStringLiteral("Drag the area to record. ↩ full screen, W a window, Esc cancels");
    // A recording shows the live screen, so the overlay does not freeze it.
    parameters.freeze = false;
    parameters.adjustable = previous.has_value();
    parameters.allowWindowSwitch = true;
    parameters.enterTakesDisplay = true;
    parameters.initialSelection = previous;
    beginAreaSelection(std::move(parameters), [this, gif](const SelectionOutcome& outcome) {
        switch (outcome.kind) {
        case SelectionOutcome::Kind::selected:
            return recordSource(RecordingSource::area(outcome.rect, outcome.target.display.id), gif,
                                couldNotStart + QStringLiteral(": "));
        case SelectionOutcome::Kind::switchToWindowPicker:
            return recordWindow(gif);
        case SelectionOutcome::Kind::action:
        case SelectionOutcome::Kind::cancelled:
            return;
        }
    });
}

void CaptureCoordinator::recordWindow(bool gif) {
    if (!mayStartRecording() || m_windowPicker) return;
    beginFlow();
    m_windowPicker = m_surfaces->makeWindowPicker();
    m_windowPicker->start([this, gif](const std::optional<WindowPick>& pick) {
        retire(m_windowPicker);
        if (pick) {
            const auto source = RecordingSource::window(pick->windowID);
            if (source)
                startRecording(*source, gif, false);
            else if (source.error().code == ScreenCaptureService::windowNotFound().code)
                Toast::show(QStringLiteral("That window is no longer available"));
            else
                Toast::show(couldNotStart);
        }
        endFlow();
    });
}

void CaptureCoordinator::recordFullscreen(bool gif, std::optional<uint32_t> displayID) {
    if (!mayStartRecording()) return;
    const auto source = RecordingSource::fullscreen(displayID);
    if (!source) return Toast::show(QStringLiteral("Could not find that display"));
    startRecording(*source, gif, false);
}

void CaptureCoordinator::recordSource(const Result<RecordingSource>& source, bool gif,
                                      const QString& failure) {
    if (!source) return Toast::show(failure + source.error().message);
    RecordingSource chosen = *source;
    // Named after the application the user was in before the overlay came up.
    chosen.context = m_frontmostContext;
    startRecording(chosen, gif, false);
}

void CaptureCoordinator::restartRecording() {
    if (m_recorder.state() == ScreenRecorder::State::idle || !m_lastRecordingConfig) return;
    Toast::show(QStringLiteral("Restarting recording…"));
    const RecordingConfig config = *m_lastRecordingConfig;
    QPointer<CaptureCoordinator> self(this);
    m_recorder.stopAndWait([self, config](const std::optional<QString>&) {
        if (!self) return;
        const QString failed = QStringLiteral("Could not restart recording");
        Result<RecordingSource> source = Error{failed};
        if (config.windowID) {
            source = RecordingSource::window(*config.windowID);
            if (!source && source.error().code == ScreenCaptureService::windowNotFound().code) {
                Toast::show(QStringLiteral("That window is gone. Recording the screen instead"));
                source = RecordingSource::fullscreen(config.displayID);
            }
        } else if (!config.area.isEmpty()) {
            source = RecordingSource::area(config.area, config.displayID);
        } else {
            source = RecordingSource::fullscreen(config.displayID);
        }
        if (!source) return Toast::show(failed);
        self->startRecording(*source, config.gif, true, [failed](const Result<bool>& started) {
            if (!started) Toast::show(failed);
        });
    });
}

void CaptureCoordinator::startRecording(const RecordingSource& source, bool gif, bool skipCountdown,
                                        std::function<void(const Result<bool>&)> started,
                                        RecordingTweaks tweaks) {
    const int countdown = skipCountdown ? 0 : Prefs::integer(QStringLiteral("recCountdown"));
    runCountdown(countdown, source.display,
                 [this, source, gif, started = std::move(started), tweaks = std::move(tweaks)] {
                     const auto report = [&started](const Result<bool>& result) {
                         if (started) started(result);
                     };
                     if (m_recorder.state() != ScreenRecorder::State::idle)
                         return report(Error{QStringLiteral("A recording is already running")});
                     RecordingOptions options = RecordingOptions::fromPreferences();
                     if (tweaks.options) tweaks.options(options);
                     if (!source.frames.windowId && tweaks.rememberArea) {
                         const QRectF area = source.areaRect.isEmpty()
                                                 ? QRectF(QPointF(), QSizeF(source.display.geometry.size()) /
                                                                         source.display.scale)
                                                 : source.areaRect;
                         Prefs::setLastRecordingArea(Prefs::Area{area, source.display.id});
                     }
                     m_lastRecordingConfig =
                         RecordingConfig{source.display.id, source.areaRect, gif, source.frames.windowId};
                     // The controls are up before the first frame, so the stream knows to leave them out.
                     if (Prefs::flag(QStringLiteral("recShowHUD"))) showRecorderHUD(source, gif);
                     const auto result = m_recorder.start(source, gif, options);
                     if (!result) {
                         m_recorderHUD.reset();
                         Toast::show(couldNotStart + QStringLiteral(": ") + result.error().message);
                         return report(result);
                     }
                     Usage::count(gif ? QStringLiteral("record.gif") : QStringLiteral("record.video"));
                     if (options.studio) Usage::count(QStringLiteral("record.studio"));
                     if (options.webcam) Usage::count(QStringLiteral("record.camera"));
                     if (!gif && source.display.scale > 1.0) {
                         const QSize size = options.recordingSize(source.pixels, false);
                         Toast::show(QStringLiteral("Recording %1×%2 at %3 fps")
                                         .arg(size.width())
                                         .arg(size.height())
                                         .arg(options.fps),
                                     2.0);
                     }
                     report(true);
                 });
}

void CaptureCoordinator::showRecorderHUD(const RecordingSource& source, bool gif) {
    QRect recorded = source.display.geometry;
    if (source.frames.rootRect)
        recorded = *source.frames.rootRect;
    else if (source.frames.windowId)
        recorded = windowFrame(*source.frames.windowId).value_or(recorded);
    RecorderHUDRequest request{source.display, recorded, gif, [this] { restartRecording(); }};
    m_recorderHUD = m_surfaces->makeRecorderHUD(m_recorder, request);
}
