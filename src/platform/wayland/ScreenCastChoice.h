#pragma once

#include "platform/ScreenBackend.h"
#include "platform/wayland/ScreenCastPortal.h"
#include "platform/wayland/pipewire/PipeWireStreams.h"

#include <QList>
#include <QRect>

#include <optional>

namespace platform::wayland {

// What to take from a screen-cast session to record `area` of `display` (one of
// `displays`, in the screen backend's pixels): the stream that shares that display, matched
// by its place in the compositor's layout, and the part of it to keep. nullopt when the
// desktop shared another display. The connection (fd) is left for the caller.
std::optional<CastTarget> castTargetFor(const QList<ScreenCastStream>& streams,
                                        const QList<DisplayInfo>& displays, const DisplayInfo& display,
                                        const QRect& area);

// The cursor mode to ask the portal for: hidden where the pointer is not wanted, else as
// metadata (drawn in by the stream) where the desktop can send it, else drawn by the desktop.
uint cursorModeFor(const ScreenCastOffer& offer, bool showCursor);

} // namespace platform::wayland
