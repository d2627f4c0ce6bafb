#pragma once

#include "common/Result.h"

#include <QString>

#include <cstdint>

namespace platform {

// Keeps the display awake while something runs that the user watches rather than drives.
class SleepGuard {
public:
    virtual ~SleepGuard() = default;
    // Asks the desktop not to blank or lock the screen; the cookie ends the request.
    // Never 0 on success.
    virtual Result<uint32_t> inhibit(const QString& reason) = 0;
    // Ends the request of `cookie`; 0 is ignored. Does not wait for the desktop.
    virtual void release(uint32_t cookie) = 0;
};

} // namespace platform
