#include "platform/x11/X11KeySymbols.h"

#include <X11/XF86keysym.h>
#include <X11/keysym.h>

#include <cstdlib>
#include <memory>

namespace platform::x11 {

namespace {

struct KeyAndSymbol {
    Qt::Key key;
    xcb_keysym_t keysym;
};

// Keys whose Qt code and keysym are unrelated, both ways. The first row of a key (or of a
// keysym) is the one used when there are several.
constexpr KeyAndSymbol kNamedKeys[] = {
    {Qt::Key_Escape, XK_Escape},
    {Qt::Key_Tab, XK_Tab},
    {Qt::Key_Backtab, XK_Tab}, // Qt's name for Shift+Tab
    {Qt::Key_Backspace, XK_BackSpace},
    {Qt::Key_Return, XK_Return},
    {Qt::Key_Enter, XK_KP_Enter},
    {Qt::Key_Insert, XK_Insert},
    {Qt::Key_Delete, XK_Delete},
    {Qt::Key_Pause, XK_Pause},
    {Qt::Key_Print, XK_Print},
    {Qt::Key_SysReq, XK_Sys_Req},
    {Qt::Key_Clear, XK_Clear},
    {Qt::Key_Home, XK_Home},
    {Qt::Key_End, XK_End},
    {Qt::Key_Left, XK_Left},
    {Qt::Key_Up, XK_Up},
    {Qt::Key_Right, XK_Right},
    {Qt::Key_Down, XK_Down},
    {Qt::Key_PageUp, XK_Prior},
    {Qt::Key_PageDown, XK_Next},
    {Qt::Key_Menu, XK_Menu},
    {Qt::Key_Help, XK_Help},
    {Qt::Key_NumLock, XK_Num_Lock},
    {Qt::Key_ScrollLock, XK_Scroll_Lock},
    {Qt::Key_VolumeDown, XF86XK_AudioLowerVolume},
    {Qt::Key_VolumeMute, XF86XK_AudioMute},
    {Qt::Key_VolumeUp, XF86XK_AudioRaiseVolume},
    {Qt::Key_MediaPlay, XF86XK_AudioPlay},
    {Qt::Key_MediaStop, XF86XK_AudioStop},
    {Qt::Key_MediaPrevious, XF86XK_AudioPrev},
    {Qt::Key_MediaNext, XF86XK_AudioNext},
    {Qt::Key_MediaRecord, XF86XK_AudioRecord},
};

// Keysyms only read, never grabbed: modifiers, and the keypad's first level, which names
// the key without NumLock.
constexpr KeyAndSymbol kReadOnlyKeys[] = {
    {Qt::Key_Shift, XK_Shift_L},
    {Qt::Key_Shift, XK_Shift_R},
    {Qt::Key_Control, XK_Control_L},
    {Qt::Key_Control, XK_Control_R},
    {Qt::Key_Alt, XK_Alt_L},
    {Qt::Key_Alt, XK_Alt_R},
    {Qt::Key_Alt, XK_Meta_L}, // where layouts put Meta, it shares the Alt key
    {Qt::Key_Alt, XK_Meta_R},
    {Qt::Key_Meta, XK_Super_L}, // Qt's Meta is the Super (logo) key
    {Qt::Key_Meta, XK_Super_R},
    {Qt::Key_Hyper_L, XK_Hyper_L},
    {Qt::Key_Hyper_R, XK_Hyper_R},
    {Qt::Key_AltGr, XK_ISO_Level3_Shift},
    {Qt::Key_CapsLock, XK_Caps_Lock},
    {Qt::Key_Home, XK_KP_Home},
    {Qt::Key_End, XK_KP_End},
    {Qt::Key_Left, XK_KP_Left},
    {Qt::Key_Up, XK_KP_Up},
    {Qt::Key_Right, XK_KP_Right},
    {Qt::Key_Down, XK_KP_Down},
    {Qt::Key_PageUp, XK_KP_Prior},
    {Qt::Key_PageDown, XK_KP_Next},
    {Qt::Key_Insert, XK_KP_Insert},
    {Qt::Key_Delete, XK_KP_Delete},
    {Qt::Key_Clear, XK_KP_Begin},
    {Qt::Key_Plus, XK_KP_Add},
    {Qt::Key_Minus, XK_KP_Subtract},
    {Qt::Key_Asterisk, XK_KP_Multiply},
    {Qt::Key_Slash, XK_KP_Divide},
    {Qt::Key_Period, XK_KP_Decimal},
};

} // namespace

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
    for (const KeyAndSymbol& named : kNamedKeys) {
        if (named.key == key) return named.keysym;
    }
    return XCB_NO_SYMBOL;
}

