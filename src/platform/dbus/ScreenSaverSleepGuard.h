#pragma once

#include "platform/SleepGuard.h"

namespace platform::dbus {

// The freedesktop screen saver service on the session bus (org.freedesktop.ScreenSaver),
// which every desktop's idle handling honours: Inhibit while asked, UnInhibit after.
class ScreenSaverSleepGuard : public SleepGuard {
public:
    // `busAddress` names a private bus (tests); empty is the session bus.
    explicit ScreenSaverSleepGuard(QString busAddress = {});
    ~ScreenSaverSleepGuard() override;

    Result<uint32_t> inhibit(const QString& reason) override;
    void release(uint32_t cookie) override;

private:
    QString m_busAddress;
    QString m_connectionName; // of the private bus, once connected
};

} // namespace platform::dbus
