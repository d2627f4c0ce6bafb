#include "platform/x11/X11InputMonitor.h"

#include <xcb/xinput.h>

#include <QByteArray>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <optional>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace platform::x11 {

namespace {

template <typename T> using Owned = std::unique_ptr<T, decltype(&std::free)>;

const QString kCannotWatch = QStringLiteral("Clicks and keys cannot be shown: ");

qint64 nowMicroseconds() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// X's pointer buttons 4 to 7 are the wheel's steps, not clicks; 8 and 9 the side buttons.
std::optional<Qt::MouseButton> buttonOf(uint32_t button) {
    switch (button) {
    case 1:
        return Qt::LeftButton;
    case 2:
        return Qt::MiddleButton;
    case 3:
        return Qt::RightButton;
    case 8:
        return Qt::BackButton;
    case 9:
        return Qt::ForwardButton;
    default:
        return std::nullopt;
    }
}

} // namespace

Result<std::unique_ptr<InputMonitor>> X11InputMonitors::create() {
    const QByteArray display = qgetenv("DISPLAY");
    if (display.isEmpty()) return Error{kCannotWatch + QStringLiteral("DISPLAY is not set")};
    int screenNumber = 0;
    xcb_connection_t* connection = xcb_connect(display.constData(), &screenNumber);
    const auto fail = [connection](const QString& why) {
        xcb_disconnect(connection);
        return Error{kCannotWatch + why};
    };
    if (xcb_connection_has_error(connection))
        return fail(
            QStringLiteral("cannot connect to the X display %1").arg(QString::fromLocal8Bit(display)));
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < screenNumber && screens.rem > 0; ++i)
        xcb_screen_next(&screens);
    if (screens.rem == 0)
        return fail(QStringLiteral("the X display %1 has no screen %2")
                        .arg(QString::fromLocal8Bit(display))
                        .arg(screenNumber));
    const xcb_query_extension_reply_t* xinput = xcb_get_extension_data(connection, &xcb_input_id);
    if (!xinput || !xinput->present)
        return fail(QStringLiteral("the X server does not have the XInput 2 extension"));
    // Announcing 2.2 makes the server send raw events even while another client grabs.
    Owned<xcb_input_xi_query_version_reply_t> version{
        xcb_input_xi_query_version_reply(connection, xcb_input_xi_query_version(connection, 2, 2), nullptr),
        &std::free};
    if (!version || version->major_version < 2)
        return fail(QStringLiteral("the X server does not have the XInput 2 extension"));
    return std::unique_ptr<InputMonitor>(
        new X11InputMonitor(connection, screens.data->root, xinput->major_opcode));
}

X11InputMonitor::X11InputMonitor(xcb_connection_t* connection, xcb_window_t root, uint8_t xinputOpcode)
    : m_connection(connection), m_root(root), m_opcode(xinputOpcode) {}

X11InputMonitor::~X11InputMonitor() {
    stop();
    if (m_symbols) xcb_key_symbols_free(m_symbols);
    xcb_disconnect(m_connection);
}

Result<bool> X11InputMonitor::start(ButtonHandler onButton, KeyHandler onKey) {
    if (m_thread.joinable()) return true;
    m_onButton = std::move(onButton);
    m_onKey = std::move(onKey);
    if (!m_symbols) m_symbols = xcb_key_symbols_alloc(m_connection);
    m_masks = readModifierMasks(m_connection, m_symbols);

    struct {
        xcb_input_event_mask_t head;
        uint32_t bits;
    } mask{};
    mask.head.deviceid = XCB_INPUT_DEVICE_ALL_MASTER;
    mask.head.mask_len = 1;
    mask.bits = XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS |
                XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE;
    Owned<xcb_generic_error_t> error{
        xcb_request_check(m_connection,
                          xcb_input_xi_select_events_checked(m_connection, m_root, 1, &mask.head)),
        &std::free};
    if (error) return Error{kCannotWatch + QStringLiteral("the X server refused to report input events")};
    // Presses read before an earlier stop() are old news.
    while (xcb_generic_event_t* stale = xcb_poll_for_event(m_connection))
        std::free(stale);

    m_wakeFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (m_wakeFd < 0) return Error{kCannotWatch + QStringLiteral("the system is out of file descriptors")};
    m_keysDown.reset();
    m_thread = std::thread([this] { run(); });
    return true;
}

