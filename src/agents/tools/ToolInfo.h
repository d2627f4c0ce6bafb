#pragma once

#include "platform/ScreenBackend.h"

#include <QJsonObject>
#include <QList>
#include <QRectF>
#include <QString>

#include <optional>

// Window facts the status and capture tools share.
namespace ToolInfo {
// Normal on-screen windows (no docks, panels or notifications), front to back.
QList<platform::WindowInfo> windows();
// Why this desktop gives no window list (as on Wayland desktops that list windows to no
// other program), or nullopt where it gives one.
std::optional<QString> windowsUnavailable();
// A rectangle of root-window pixels in points, by the scale of the display holding its centre.
QRectF pointFrame(const QRect& rootPixels);
// {"x", "y", "width", "height"}.
QJsonObject rectJson(const QRectF& rect);
} // namespace ToolInfo
