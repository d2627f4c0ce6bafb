#include "ui/OwnWindowsOutOfRecordings.h"

#include "platform/Platform.h"
#include "ui/FloatingChrome.h"
#include "ui/PinWindow.h"
#include "ui/QuickAccessOverlay.h"
#include "ui/RecordedArea.h"
#include "ui/ToastWindow.h"

#include <QApplication>
#include <QList>
#include <QPointer>
#include <QThread>

#include <optional>

namespace ui {

namespace {

// Runs `work` on the GUI thread and waits for it.
template <typename Work> void onGui(Work work) {
    if (QThread::currentThread() == QCoreApplication::instance()->thread())
        work();
    else
        QMetaObject::invokeMethod(QCoreApplication::instance(), work, Qt::BlockingQueuedConnection);
}

// Where a recording's frames come from, in root pixels, as it is now: a window recording
// follows its window.
recordedArea::Area areaOf(const platform::FrameSource& source) {
    if (source.rootRect) return [rect = *source.rootRect] { return std::optional<QRect>(rect); };
    const uint32_t id = source.windowId.value_or(0);
    return [id]() -> std::optional<QRect> {
        auto& screen = platform::services().screen;
        if (!screen) return std::nullopt;
        for (const platform::WindowInfo& window : screen->windows())
            if (window.id == id) return window.frame;
        return std::nullopt;
    };
}

// Takes those of our windows off the recorded area that do not belong in the picture, the
// toasts among them into `toasts`; true when one was there.
bool keepOut(QList<QPointer<ToastWindow>>& toasts) {
    bool changed = false;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (!window->isVisible()) continue;
        auto* toast = qobject_cast<ToastWindow*>(window);
        const bool card = qobject_cast<QuickAccessOverlay*>(window);
        const bool pin = qobject_cast<PinWindow*>(window);
        if (!toast && !card && !pin) continue;
        if (!recordedArea::covers(chrome::rootRect(window->screen(), window->frameGeometry()))) continue;
        recordedArea::hold(window);
        if (toast) toasts.append(toast);
        changed = true;
    }
    return changed;
}

// Messages that were up as the recording started come back beside it where there is room,
// for what is left of their time: a window moved while it shows could still be copied at
// its old place, a window shown anew is not.
void showBeside(const QList<QPointer<ToastWindow>>& toasts) {
    for (const QPointer<ToastWindow>& toast : toasts) {
        if (!toast || !recordedArea::moveOutside(*toast)) continue;
        recordedArea::letGo(toast);
        toast->show();
    }
}

class KeptOutStream final : public platform::FrameStream {
public:
    KeptOutStream(std::unique_ptr<platform::FrameStream> stream, const std::function<void()>& settled)
        : m_stream(std::move(stream)), m_settled(settled) {}
    ~KeptOutStream() override { stop(); }

    Result<bool> start(const platform::FrameSource& source, const platform::FrameStreamSettings& settings,
                       FrameHandler onFrame, ErrorHandler onError) override {
        QList<QPointer<ToastWindow>> toasts;
        onGui([&] {
            m_recording = recordedArea::begin(areaOf(source));
            if (keepOut(toasts) && m_settled) m_settled();
        });
        Result<bool> started = m_stream->start(source, settings, std::move(onFrame), std::move(onError));
        if (!started) {
            stop();
            return started;
        }
        if (!toasts.isEmpty()) onGui([&] { showBeside(toasts); });
        return started;
    }

    void stop() override {
        m_stream->stop();
        // At the program's end the windows are gone already.
        const std::optional<int> recording = std::exchange(m_recording, std::nullopt);
        if (!recording || !QCoreApplication::instance()) return;
        if (QThread::currentThread() == QCoreApplication::instance()->thread())
            recordedArea::end(*recording);
        else
            QMetaObject::invokeMethod(QCoreApplication::instance(),
                                      [recording] { recordedArea::end(*recording); });
    }

    int missedFrames() const override { return m_stream->missedFrames(); }

private:
    std::unique_ptr<platform::FrameStream> m_stream;
    const std::function<void()>& m_settled;
    std::optional<int> m_recording; // while it keeps our windows out
};

} // namespace

Result<std::unique_ptr<platform::FrameStream>> OwnWindowsOutOfRecordings::create() {
    Result<std::unique_ptr<platform::FrameStream>> stream = m_streams->create();
    if (!stream) return stream.error();
    return std::unique_ptr<platform::FrameStream>(
        std::make_unique<KeptOutStream>(std::move(stream).value(), m_settled));
}

} // namespace ui