void X11InputMonitor::stop() {
    if (!m_thread.joinable()) return;
    const uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(m_wakeFd, &one, sizeof one);
    m_thread.join();
    ::close(m_wakeFd);
    m_wakeFd = -1;
    // No more events for this connection until the next start().
    struct {
        xcb_input_event_mask_t head;
        uint32_t bits;
    } none{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, 0};
    xcb_input_xi_select_events(m_connection, m_root, 1, &none.head);
    xcb_flush(m_connection);
}

void X11InputMonitor::run() {
    pollfd fds[2] = {{xcb_get_file_descriptor(m_connection), POLLIN, 0}, {m_wakeFd, POLLIN, 0}};
    while (!xcb_connection_has_error(m_connection)) {
        // Replies waited for while handling an event queue the events read meanwhile, so
        // the queue is emptied before sleeping on the socket again.
        while (xcb_generic_event_t* event = xcb_poll_for_event(m_connection)) {
            dispatch(event);
            std::free(event);
        }
        if (::poll(fds, 2, -1) < 0 && errno != EINTR) return;
        if (fds[1].revents & POLLIN) return;
    }
}

void X11InputMonitor::dispatch(xcb_generic_event_t* event) {
    const uint8_t type = event->response_type & 0x7f;
    if (type == XCB_MAPPING_NOTIFY) {
        auto* mapping = reinterpret_cast<xcb_mapping_notify_event_t*>(event);
        if (mapping->request != XCB_MAPPING_POINTER) {
            xcb_refresh_keyboard_mapping(m_symbols, mapping);
            m_masks = readModifierMasks(m_connection, m_symbols);
        }
        return;
    }
    if (type != XCB_GE_GENERIC) return;
    auto* generic = reinterpret_cast<xcb_ge_generic_event_t*>(event);
    if (generic->extension != m_opcode) return;
    // The raw events share one layout: `detail` is the button or the keycode.
    auto* raw = reinterpret_cast<xcb_input_raw_button_press_event_t*>(event);
    switch (generic->event_type) {
    case XCB_INPUT_RAW_BUTTON_PRESS:
        buttonPressed(raw->detail);
        break;
    case XCB_INPUT_RAW_KEY_PRESS:
        keyPressed(xcb_keycode_t(raw->detail));
        break;
    case XCB_INPUT_RAW_KEY_RELEASE:
        m_keysDown.reset(raw->detail & 0xff);
        break;
    default:
        break;
    }
}

void X11InputMonitor::buttonPressed(uint32_t button) {
    const std::optional<Qt::MouseButton> which = buttonOf(button);
    if (!which || !m_onButton) return;
    ButtonPress press;
    press.time = nowMicroseconds();
    press.button = *which;
    uint16_t state = 0;
    if (!queryPointer(press.rootPosition, state)) return;
    m_onButton(press);
}

void X11InputMonitor::keyPressed(xcb_keycode_t keycode) {
    if (m_keysDown.test(keycode)) return;
    m_keysDown.set(keycode);
    if (!m_onKey) return;
    KeyPress press;
    press.time = nowMicroseconds();
    press.key = keyForKeysym(xcb_key_symbols_get_keysym(m_symbols, keycode, 0));
    press.isModifier = isModifierKey(press.key);
    QPoint position;
    uint16_t state = 0;
    if (!queryPointer(position, state)) return;
    press.modifiers = modifiersOf(state, m_masks);
    m_onKey(press);
}

bool X11InputMonitor::queryPointer(QPoint& position, uint16_t& state) {
    Owned<xcb_query_pointer_reply_t> pointer{
        xcb_query_pointer_reply(m_connection, xcb_query_pointer(m_connection, m_root), nullptr), &std::free};
    if (!pointer) return false;
    position = QPoint(pointer->root_x, pointer->root_y);
    state = pointer->mask;
    return true;
}

} // namespace platform::x11
