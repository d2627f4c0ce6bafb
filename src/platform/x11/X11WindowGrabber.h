#pragma once

#include "common/Result.h"
#include "platform/x11/X11AreaGrabber.h"
#include "platform/x11/X11Connection.h"

#include <QImage>
#include <QRect>

#include <chrono>
#include <mutex>

namespace platform::x11 {

// Captures one window with its frame, including the parts other windows cover.
//
// A window that nothing covers is simply copied from the root. Otherwise the window's own
// pixmap is read through Composite: the first such grab redirects the root's children
// (automatic redirection, kept for the rest of the connection). Right after that the
// server has only the window's visible parts in its new pixmap and asks clients to paint
// the rest, so a freshly redirected grab waits kRepaintGrace for them - unless a
// compositing manager already keeps every window in a pixmap. Without Composite the
// frame's rectangle is copied from the root.
class X11WindowGrabber {
public:
    static constexpr std::chrono::milliseconds kRepaintGrace{100};

    X11WindowGrabber(const X11Connection& connection, X11AreaGrabber& areas);

    Result<QImage> grab(uint32_t windowId);

    // Whether windows can be read where others cover them.
    bool hasComposite();
    // Every top-level window kept in a pixmap of its own from now on; waits, the first time,
    // for the windows to repaint into them.
    void redirectOnce();
    // `rect` of a top-level window's pixmap, in the window's coordinates from its outer corner.
    Result<QImage> grabFromPixmap(xcb_window_t frame, const QRect& rect, const PixelFormat& format);

private:
    bool isUncovered(xcb_window_t frame, const QRect& frameRect);
    Result<QImage> grabFromRoot(const QRect& rect);

    const X11Connection& m_connection;
    X11AreaGrabber& m_areas;

    std::once_flag m_compositeChecked;
    bool m_hasComposite = false;

    std::mutex m_redirectMutex;
    bool m_redirected = false;
    std::chrono::steady_clock::time_point m_repaintedBy;
};

} // namespace platform::x11