Qt::Key keyForKeysym(xcb_keysym_t keysym) {
    if (keysym >= XK_a && keysym <= XK_z) return Qt::Key(Qt::Key_A + (keysym - XK_a));
    if (keysym >= XK_F1 && keysym <= XK_F35) return Qt::Key(Qt::Key_F1 + (keysym - XK_F1));
    if (keysym >= XK_KP_0 && keysym <= XK_KP_9) return Qt::Key(Qt::Key_0 + (keysym - XK_KP_0));
    if (keysym >= XK_space && keysym <= XK_asciitilde) return Qt::Key(keysym);
    if (keysym >= XK_agrave && keysym <= XK_thorn && keysym != XK_division)
        return Qt::Key(keysym - (XK_agrave - XK_Agrave));
    if (keysym >= XK_nobreakspace && keysym <= XK_ydiaeresis) return Qt::Key(keysym);
    for (const KeyAndSymbol& named : kNamedKeys) {
        if (named.keysym == keysym) return named.key;
    }
    for (const KeyAndSymbol& readOnly : kReadOnlyKeys) {
        if (readOnly.keysym == keysym) return readOnly.key;
    }
    return Qt::Key_unknown;
}

bool isModifierKey(Qt::Key key) {
    switch (key) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Alt:
    case Qt::Key_Meta:
    case Qt::Key_AltGr:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
    case Qt::Key_ScrollLock:
        return true;
    default:
        return false;
    }
}

ModifierMasks readModifierMasks(xcb_connection_t* connection, xcb_key_symbols_t* symbols) {
    ModifierMasks masks;
    std::unique_ptr<xcb_get_modifier_mapping_reply_t, decltype(&std::free)> mapping{
        xcb_get_modifier_mapping_reply(connection, xcb_get_modifier_mapping(connection), nullptr),
        &std::free};
    if (!mapping) return masks;
    const xcb_keycode_t* keycodes = xcb_get_modifier_mapping_keycodes(mapping.get());
    const int perModifier = mapping->keycodes_per_modifier;
    bool altFound = false;
    bool metaFound = false;
    // Shift, Lock and Control are fixed; Alt, Meta (Super) and the lock keys sit on Mod1-Mod5
    // wherever the keyboard's layout put them.
    for (int modifier = 3; modifier < 8; ++modifier) {
        const auto mask = uint16_t(1u << modifier);
        for (int k = 0; k < perModifier; ++k) {
            const xcb_keycode_t keycode = keycodes[modifier * perModifier + k];
            if (keycode == 0) continue;
            for (int column = 0; column < 4; ++column) {
                const xcb_keysym_t sym = xcb_key_symbols_get_keysym(symbols, keycode, column);
                if ((sym == XK_Alt_L || sym == XK_Alt_R) && !altFound) {
                    masks.alt = mask;
                    altFound = true;
                } else if ((sym == XK_Super_L || sym == XK_Super_R) && !metaFound) {
                    masks.meta = mask;
                    metaFound = true;
                } else if (sym == XK_Num_Lock && !masks.numLock) {
                    masks.numLock = mask;
                } else if (sym == XK_Scroll_Lock && !masks.scrollLock) {
                    masks.scrollLock = mask;
                }
            }
        }
    }
    return masks;
}

Qt::KeyboardModifiers modifiersOf(uint16_t state, const ModifierMasks& masks) {
    Qt::KeyboardModifiers modifiers;
    if (state & XCB_MOD_MASK_SHIFT) modifiers |= Qt::ShiftModifier;
    if (state & XCB_MOD_MASK_CONTROL) modifiers |= Qt::ControlModifier;
    if (state & masks.alt) modifiers |= Qt::AltModifier;
    if (state & masks.meta) modifiers |= Qt::MetaModifier;
    return modifiers;
}

} // namespace platform::x11
