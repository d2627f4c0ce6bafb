#pragma once

#include "video/ZoomTrack.h"

#include <QPointF>
#include <QSize>

#include <functional>
#include <optional>
#include <vector>

// Where a zoomed-in view aims while it follows the pointer, in picture pixels. The view holds
// still while the pointer moves about its middle, and glides to put the pointer back in the
// middle once it nears an edge. A view drifting with every small movement is tiring to watch,
// resamples the text it shows differently in every frame, and makes every frame a changed
// picture for the encoder; a still one repeats its pictures exactly.
class ZoomFollower {
public:
    // Where the pointer dwells at a moment, in picture pixels; nullopt where the track has none.
    using Pointer = std::function<std::optional<QPointF>(double time)>;

    ZoomFollower() = default;
    ZoomFollower(const ZoomTrack& zoom, const Pointer& pointer, QSize video, double duration);

    std::optional<QPointF> aim(double time) const;

private:
    std::vector<std::optional<QPointF>> m_aims; // one per step from time 0
};
