// The recording half of the capture coordinator: starting, stopping and restarting the one
// screen recorder, and the overlays and pickers that choose what it records.
#include "capture/CaptureCoordinator.h"

#include "app/Prefs.h"
#include "app/Toast.h"
#include "app/Usage.h"
#include "recording/ScreenRecorder.h"

void CaptureCoordinator::startRecording(const RecordingSource& source, bool gif, bool skipCountdown,
                                        std::function<void(const Result<bool>&)> started) {
    const int countdown = skipCountdown ? 0 : Prefs::integer(QStringLiteral("recCountdown"));
    runCountdown(countdown, source.display, [this, source, gif, started = std::move(started)] {
        const auto report = [&started](const Result<bool>& result) {
            if (started) started(result);
        };
        ScreenRecorder& recorder = ScreenRecorder::shared();
        if (recorder.state() != ScreenRecorder::State::idle)
            return report(Error{QStringLiteral("A recording is already running")});
        const RecordingOptions options = RecordingOptions::fromPreferences();
        if (!source.frames.windowId) {
            const QRectF area =
                source.areaRect.isEmpty()
                    ? QRectF(QPointF(), QSizeF(source.display.geometry.size()) / source.display.scale)
                    : source.areaRect;
            Prefs::setLastRecordingArea(Prefs::Area{area, source.display.id});
        }
        m_lastRecordingConfig =
            RecordingConfig{source.display.id, source.areaRect, gif, source.frames.windowId};
        const auto result = recorder.start(source.frames, source.pixels, gif, options, source.context);
        if (!result) {
            Toast::show(QStringLiteral("Could not start recording: ") + result.error().message);
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
