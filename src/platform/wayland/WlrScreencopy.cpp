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
    ScreencopyConnection connection;

    // The pixels of `area` of `output`, copied out of the shared memory.
    Result<QImage> copy(const WaylandOutput& output, const ScreencopyArea& area) {
        Result<ScreencopyPicture> picture = connection.copier->copy(output, area.logical);
        if (!picture) return picture.error();
        // A region copy is taken as it comes; a whole output is turned upright.
        const int transform = area.logical ? WL_OUTPUT_TRANSFORM_NORMAL : output.transform;
        return screencopyPixels(*picture, transform, area.crop);
    }
};

WlrScreencopy::WlrScreencopy(std::unique_ptr<State> state) : m_state(std::move(state)) {}

WlrScreencopy::~WlrScreencopy() = default;

Result<std::unique_ptr<WlrScreencopy>> WlrScreencopy::connect() {
    auto state = std::make_unique<State>();
    if (auto opened = state->connection.open(); !opened) return opened.error();
    return std::unique_ptr<WlrScreencopy>(new WlrScreencopy(std::move(state)));
}

Result<QImage> WlrScreencopy::grab(const QString& outputName, const QSize& laidOut,
                                   std::optional<QRect> region) {
    const QMutexLocker lock(&m_state->mutex);
    State& state = *m_state;
    if (auto current = state.connection.outputs->update(); !current) return current.error();
    const WaylandOutput* output = state.connection.outputs->named(outputName);
    if (!output) {
        // An output plugged in a moment ago: its global may not have been read yet.
        if (auto listed = state.connection.wayland->roundtrip(); !listed) return listed.error();
        if (auto current = state.connection.outputs->update(); !current) return current.error();
        output = state.connection.outputs->named(outputName);
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

std::optional<QSize> WlrScreencopy::outputPixels(const QString& outputName) {
    const QMutexLocker lock(&m_state->mutex);
    if (!m_state->connection.outputs->update()) return std::nullopt;
    const WaylandOutput* output = m_state->connection.outputs->named(outputName);
    if (!output) return std::nullopt;
    return output->transform % 2 == 1 ? output->pixels.transposed() : output->pixels;
}

} // namespace platform::wayland
