#pragma once

#include "platform/GlobalHotkeys.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11Wallpaper.h"

#include <QRect>

#include <memory>
#include <optional>
#include <vector>

namespace platform::x11 {

// The desktop cover for the X display named by $DISPLAY; one that does nothing when the
// display cannot be reached.
std::unique_ptr<DesktopCover> makeDesktopCover();

// Hides each desktop window (type _NET_WM_WINDOW_TYPE_DESKTOP, where file managers draw
// their icons) under an override-redirect window of ours stacked right above it, so that
// every other window stays in front. The cover shows the wallpaper named by
// _XROOTPMAP_ID (or ESETROOT_PMAP_ID) when there is one, else dark grey.
class X11DesktopCover : public DesktopCover {
public:
    // Null: covers nothing.
    explicit X11DesktopCover(std::unique_ptr<X11Connection> connection);
    ~X11DesktopCover() override;

    X11DesktopCover(const X11DesktopCover&) = delete;
    X11DesktopCover& operator=(const X11DesktopCover&) = delete;

    void cover() override;
    void uncover() override;

private:
    struct Desktop {
        xcb_window_t window = XCB_NONE;
        xcb_window_t topLevel = XCB_NONE; // what the cover is stacked above
        QRect rect;                       // in root coordinates
    };

    std::vector<Desktop> findDesktops() const;
    xcb_window_t createCover(const Desktop& desktop, xcb_pixmap_t wallpaper);
    uint32_t greyPixel() const;
    void roundTrip() const;

    std::unique_ptr<X11Connection> m_connection;
    std::optional<X11Wallpaper> m_wallpaper; // with the connection
    xcb_atom_t m_netClientList = XCB_NONE;
    std::vector<xcb_window_t> m_covers;
};

} // namespace platform::x11
