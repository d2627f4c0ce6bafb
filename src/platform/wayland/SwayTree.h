#pragma once

#include "common/Result.h"

#include <QByteArray>
#include <QList>
#include <QRect>
#include <QString>

#include <cstdint>
#include <optional>

namespace platform::wayland {

// One application window in sway's layout tree (GET_TREE), as the compositor reports it.
struct SwayWindow {
    uint32_t id = 0; // the container's id, stable while the window lives
    qint64 pid = 0;
    QString appId; // app_id, or the X class of an XWayland window
    QString title;
    QString output;   // the output its workspace is on
    QRect outputRect; // that output, in layout units
    QString workspace;
    QRect rect;           // the whole container, borders and title bar included, in layout units
    bool visible = false; // on a workspace that is shown, and not hidden behind tabs or a full-screen window
    bool focused = false;
    bool floating = false;
};

// The windows of a GET_TREE reply, front to back as far as the tree says: floating windows
// before tiled ones of the same workspace, and otherwise the most recently focused first.
// Fails with a sentence when the reply is not a tree.
Result<QList<SwayWindow>> parseSwayTree(const QByteArray& json);

// The windows of the compositor this session runs, asked over its IPC socket (see SwayIpc.h);
// none where it has no such socket. Fails with a sentence when the compositor cannot be asked.
Result<QList<SwayWindow>> requestSwayWindows();

// The part of `window` on its output, in that output's pixels from its top-left corner, for an
// output of `outputPixels` as it is seen (turned where the output is): rounded as the screen
// backend rounds a window's frame. Nullopt where none of the window is on the output.
std::optional<QRect> pixelsOnOutput(const SwayWindow& window, const QSize& outputPixels);

} // namespace platform::wayland
