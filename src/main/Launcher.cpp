// pictavia: answers --help and --version at once and hands every other run to the
// application in pictavia-app.so. Only plain C++ here, so that those answers load no
// library, and the runs that need Qt, X and the rest load them with the application.

#include "main/UsageText.h"
#include "platform/modules/ModuleFile.h"

#include <cstdio>
#include <dlfcn.h>
#include <string>
#include <string_view>

int main(int argc, char** argv) {
    const std::string_view command = argc > 1 ? argv[1] : "";
    if (command == "help" || command == "--help" || command == "-h") {
        std::fputs(usageText, stdout);
        return 0;
    }
    if (command == "--version") {
        std::printf("pictavia %s\n", PICTAVIA_VERSION);
        return 0;
    }

    std::string error;
    void* app = platform::modules::openModule("pictavia-app.so", &error);
    using Main = int (*)(int, char**);
    const auto run = app ? reinterpret_cast<Main>(dlsym(app, "pictavia_main")) : nullptr;
    if (!run) {
        std::fprintf(stderr, "pictavia: Pictavia cannot start: %s\n",
                     app ? "pictavia-app.so has no pictavia_main" : error.c_str());
        return 1;
    }
    return run(argc, argv);
}
