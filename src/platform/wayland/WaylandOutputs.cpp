#include "platform/wayland/WaylandOutputs.h"

#include "platform/wayland/WaylandConnection.h"

#include <wayland-client.h>

#include <algorithm>

namespace platform::wayland {

namespace {

WaylandOutput& described(void* data) {
    return *static_cast<WaylandOutput*>(data);
}

void geometry(void* data, wl_output*, int32_t, int32_t, int32_t, int32_t, int32_t, const char*, const char*,
              int32_t transform) {
    described(data).transform = transform;
}

void mode(void* data, wl_output*, uint32_t flags, int32_t width, int32_t height, int32_t) {
    if (flags & WL_OUTPUT_MODE_CURRENT) described(data).pixels = QSize(width, height);
}

void done(void*, wl_output*) {}

void scale(void* data, wl_output*, int32_t factor) {
    described(data).scale = factor;
}

void name(void* data, wl_output*, const char* text) {
    described(data).name = QString::fromUtf8(text);
}

void description(void*, wl_output*, const char*) {}

const wl_output_listener outputListener{geometry, mode, done, scale, name, description};

} // namespace

WaylandOutputs::WaylandOutputs(WaylandConnection& connection) : m_connection(connection) {}

WaylandOutputs::~WaylandOutputs() {
    for (const auto& output : m_outputs)
        wl_output_destroy(output->proxy);
}

Result<bool> WaylandOutputs::update() {
    const QList<WaylandConnection::Global> globals = m_connection.globals(wl_output_interface.name);
    const auto gone = std::remove_if(m_outputs.begin(), m_outputs.end(), [&](const auto& output) {
        const bool present = std::any_of(globals.begin(), globals.end(),
                                         [&](const auto& global) { return global.name == output->global; });
        if (!present) wl_output_destroy(output->proxy);
        return !present;
    });
    m_outputs.erase(gone, m_outputs.end());
    bool added = false;
    for (const WaylandConnection::Global& global : globals) {
        const bool known = std::any_of(m_outputs.begin(), m_outputs.end(),
                                       [&](const auto& output) { return output->global == global.name; });
        if (known) continue;
        // Version 4 names the output, which is how it is matched with Qt's screens.
        auto output = std::make_unique<WaylandOutput>();
        output->global = global.name;
        output->proxy = static_cast<wl_output*>(m_connection.bind(global, &wl_output_interface, 4));
        wl_output_add_listener(output->proxy, &outputListener, output.get());
        m_outputs.push_back(std::move(output));
        added = true;
    }
    if (!added) return true;
    return m_connection.roundtrip();
}

const WaylandOutput* WaylandOutputs::named(const QString& name) const {
    for (const auto& output : m_outputs)
        if (output->name == name) return output.get();
    return nullptr;
}

} // namespace platform::wayland
