#include "platform/x11/X11GlobalHotkeys.h"

#include "platform/x11/X11KeySymbols.h"

#include <QMetaObject>

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace platform::x11 {

namespace {

constexpr uint8_t kBadAccess = 10;

// The modifiers a grab may name; the rest of an event's state are pointer buttons.
constexpr uint16_t kModifierBits = XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_LOCK | XCB_MOD_MASK_CONTROL |
                                   XCB_MOD_MASK_1 | XCB_MOD_MASK_2 | XCB_MOD_MASK_3 | XCB_MOD_MASK_4 |
                                   XCB_MOD_MASK_5;

template <typename T> struct Freed {
    void operator()(T* p) const { std::free(p); }
};
template <typename T> using Owned = std::unique_ptr<T, Freed<T>>;

QString nameOf(const QKeySequence& keys) {
    return keys.toString(QKeySequence::NativeText);
}

} // namespace

Result<std::unique_ptr<GlobalHotkeys>> connectHotkeys() {
    const QByteArray display = qgetenv("DISPLAY");
    if (display.isEmpty())
        return Error{QStringLiteral("Global shortcuts are unavailable: DISPLAY is not set")};
    int screenNumber = 0;
    xcb_connection_t* connection = xcb_connect(display.constData(), &screenNumber);
    if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        return Error{QStringLiteral("Global shortcuts are unavailable: cannot connect to the X display %1")
                         .arg(QString::fromLocal8Bit(display))};
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < screenNumber && screens.rem > 0; ++i)
        xcb_screen_next(&screens);
    if (screens.rem == 0) {
        xcb_disconnect(connection);
        return Error{QStringLiteral("Global shortcuts are unavailable: the X display %1 has no screen %2")
                         .arg(QString::fromLocal8Bit(display))
                         .arg(screenNumber)};
    }
    return std::unique_ptr<GlobalHotkeys>(new X11GlobalHotkeys(connection, screens.data->root));
}

X11GlobalHotkeys::X11GlobalHotkeys(xcb_connection_t* connection, xcb_window_t root)
    : m_connection(connection), m_root(root), m_symbols(xcb_key_symbols_alloc(connection)) {
    m_masks = readModifierMasks(m_connection, m_symbols);
    m_notifier =
        std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(m_connection), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                     [this] { dispatchEvents(); });
}

X11GlobalHotkeys::~X11GlobalHotkeys() {
    m_notifier.reset();
    // Closing the connection releases its grabs.
    xcb_key_symbols_free(m_symbols);
    xcb_disconnect(m_connection);
}

std::vector<uint16_t> X11GlobalHotkeys::lockVariants() const {
    std::vector<uint16_t> variants;
    for (uint16_t numLock : {uint16_t(0), m_masks.numLock}) {
        for (uint16_t capsLock : {uint16_t(0), uint16_t(XCB_MOD_MASK_LOCK)}) {
            for (uint16_t scrollLock : {uint16_t(0), m_masks.scrollLock}) {
                const auto variant = uint16_t(numLock | capsLock | scrollLock);
                if (std::find(variants.begin(), variants.end(), variant) == variants.end())
                    variants.push_back(variant);
            }
        }
    }
    return variants;
}

Result<std::vector<X11GlobalHotkeys::Grab>> X11GlobalHotkeys::grabsFor(const QKeySequence& keys) const {
    const QKeyCombination combination = keys[0];
    const xcb_keysym_t keysym = keysymForKey(combination.key());
    if (keysym == XCB_NO_SYMBOL)
        return Error{QStringLiteral("%1 cannot be used as a global shortcut").arg(nameOf(keys))};

    uint16_t modifiers = 0;
    const Qt::KeyboardModifiers qtModifiers = combination.keyboardModifiers();
    if (qtModifiers & Qt::ShiftModifier) modifiers |= XCB_MOD_MASK_SHIFT;
    if (qtModifiers & Qt::ControlModifier) modifiers |= XCB_MOD_MASK_CONTROL;
    if (qtModifiers & Qt::AltModifier) modifiers |= m_masks.alt;
    if (qtModifiers & Qt::MetaModifier) modifiers |= m_masks.meta;

    std::vector<Grab> grabs;
    Owned<xcb_keycode_t> keycodes{xcb_key_symbols_get_keycode(m_symbols, keysym)};
    for (const xcb_keycode_t* keycode = keycodes.get(); keycode && *keycode != XCB_NO_SYMBOL; ++keycode) {
        // A symbol on a key's second level ("!" on "1") needs Shift as well.
        if (xcb_key_symbols_get_keysym(m_symbols, *keycode, 0) == keysym)
            grabs.push_back({*keycode, modifiers});
        else if (xcb_key_symbols_get_keysym(m_symbols, *keycode, 1) == keysym)
            grabs.push_back({*keycode, uint16_t(modifiers | XCB_MOD_MASK_SHIFT)});
    }
    if (grabs.empty()) return Error{QStringLiteral("There is no %1 key on this keyboard").arg(nameOf(keys))};
    return grabs;
}

