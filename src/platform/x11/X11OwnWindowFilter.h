#pragma once

#include "platform/x11/X11AreaGrabber.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11Wallpaper.h"
#include "platform/x11/X11WindowGrabber.h"

#include <QImage>

#include <algorithm>
#include <unordered_map>
#include <vector>

namespace platform::x11 {

// Keeps this program's own windows (the recording controls, toasts, cards) out of frames
// grabbed from the root: where one of them shows, the frame gets the wallpaper and what the
// windows below it hold in their Composite pixmaps, painted bottom to top. Windows are told apart by the
// process that owns them (_NET_WM_PID), on the window or on the client inside a window
// manager's frame. For one grab thread.
class X11OwnWindowFilter {
public:
    X11OwnWindowFilter(const X11Connection& connection, X11AreaGrabber& areas, X11WindowGrabber& windows);

    // `image` shows `area` of the root.
    void apply(QImage& image, const QRect& area);
    // These windows of ours stay in the picture. Before the first apply().
    void keepInPicture(std::vector<uint32_t> windows) { m_inPicture = std::move(windows); }

private:
    struct TopLevel {
        xcb_window_t window = XCB_NONE;
        QRect rect;
        xcb_visualid_t visual = 0;
        uint8_t depth = 0;
        bool ours = false;
    };

    // Those of `windows` (top-level, bottom to top) that are on screen.
    std::vector<TopLevel> viewable(const std::vector<xcb_window_t>& windows);
    bool isOurs(xcb_window_t topLevel);
    bool hasOurPid(const std::vector<xcb_window_t>& windows) const;

    const X11Connection& m_connection;
    X11AreaGrabber& m_areas;
    X11WindowGrabber& m_windows;
    X11Wallpaper m_wallpaper;
    const Result<PixelFormat> m_rootFormat;
    const uint32_t m_pid;
    std::vector<uint32_t> m_inPicture;
    std::unordered_map<xcb_window_t, bool> m_ours; // by top-level window, as first seen
};

} // namespace platform::x11
