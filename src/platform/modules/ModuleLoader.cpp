#include "platform/modules/ModuleLoader.h"

#include "platform/modules/ModuleFile.h"

#include <dlfcn.h>

namespace platform::modules {

Result<void*> findFactory(const char* file, const char* factory) {
    std::string error;
    void* handle = openModule(file, &error);
    if (!handle) return Error{QString::fromStdString(error)};
    if (void* function = dlsym(handle, factory)) return function;
    return Error{QStringLiteral("%1 has no %2").arg(QLatin1String(file), QLatin1String(factory))};
}

} // namespace platform::modules
