#include "platform/wayland/WlrScreencopy.h"

#include "platform/wayland/ScreencopyFrame.h"
#include "platform/wayland/WaylandConnection.h"
#include "platform/wayland/WaylandOutputs.h"

#include "screencopy-client.h"
#include <wayland-client.h>

#include <QMutex>

namespace platform::wayland {

struct WlrScreencopy::State {
    QMutex mutex;
    std::unique_ptr<WaylandConnection> connection;
    std::unique_ptr<WaylandOutputs> outputs;
    zwlr_screencopy_manager_v1* manager = nullptr;
    wl_shm* shm = nullptr;
    std::unique_ptr<ScreencopyCopier> copier;

    ~State() {
        copier.reset();
        outputs.reset();
        if (manager) zwlr_screencopy_manager_v1_destroy(manager);
        if (shm) wl_shm_destroy(shm);
    }

    // The pixels of `area` of `output`, copied out of the shared memory.
    Result<QImage> copy(const WaylandOutput& output, const ScreencopyArea& area) {
        Result<ScreencopyPicture> picture = copier->copy(output, area.logical);
        if (!picture) return picture.error();
        // A region copy is taken as it comes; a whole output is turned upright.
        const int transform = area.logical ? WL_OUTPUT_TRANSFORM_NORMAL : output.transform;
        return screencopyPixels(*picture, transform, area.crop);
    }
};

WlrScreencopy::WlrScreencopy(std::unique_ptr<State> state) : m_state(std::move(state)) {}

WlrScreencopy::~WlrScreencopy() = default;

Result<std::unique_ptr<WlrScreencopy>> WlrScreencopy::connect() {
    auto connection = WaylandConnection::open();
    if (!connection) return connection.error();
    auto state = std::make_unique<State>();
    state->connection = std::move(connection).value();
    const auto manager = state->connection->global(zwlr_screencopy_manager_v1_interface.name);
    const auto shm = state->connection->global(wl_shm_interface.name);
    if (!manager || !shm)
        return Error{QStringLiteral("The Wayland compositor does not offer wlroots' screencopy protocol.")};
    state->manager = static_cast<zwlr_screencopy_manager_v1*>(
        state->connection->bind(*manager, &zwlr_screencopy_manager_v1_interface, 3));
    state->shm = static_cast<wl_shm*>(state->connection->bind(*shm, &wl_shm_interface, 1));
    state->outputs = std::make_unique<WaylandOutputs>(*state->connection);
    state->copier = std::make_unique<ScreencopyCopier>(*state->connection, state->manager, state->shm);
    if (auto described = state->outputs->update(); !described) return described.error();
    return std::unique_ptr<WlrScreencopy>(new WlrScreencopy(std::move(state)));
}

Result<QImage> WlrScreencopy::grab(const QString& outputName, const QSize& laidOut,
                                   std::optional<QRect> region) {
    const QMutexLocker lock(&m_state->mutex);
    State& state = *m_state;
    if (auto current = state.outputs->update(); !current) return current.error();
    const WaylandOutput* output = state.outputs->named(outputName);
    if (!output) {
        // An output plugged in a moment ago: its global may not have been read yet.
        if (auto listed = state.connection->roundtrip(); !listed) return listed.error();
        if (auto current = state.outputs->update(); !current) return current.error();
        output = state.outputs->named(outputName);
    }
    if (!output) return Error{QStringLiteral("The compositor has no output named %1.").arg(outputName)};
    const Result<ScreencopyArea> area = screencopyArea(*output, laidOut, region);
    if (!area) return area.error();
    if (area->logical) {
        Result<QImage> part = state.copy(*output, *area);
        if (!part || part->size() == area->size) return part;
    }
    // Where the compositor copied the region at another size, the area is cut from the whole.
    const ScreencopyArea whole{std::nullopt, area->logical ? region : area->crop, area->size};
    Result<QImage> copied = state.copy(*output, whole);
    if (!copied) return copied;
    if (copied->size() != area->size)
        return Error{QStringLiteral("The copy of output %1 does not have the %2×%3 pixels it shows.")
                         .arg(outputName)
                         .arg(area->size.width())
                         .arg(area->size.height())};
    return copied;
}

} // namespace platform::wayland
