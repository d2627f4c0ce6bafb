#pragma once

#include "platform/ScreenBackend.h"
#include "platform/x11/X11Connection.h"

#include <QList>

#include <mutex>

namespace platform::x11 {

// The monitors, from RandR 1.5; the whole root window when the server has no RandR.
class X11Displays {
public:
    explicit X11Displays(const X11Connection& connection);

    QList<DisplayInfo> list();

private:
    bool hasMonitors();
    DisplayInfo wholeScreen() const;

    const X11Connection& m_connection;
    std::once_flag m_versionChecked;
    bool m_hasMonitors = false;
};

} // namespace platform::x11
