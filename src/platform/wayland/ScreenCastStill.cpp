#include "platform/wayland/ScreenCastStill.h"

#include "platform/wayland/ScreenCastWords.h"

#include <QtGlobal>

#include <condition_variable>
#include <mutex>
#include <optional>

namespace platform::wayland {

Result<QImage> firstPicture(const StreamStart& start, const std::function<void()>& stop,
                            std::chrono::milliseconds timeout) {
    std::mutex mutex;
    std::condition_variable arrived;
    std::optional<Result<QImage>> outcome;
    const auto settle = [&](Result<QImage> result) {
        const std::lock_guard lock(mutex);
        if (!outcome) outcome = std::move(result);
        arrived.notify_all();
    };
    const Result<bool> started = start([&](const QImage& frame, qint64) { settle(frame.copy()); },
                                       [&](const Error& error) { settle(error); });
    if (!started) {
        stop();
        return started.error();
    }
    {
        std::unique_lock lock(mutex);
        arrived.wait_for(lock, timeout, [&] { return outcome.has_value(); });
    }
    stop();
    const std::lock_guard lock(mutex);
    if (!outcome) return Error{ScreenCastWords::noPicture()};
    return *outcome;
}

Result<QImage> screenCastStill(FrameStreams& streams, const QRect& pixels,
                               std::chrono::milliseconds timeout) {
    auto created = streams.create();
    if (!created) return created.error();
    std::unique_ptr<FrameStream> stream = std::move(created).value();
    FrameSource source;
    source.rootRect = pixels;
    FrameStreamSettings settings;
    settings.showCursor = false; // a screenshot leaves the pointer out
    return firstPicture(
        [&](FrameStream::FrameHandler onFrame, FrameStream::ErrorHandler onError) {
            return stream->start(source, settings, std::move(onFrame), std::move(onError));
        },
        [&] { stream->stop(); }, timeout);
}

bool stillsFromScreenCast() {
    const QString asked = qEnvironmentVariable("PICTAVIA_STILLS_FROM_SCREENCAST");
    if (!asked.isEmpty()) return asked == u"1";
    return qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(u':').contains(QStringLiteral("KDE"));
}

} // namespace platform::wayland
