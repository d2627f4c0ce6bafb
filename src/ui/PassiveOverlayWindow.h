#pragma once

#include <QWidget>

namespace ui {

// A borderless window above all others that the window manager does not handle, that
// clicks pass through and that never takes the focus: what a recording draws over the
// desktop on the user's behalf.
class PassiveOverlayWindow : public QWidget {
    Q_OBJECT
public:
    explicit PassiveOverlayWindow(const QString& title);
};

} // namespace ui
