#pragma once

#include <string>

namespace platform::modules {

// Opens the module `file` (e.g. "pictavia-ocr.so") from beside the running program (a build
// tree) or from lib/pictavia under its install prefix (bin/../lib/pictavia). Plain C++ and
// POSIX, so that the program's launcher can use it before any library is loaded. The module
// is never closed: what it makes lives until the process ends. Returns null, with `*error`
// saying which file is missing or why it could not be loaded, when it cannot.
void* openModule(const std::string& file, std::string* error);

} // namespace platform::modules
