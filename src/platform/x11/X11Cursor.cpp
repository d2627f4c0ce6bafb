#include "platform/x11/X11Cursor.h"

#include <xcb/xfixes.h>

#include <cstring>

namespace platform::x11 {

std::optional<ScreenBackend::Cursor> X11Cursor::read() {
    xcb_connection_t* c = m_connection.raw();
    // XFixes answers only clients that said which version they speak.
    if (!m_xfixesReady) {
        Reply<xcb_xfixes_query_version_reply_t> version{
            xcb_xfixes_query_version_reply(c, xcb_xfixes_query_version(c, 4, 0), nullptr)};
        if (!version || version->major_version < 1) return std::nullopt;
        m_xfixesReady = true;
    }
    Reply<xcb_xfixes_get_cursor_image_reply_t> reply{
        xcb_xfixes_get_cursor_image_reply(c, xcb_xfixes_get_cursor_image(c), nullptr)};
    if (!reply || reply->width == 0 || reply->height == 0) return std::nullopt;
    const uint32_t* pixels = xcb_xfixes_get_cursor_image_cursor_image(reply.get());
    QImage image(reply->width, reply->height, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < image.height(); ++y)
        std::memcpy(image.scanLine(y), pixels + std::size_t(y) * reply->width, std::size_t(reply->width) * 4);
    return ScreenBackend::Cursor{image, QPoint(reply->x - reply->xhot, reply->y - reply->yhot),
                                 QPoint(reply->xhot, reply->yhot), reply->cursor_serial};
}

} // namespace platform::x11
