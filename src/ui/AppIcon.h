#pragma once

#include <QIcon>

namespace ui {

// The application's mark, drawn at every size the tray and windows ask for.
QIcon appIcon();

} // namespace ui
