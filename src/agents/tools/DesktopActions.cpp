#include "agents/tools/DesktopActions.h"

namespace DesktopActions {

namespace {
Hooks& installed() {
    static Hooks hooks;
    return hooks;
}
} // namespace

void setHooks(Hooks hooks) {
    installed() = std::move(hooks);
}

const Hooks& hooks() {
    return installed();
}

} // namespace DesktopActions