uint8_t X11GlobalHotkeys::grab(const std::vector<Grab>& grabs) {
    const std::vector<uint16_t> variants = lockVariants();
    std::vector<std::pair<Grab, xcb_void_cookie_t>> sent;
    for (const Grab& g : grabs) {
        for (uint16_t variant : variants) {
            const Grab lockGrab{g.keycode, uint16_t(g.modifiers | variant)};
            sent.emplace_back(lockGrab, xcb_grab_key_checked(m_connection, 0, m_root, lockGrab.modifiers,
                                                             lockGrab.keycode, XCB_GRAB_MODE_ASYNC,
                                                             XCB_GRAB_MODE_ASYNC));
        }
    }
    // The first check waits for the server to answer them all.
    uint8_t failure = 0;
    std::vector<Grab> granted;
    for (const auto& [g, cookie] : sent) {
        Owned<xcb_generic_error_t> error{xcb_request_check(m_connection, cookie)};
        if (!error) {
            granted.push_back(g);
        } else if (failure == 0 || error->error_code == kBadAccess) {
            failure = error->error_code;
        }
    }
    if (failure != 0) {
        for (const Grab& g : granted)
            xcb_ungrab_key(m_connection, g.keycode, m_root, g.modifiers);
        sync();
    }
    scheduleDispatch();
    return failure;
}

void X11GlobalHotkeys::ungrab(const std::vector<Grab>& grabs) {
    const std::vector<uint16_t> variants = lockVariants();
    for (const Grab& g : grabs) {
        for (uint16_t variant : variants)
            xcb_ungrab_key(m_connection, g.keycode, m_root, uint16_t(g.modifiers | variant));
    }
    sync();
}

void X11GlobalHotkeys::sync() {
    // The server handles each client's requests in order, but not across clients: once it
    // has answered this, the keys are free for the next program that asks.
    Owned<xcb_get_input_focus_reply_t> reply{
        xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr)};
    scheduleDispatch();
}

Result<int> X11GlobalHotkeys::bind(const QKeySequence& sequence, std::function<void()> pressed) {
    if (sequence.isEmpty() || sequence[0].key() == Qt::Key(0) || sequence[0].key() == Qt::Key_unknown)
        return Error{QStringLiteral("A global shortcut needs a key")};
    const QKeySequence keys(sequence[0]);

    Result<std::vector<Grab>> grabs = grabsFor(keys);
    if (!grabs) return grabs.error();
    for (const auto& [handle, binding] : m_bindings) {
        for (const Grab& g : *grabs) {
            if (std::find(binding.grabs.begin(), binding.grabs.end(), g) != binding.grabs.end())
                return Error{
                    QStringLiteral("%1 is already used by another shortcut of Pictavia").arg(nameOf(keys))};
        }
    }

    const uint8_t failure = grab(*grabs);
    if (failure == kBadAccess)
        return Error{QStringLiteral("%1 is already used by another program").arg(nameOf(keys))};
    if (failure != 0)
        return Error{
            QStringLiteral("The X server refused to grab %1 (error %2)").arg(nameOf(keys)).arg(failure)};

    const int handle = m_nextHandle++;
    m_bindings.emplace(handle, Binding{keys, std::move(grabs).value(), std::move(pressed)});
    return handle;
}

void X11GlobalHotkeys::unbind(int handle) {
    const auto it = m_bindings.find(handle);
    if (it == m_bindings.end()) return;
    ungrab(it->second.grabs);
    m_bindings.erase(it);
}

void X11GlobalHotkeys::keyboardMappingChanged() {
    // Keycodes and modifier bits may have moved: grab each binding's keys anew.
    for (auto& [handle, binding] : m_bindings)
        ungrab(binding.grabs);
    m_masks = readModifierMasks(m_connection, m_symbols);
    for (auto& [handle, binding] : m_bindings) {
        Result<std::vector<Grab>> grabs = grabsFor(binding.keys);
        binding.grabs.clear();
        if (grabs && grab(*grabs) == 0) binding.grabs = std::move(grabs).value();
    }
}

void X11GlobalHotkeys::scheduleDispatch() {
    QMetaObject::invokeMethod(
        m_notifier.get(), [this] { dispatchEvents(); }, Qt::QueuedConnection);
}

void X11GlobalHotkeys::dispatchEvents() {
    const std::weak_ptr<bool> alive = m_alive;
    while (Owned<xcb_generic_event_t> event{xcb_poll_for_event(m_connection)}) {
        const uint8_t type = event->response_type & 0x7f;
        if (type == XCB_MAPPING_NOTIFY) {
            auto* mapping = reinterpret_cast<xcb_mapping_notify_event_t*>(event.get());
            xcb_refresh_keyboard_mapping(m_symbols, mapping);
            if (mapping->request != XCB_MAPPING_POINTER) keyboardMappingChanged();
            continue;
        }
        if (type == XCB_KEY_RELEASE) {
            const auto* release = reinterpret_cast<const xcb_key_release_event_t*>(event.get());
            m_releasedAt[release->detail] = release->time;
            continue;
        }
        if (type != XCB_KEY_PRESS) continue;

        const auto* press = reinterpret_cast<const xcb_key_press_event_t*>(event.get());
        // The server repeats a held key as a release and a press sent together, both with the
        // time of the repeat (they may straddle a millisecond tick). Not remembering the key as
        // held keeps us right when its release went to another client's keyboard grab.
        const xcb_timestamp_t releasedAt = m_releasedAt[press->detail];
        if (releasedAt != 0 && press->time - releasedAt <= 1) continue;

        const auto locks = uint16_t(m_masks.numLock | m_masks.scrollLock | XCB_MOD_MASK_LOCK);
        const Grab pressed{press->detail, uint16_t(press->state & kModifierBits & ~locks)};
        std::function<void()> callback;
        for (const auto& [handle, binding] : m_bindings) {
            const auto& grabs = binding.grabs;
            if (std::find(grabs.begin(), grabs.end(), pressed) != grabs.end()) callback = binding.pressed;
        }
        // The callback may bind, unbind, or even destroy this object.
        if (callback) callback();
        if (alive.expired()) return;
    }
    if (xcb_connection_has_error(m_connection)) m_notifier->setEnabled(false);
}

} // namespace platform::x11
