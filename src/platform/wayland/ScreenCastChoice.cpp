#include "platform/wayland/ScreenCastChoice.h"

#include <algorithm>
#include <cmath>

namespace platform::wayland {

namespace {

// Where a display lies in the compositor's layout: the backend placed its pixels at the
// logical position times the highest scale of all displays.
QPoint logicalPosition(const DisplayInfo& display, const QList<DisplayInfo>& all) {
    double highest = 1.0;
    for (const DisplayInfo& each : all)
        highest = std::max(highest, each.scale);
    return {int(std::lround(display.geometry.x() / highest)),
            int(std::lround(display.geometry.y() / highest))};
}

} // namespace

std::optional<CastTarget> castTargetFor(const QList<ScreenCastStream>& streams,
                                        const QList<DisplayInfo>& displays, const DisplayInfo& display,
                                        const QRect& area) {
    const QPoint position = logicalPosition(display, displays);
    auto stream = std::find_if(streams.begin(), streams.end(),
                               [&](const ScreenCastStream& s) { return s.position == position; });
    // A portal that does not say where its one stream lies cannot be checked.
    if (stream == streams.end() && streams.size() == 1 && !streams.front().position) stream = streams.begin();
    if (stream == streams.end()) return std::nullopt;
    CastTarget target;
    target.node = stream->node;
    target.outputPixels = display.geometry.size();
    if (area != display.geometry)
        target.crop = area.intersected(display.geometry).translated(-display.geometry.topLeft());
    return target;
}

uint cursorModeFor(const ScreenCastOffer& offer, bool showCursor) {
    if (!showCursor && (offer.cursorModes & ScreenCastOffer::hidden)) return ScreenCastOffer::hidden;
    if (offer.cursorModes & ScreenCastOffer::metadata) return ScreenCastOffer::metadata;
    if (offer.cursorModes & ScreenCastOffer::embedded) return ScreenCastOffer::embedded;
    return ScreenCastOffer::hidden;
}

} // namespace platform::wayland
