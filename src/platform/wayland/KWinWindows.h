#pragma once

#include "common/Result.h"

#include <QByteArray>
#include <QList>
#include <QRect>
#include <QString>

#include <cstdint>

namespace platform::wayland {

// One application window as KWin's scripting interface describes it.
struct KWinWindow {
    uint32_t id = 0;    // from KWin's own id for the window: the same for as long as it lives
    QString internalId; // KWin's own id, "{uuid}"
    qint64 pid = 0;
    QString appId; // the resource class: the app id, or the X class of an XWayland window
    QString title;
    QRect rect;           // the frame, title bar included, in the compositor's layout units
    bool visible = false; // on the current desktop and not minimised
    bool focused = false;
};

// The JavaScript that lists KWin's windows (run through runKWinScript): normal windows and
// dialogs, not panels, the desktop, menus or notices.
QString kwinWindowsScript();

// The windows of the script's answer, front to back. Fails with a sentence when the answer
// is not the script's list.
Result<QList<KWinWindow>> parseKWinWindows(const QByteArray& json);

// KWin's windows now, asked through its scripting interface. Fails with a sentence where KWin
// cannot be asked or does not answer. Blocks the calling thread, which must be a Qt thread.
Result<QList<KWinWindow>> requestKWinWindows();

} // namespace platform::wayland
