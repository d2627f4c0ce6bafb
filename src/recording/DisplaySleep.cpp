#include "recording/DisplaySleep.h"

#include "app/Prefs.h"
#include "common/Log.h"
#include "platform/Platform.h"

namespace DisplaySleep {

uint32_t prevent() {
    if (!Prefs::flag(QStringLiteral("recPreventSleep"))) return 0;
    auto& guard = platform::services().sleepGuard;
    if (!guard) return 0;
    const auto cookie = guard->inhibit(QStringLiteral("Pictavia screen recording"));
    if (!cookie) {
        qCDebug(lcPictavia).noquote() << cookie.error().message;
        return 0;
    }
    return *cookie;
}

void allow(uint32_t assertion) {
    if (assertion == 0) return;
    if (auto& guard = platform::services().sleepGuard) guard->release(assertion);
}

} // namespace DisplaySleep
