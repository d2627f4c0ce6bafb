#pragma once

#include <QIcon>
#include <QStyle>

namespace ui {

// An icon by its freedesktop name ("edit-copy") from the desktop's icon theme. Where the
// desktop sets none (a bare X session), the first installed of Breeze and Adwaita stands in;
// with neither, the style's own icon `fallback`, or no icon at all.
QIcon themeIcon(const QString& name, QStyle::StandardPixmap fallback = QStyle::SP_CustomBase);

} // namespace ui
