#pragma once

#include "common/Result.h"

#include <QSize>
#include <QString>

#include <memory>
#include <vector>

struct wl_output;

namespace platform::wayland {

class WaylandConnection;

// One wl_output as the compositor describes it on our own connection.
struct WaylandOutput {
    wl_output* proxy = nullptr;
    uint32_t global = 0;
    QString name;      // "HEADLESS-1", "eDP-1": the name Qt gives its screen too
    QSize pixels;      // the current mode, before any rotation
    int scale = 1;     // pixels per logical unit, as the compositor rounds it
    int transform = 0; // wl_output.transform: 0 where the output is not rotated or flipped
};

// The compositor's outputs, kept in step with its globals: outputs that came since the
// last call are bound and described, outputs that went are dropped.
class WaylandOutputs {
public:
    explicit WaylandOutputs(WaylandConnection& connection);
    ~WaylandOutputs();

    WaylandOutputs(const WaylandOutputs&) = delete;
    WaylandOutputs& operator=(const WaylandOutputs&) = delete;

    // Brings the list up to date (one round trip where outputs came).
    Result<bool> update();

    // The output of that name, or null.
    const WaylandOutput* named(const QString& name) const;

private:
    WaylandConnection& m_connection;
    std::vector<std::unique_ptr<WaylandOutput>> m_outputs; // the listeners keep their addresses
};

} // namespace platform::wayland
