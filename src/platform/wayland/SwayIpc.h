#pragma once

#include "common/Result.h"

#include <QByteArray>
#include <QString>

#include <chrono>

namespace platform::wayland {

// The IPC socket of sway or another i3-compatible compositor (SWAYSOCK, else I3SOCK); empty
// when the session has none, as under GNOME or KDE.
QString swaySocketPath();

// The compositor's layout tree (GET_TREE) as the JSON it sends. Fails with a sentence when
// the socket cannot be reached, the compositor does not answer within `timeout`, or the
// reply is not a tree reply.
Result<QByteArray> requestSwayTree(const QString& socketPath,
                                   std::chrono::milliseconds timeout = std::chrono::seconds(2));

} // namespace platform::wayland
