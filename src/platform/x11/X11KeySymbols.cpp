#include "platform/x11/X11KeySymbols.h"

#include <X11/XF86keysym.h>
#include <X11/keysym.h>

namespace platform::x11 {

xcb_keysym_t keysymForKey(Qt::Key key) {
    if (key >= Qt::Key_A && key <= Qt::Key_Z) return XK_a + (key - Qt::Key_A);
    if (key >= Qt::Key_F1 && key <= Qt::Key_F35) return XK_F1 + (key - Qt::Key_F1);
    // Digits, space and ASCII punctuation: Qt's key codes are the keysyms.
    if (key >= Qt::Key_Space && key <= Qt::Key_AsciiTilde) return xcb_keysym_t(key);
    // Latin-1: the same, except that Qt names letters by their upper case.
    if (key >= Qt::Key_nobreakspace && key <= Qt::Key_ydiaeresis) {
        if (key >= Qt::Key_Agrave && key <= Qt::Key_THORN && key != Qt::Key_multiply)
            return xcb_keysym_t(key) + (XK_agrave - XK_Agrave);
        return xcb_keysym_t(key);
    }

    switch (key) {
    case Qt::Key_Escape:
        return XK_Escape;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        return XK_Tab; // Qt's name for Shift+Tab
    case Qt::Key_Backspace:
        return XK_BackSpace;
    case Qt::Key_Return:
        return XK_Return;
    case Qt::Key_Enter:
        return XK_KP_Enter;
    case Qt::Key_Insert:
        return XK_Insert;
    case Qt::Key_Delete:
        return XK_Delete;
    case Qt::Key_Pause:
        return XK_Pause;
    case Qt::Key_Print:
        return XK_Print;
    case Qt::Key_SysReq:
        return XK_Sys_Req;
    case Qt::Key_Clear:
        return XK_Clear;
    case Qt::Key_Home:
        return XK_Home;
    case Qt::Key_End:
        return XK_End;
    case Qt::Key_Left:
        return XK_Left;
    case Qt::Key_Up:
        return XK_Up;
    case Qt::Key_Right:
        return XK_Right;
    case Qt::Key_Down:
        return XK_Down;
    case Qt::Key_PageUp:
        return XK_Prior;
    case Qt::Key_PageDown:
        return XK_Next;
    case Qt::Key_Menu:
        return XK_Menu;
    case Qt::Key_Help:
        return XK_Help;
    case Qt::Key_NumLock:
        return XK_Num_Lock;
    case Qt::Key_ScrollLock:
        return XK_Scroll_Lock;
    case Qt::Key_VolumeDown:
        return XF86XK_AudioLowerVolume;
    case Qt::Key_VolumeMute:
        return XF86XK_AudioMute;
    case Qt::Key_VolumeUp:
        return XF86XK_AudioRaiseVolume;
    case Qt::Key_MediaPlay:
        return XF86XK_AudioPlay;
    case Qt::Key_MediaStop:
        return XF86XK_AudioStop;
    case Qt::Key_MediaPrevious:
        return XF86XK_AudioPrev;
    case Qt::Key_MediaNext:
        return XF86XK_AudioNext;
    case Qt::Key_MediaRecord:
        return XF86XK_AudioRecord;
    default:
        return XCB_NO_SYMBOL;
    }
}

} // namespace platform::x11
