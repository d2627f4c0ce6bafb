#pragma once

#include "common/Result.h"

namespace platform::modules {

// Opens the module `file` (e.g. "pictavia-ocr.so") and returns the address of its factory
// function `factory` (see ModuleExport.h). Modules are looked for beside the running
// program (a build tree) and in lib/pictavia under its install prefix. A module stays
// loaded until the process ends, as the objects it makes live that long. Errors say which
// file is missing or why it could not be loaded. Safe from any thread.
Result<void*> findFactory(const char* file, const char* factory);

} // namespace platform::modules
