#include "ui/PassiveOverlayWindow.h"

namespace ui {

PassiveOverlayWindow::PassiveOverlayWindow(const QString& title)
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                           Qt::X11BypassWindowManagerHint | Qt::WindowDoesNotAcceptFocus |
                           Qt::WindowTransparentForInput) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFocusPolicy(Qt::NoFocus);
    setWindowTitle(title);
}

} // namespace ui
