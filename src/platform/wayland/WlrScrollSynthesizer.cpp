#include "platform/wayland/WlrScrollSynthesizer.h"

#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandLayout.h"

#include "virtual-pointer-client.h"
#include <wayland-client.h>

#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>

namespace platform::wayland {

namespace {

// A wheel notch as a mouse reports it: 15 degrees of the wheel, one discrete step.
constexpr double notchValue = 15.0;

// Positions go to the compositor in hundredths of a logical unit: a pixel of an output at
// scale 2 is half a unit.
constexpr double positionSteps = 100.0;

// Longer than the pauses of a scrolling capture between turns of the wheel.
constexpr std::chrono::seconds idleTimeout{5};

uint32_t now() {
    using namespace std::chrono;
    return uint32_t(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

// A pointer device of our own on the compositor's seat, driven through wlroots'
// virtual-pointer protocol: its wheel reaches the window under it as a mouse's would.
class WlrScrollSynthesizer final : public ScrollSynthesizer {
public:
    WlrScrollSynthesizer(std::unique_ptr<WaylandConnection> connection,
                         zwlr_virtual_pointer_manager_v1* manager, wl_seat* seat)
        : m_connection(std::move(connection)), m_manager(manager), m_seat(seat) {
        // A device the compositor keeps drawing a pointer for: put away once a capture is
        // over (no turn for a while), so that later captures of a headless output have none.
        m_idle.setSingleShot(true);
        m_idle.setInterval(idleTimeout);
        m_idle.callOnTimeout([this] { releasePointer(); });
    }

    ~WlrScrollSynthesizer() override {
        releasePointer();
        zwlr_virtual_pointer_manager_v1_destroy(m_manager);
        if (m_seat) wl_seat_destroy(m_seat);
        m_connection->flush();
    }

    Result<bool> available() override {
        if (wl_display_get_error(m_connection->display()) != 0)
            return Error{QStringLiteral("The connection to the Wayland compositor was lost.")};
        return true;
    }

    // The point is kept: the pointer goes there only while the wheel turns (see turnWheel).
    Result<bool> movePointer(const QPoint& rootPoint) override {
        const WaylandLayout layout(screenOutputs());
        const auto logical = layout.logicalPoint(rootPoint);
        if (!logical) return Error{QStringLiteral("That point is off screen")};
        const QRect bounds = layout.logicalBounds();
        m_extent = QPoint(int(bounds.width() * positionSteps), int(bounds.height() * positionSteps));
        m_target = ((*logical - QPointF(bounds.topLeft())) * positionSteps).toPoint();
        moveTo(m_extent);
        return m_connection->roundtrip();
    }

    // Where the compositor draws the pointer itself into the outputs' pixels (nested and
    // headless outputs, some virtual machines), screencopy copies it too, and a pointer
    // standing over the area would be in every frame of a scrolling capture. So the pointer
    // is over the point only while the wheel turns, and is then put in the far corner of the
    // layout.
    Result<bool> turnWheel(int notches, bool horizontal) override {
        zwlr_virtual_pointer_v1* device = pointer();
        moveTo(m_target);
        const uint32_t axis =
            horizontal ? WL_POINTER_AXIS_HORIZONTAL_SCROLL : WL_POINTER_AXIS_VERTICAL_SCROLL;
        const int step = notches > 0 ? 1 : -1;
        // One frame per notch, as a wheel sends them.
        for (int i = 0; i < std::abs(notches); ++i) {
            zwlr_virtual_pointer_v1_axis_source(device, WL_POINTER_AXIS_SOURCE_WHEEL);
            zwlr_virtual_pointer_v1_axis_discrete(device, now(), axis,
                                                  wl_fixed_from_double(step * notchValue), step);
            zwlr_virtual_pointer_v1_frame(device);
        }
        moveTo(m_extent);
        return m_connection->roundtrip();
    }

private:
    zwlr_virtual_pointer_v1* pointer() {
        if (!m_pointer) m_pointer = zwlr_virtual_pointer_manager_v1_create_virtual_pointer(m_manager, m_seat);
        m_idle.start();
        return m_pointer;
    }

    void releasePointer() {
        if (!m_pointer) return;
        zwlr_virtual_pointer_v1_destroy(m_pointer);
        m_pointer = nullptr;
        m_connection->flush();
    }

    // A position in hundredths of a logical unit from the layout's top-left corner.
    void moveTo(const QPoint& position) {
        zwlr_virtual_pointer_v1* device = pointer();
        zwlr_virtual_pointer_v1_motion_absolute(device, now(), uint32_t(std::max(0, position.x())),
                                                uint32_t(std::max(0, position.y())), uint32_t(m_extent.x()),
                                                uint32_t(m_extent.y()));
        zwlr_virtual_pointer_v1_frame(device);
    }

    std::unique_ptr<WaylandConnection> m_connection;
    zwlr_virtual_pointer_manager_v1* m_manager;
    wl_seat* m_seat; // null: the compositor's default seat
    zwlr_virtual_pointer_v1* m_pointer = nullptr;
    QPoint m_target; // where the wheel turns, and the layout's extent, as moveTo() takes them
    QPoint m_extent{1, 1};
    QTimer m_idle;
};

} // namespace

QString scrollingUnavailable() {
    return QStringLiteral("Scrolling captures are not available on this desktop: Pictavia scrolls other "
                          "windows through the virtual-pointer protocol of sway and other wlroots "
                          "compositors or through the desktop's remote desktop portal, and this desktop "
                          "offers neither.");
}

Result<std::unique_ptr<ScrollSynthesizer>> connectScrollSynthesizer() {
    auto connection = WaylandConnection::open();
    if (!connection) return connection.error();
    const auto manager = (*connection)->global(zwlr_virtual_pointer_manager_v1_interface.name);
    if (!manager) return Error{scrollingUnavailable()};
    auto* boundManager = static_cast<zwlr_virtual_pointer_manager_v1*>(
        (*connection)->bind(*manager, &zwlr_virtual_pointer_manager_v1_interface, 1));
    const auto seat = (*connection)->global(wl_seat_interface.name);
    auto* boundSeat =
        seat ? static_cast<wl_seat*>((*connection)->bind(*seat, &wl_seat_interface, 1)) : nullptr;
    return std::unique_ptr<ScrollSynthesizer>(
        new WlrScrollSynthesizer(std::move(connection).value(), boundManager, boundSeat));
}

} // namespace platform::wayland
