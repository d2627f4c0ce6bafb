#include "platform/x11/X11ScrollSynthesizer.h"

#include <xcb/xtest.h>

#include <cstdlib>

namespace platform::x11 {

namespace {

const QString noXTest = QStringLiteral(
    "Scrolling capture needs the X server's XTEST extension to scroll other programs, and this "
    "server does not offer it");

// The wheel's buttons as X numbers them: up, down, left, right.
uint8_t wheelButton(bool forward, bool horizontal) {
    if (horizontal) return forward ? 7 : 6;
    return forward ? 5 : 4;
}

} // namespace

X11ScrollSynthesizer::X11ScrollSynthesizer(std::unique_ptr<X11Connection> connection)
    : m_connection(std::move(connection)) {}

Result<bool> X11ScrollSynthesizer::available() {
    if (!m_connection->hasExtension(&xcb_test_id)) return Error{noXTest};
    return true;
}

Result<bool> X11ScrollSynthesizer::movePointer(const QPoint& rootPoint) {
    if (auto ok = available(); !ok) return ok;
    xcb_test_fake_input(m_connection->raw(), XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, m_connection->root(),
                        static_cast<int16_t>(rootPoint.x()), static_cast<int16_t>(rootPoint.y()), 0);
    return sync();
}

Result<bool> X11ScrollSynthesizer::turnWheel(int notches, bool horizontal) {
    if (auto ok = available(); !ok) return ok;
    const uint8_t button = wheelButton(notches > 0, horizontal);
    xcb_connection_t* c = m_connection->raw();
    for (int i = 0; i < std::abs(notches); ++i) {
        xcb_test_fake_input(c, XCB_BUTTON_PRESS, button, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        xcb_test_fake_input(c, XCB_BUTTON_RELEASE, button, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    }
    return sync();
}

Result<bool> X11ScrollSynthesizer::sync() {
    Reply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(m_connection->raw(), xcb_get_input_focus(m_connection->raw()), nullptr));
    if (!reply || xcb_connection_has_error(m_connection->raw()))
        return Error{QStringLiteral("The connection to the X server was lost")};
    return true;
}

Result<std::unique_ptr<ScrollSynthesizer>> connectScrollSynthesizer() {
    auto connection = X11Connection::open();
    if (!connection) return connection.error();
    return std::unique_ptr<ScrollSynthesizer>(new X11ScrollSynthesizer(std::move(connection).value()));
}

} // namespace platform::x11
