#pragma once

#include <QElapsedTimer>
#include <QPointF>
#include <QRect>

#include <cstdint>
#include <optional>

// Where a recording is on the screen, in root pixels: a fixed rectangle, or a window's frame
// followed as the window moves. Clicks and pointer places are measured against it.
class RecordingRegion {
public:
    RecordingRegion(QRect rect, std::optional<uint32_t> windowId) : m_windowId(windowId), m_rect(rect) {}

    std::optional<uint32_t> windowId() const { return m_windowId; }
    QRect rect() const { return m_rect; }

    // Brings a window's rectangle up to date: at most twice a second (the window list costs a
    // round trip to the server), at once when `force` is set. A fixed rectangle never changes.
    void refresh(bool force = false);

    // `root` as fractions of the region, 0 to 1 from its top-left (outside it: below 0 or above 1).
    QPointF normalized(QPointF root) const;
    bool contains(QPointF root) const { return QRectF(m_rect).contains(root); }

    static constexpr int refreshMs = 500;

private:
    std::optional<uint32_t> m_windowId;
    QRect m_rect;
    QElapsedTimer m_refreshed;
};
