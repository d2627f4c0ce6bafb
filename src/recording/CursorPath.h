#pragma once

#include "recording/TrackingTypes.h"

#include <QPointF>

#include <optional>
#include <vector>

// A pointer track resampled to 60 entries a second, so that a frame at any time finds its
// place by interpolation; smoothing takes the jitter of a hand out of it.
class CursorPath {
public:
    static constexpr int entriesPerSecond = 60;

    CursorPath() = default;
    // Entry k stands for the time k/60; empty for no samples or no duration.
    CursorPath(const QList<CursorSample>& samples, double duration);

    // A Gaussian over `window` seconds applied to the places (not the shapes); windows of
    // 0.01 s or less, and paths of fewer than 3 entries, come back unchanged.
    CursorPath smoothed(double window) const;

    std::optional<QPointF> position(double time) const;
    int shape(double time) const; // 0 for an empty path

    const std::vector<double>& xs() const { return m_xs; }
    const std::vector<double>& ys() const { return m_ys; }
    const std::vector<int>& shapes() const { return m_shapes; }

private:
    std::vector<double> m_xs;
    std::vector<double> m_ys;
    std::vector<int> m_shapes;
};
