#pragma once

#include "platform/ScreenBackend.h"

#include <QJsonObject>
#include <QList>
#include <QRectF>

// Window facts the status and capture tools share.
namespace ToolInfo {
// Normal on-screen windows (no docks, panels or notifications), front to back.
QList<platform::WindowInfo> windows();
// A rectangle of root-window pixels in points, by the scale of the display holding its centre.
QRectF pointFrame(const QRect& rootPixels);
// {"x", "y", "width", "height"}.
QJsonObject rectJson(const QRectF& rect);
} // namespace ToolInfo
