#pragma once

#include "common/Result.h"
#include "platform/FrameStream.h"

#include <QImage>
#include <QRect>

#include <chrono>
#include <functional>

namespace platform::wayland {

// The first picture of a stream that `start` starts with these handlers; `stop` ends it, also
// where it failed to start. Fails where no picture comes within `timeout`.
using StreamStart = std::function<Result<bool>(FrameStream::FrameHandler, FrameStream::ErrorHandler)>;
Result<QImage> firstPicture(const StreamStart& start, const std::function<void()>& stop,
                            std::chrono::milliseconds timeout);

// One picture of `pixels` (the screen backend's pixels) from a frame stream of the desktop's
// screen-cast portal: the stream is opened with the answer the desktop keeps (no question once
// the user has shared the screen with a restore token), its first frame taken, and the stream
// closed. For desktops whose screenshot portal asks before every screenshot (KDE Plasma 5.27).
Result<QImage> screenCastStill(FrameStreams& streams, const QRect& pixels,
                               std::chrono::milliseconds timeout = std::chrono::seconds(10));

// Whether still captures go through the screen-cast portal rather than the screenshot portal:
// on KDE, where the screenshot portal asks every time, or where PICTAVIA_STILLS_FROM_SCREENCAST
// says 1 (the tests use it on GNOME) or 0.
bool stillsFromScreenCast();

} // namespace platform::wayland
