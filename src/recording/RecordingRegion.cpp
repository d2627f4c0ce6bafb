#include "recording/RecordingRegion.h"

#include "platform/Platform.h"

#include <algorithm>

void RecordingRegion::refresh(bool force) {
    if (!m_windowId) return;
    if (!force && m_refreshed.isValid() && m_refreshed.elapsed() < refreshMs) return;
    m_refreshed.start();
    auto& screen = platform::services().screen;
    if (!screen) return;
    // A window that closed leaves its last place: the recording ends with it anyway.
    for (const platform::WindowInfo& window : screen->windows())
        if (window.id == *m_windowId) m_rect = window.frame;
}

QPointF RecordingRegion::normalized(QPointF root) const {
    const double width = std::max(1, m_rect.width());
    const double height = std::max(1, m_rect.height());
    return {(root.x() - m_rect.x()) / width, (root.y() - m_rect.y()) / height};
}
