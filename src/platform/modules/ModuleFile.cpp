#include "platform/modules/ModuleFile.h"

#include <climits>
#include <dlfcn.h>
#include <unistd.h>

namespace platform::modules {

namespace {

// The folder of the running program, without a trailing slash; "." when unknown.
std::string programFolder() {
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    if (length <= 0) return ".";
    const std::string program(path, static_cast<size_t>(length));
    const size_t slash = program.rfind('/');
    return slash == std::string::npos || slash == 0 ? "/" : program.substr(0, slash);
}

// "/usr/bin/../lib/pictavia" as "/usr/lib/pictavia", for messages and dlopen alike.
std::string installedFolder(const std::string& programFolder) {
    const size_t slash = programFolder.rfind('/');
    const std::string prefix = slash == std::string::npos ? "." : programFolder.substr(0, slash);
    return prefix + "/lib/pictavia";
}

} // namespace

void* openModule(const std::string& file, std::string* error) {
    const std::string beside = programFolder();
    const std::string installed = installedFolder(beside);
    for (const std::string& folder : {beside, installed}) {
        const std::string path = folder + '/' + file;
        if (access(path.c_str(), F_OK) != 0) continue;
        if (void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) return handle;
        *error = dlerror();
        return nullptr;
    }
    *error = file + " is neither in " + beside + " nor in " + installed;
    return nullptr;
}

} // namespace platform::modules
