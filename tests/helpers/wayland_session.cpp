// Runs one command inside a private headless Wayland session (sway, PipeWire, the portals;
// see tests/integration/WaylandSession.h) and stops the session when it ends: for trying the
// Wayland backend by hand and for benchmarks against other Wayland tools.
//
//   wayland_session [--desktop sway|gnome|kde] [--output WxH@SCALE]... [--background #rrggbb]
//                   -- COMMAND [ARGS...]
//
// Without --desktop, sway; without --output, one 1280x720 output at scale 1 (--background is
// sway's only). The command runs as the session's user
// (pictavia-test when run as root) with the session's variables; its output is passed on and
// its exit code is wayland_session's. Exit code 77 when this machine cannot run the session.

#include "ChildProcess.h"
#include "WaylandSession.h"

#include <QCoreApplication>

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <regex>

using namespace testsupport;

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    WaylandSession::Options options{.outputs = {}};
    std::string background;
    int i = 1;
    for (; i < argc && std::string(argv[i]) != "--"; ++i) {
        const std::string option = argv[i];
        const std::string value = i + 1 < argc ? argv[i + 1] : "";
        std::smatch output;
        if (option == "--output" && std::regex_match(value, output, std::regex(R"((\d+)x(\d+)@([0-9.]+))"))) {
            options.outputs.push_back({std::stoi(output[1]), std::stoi(output[2]), std::stod(output[3])});
            ++i;
        } else if (option == "--desktop" && (value == "sway" || value == "gnome" || value == "kde")) {
            options.desktop = value == "kde"     ? WaylandSession::Desktop::kde
                              : value == "gnome" ? WaylandSession::Desktop::gnome
                                                 : WaylandSession::Desktop::sway;
            ++i;
        } else if (option == "--background" && !value.empty()) {
            background = value;
            ++i;
        } else {
            std::fprintf(stderr,
                         "wayland_session: unknown option \"%s\"; see the top of wayland_session.cpp\n",
                         option.c_str());
            return 2;
        }
    }
    if (i + 1 >= argc) {
        std::fprintf(stderr, "wayland_session: no command after --\n");
        return 2;
    }
    if (options.outputs.empty()) options.outputs.push_back({});
    try {
        std::string whyNot;
        auto session = WaylandSession::start(options, &whyNot);
        if (!session) {
            std::fprintf(stderr, "wayland_session: no headless Wayland session: %s\n", whyNot.c_str());
            return 77;
        }
        if (!background.empty()) session->startProcess("swaybg", {"-c", background});
        // A program on PATH is the system's; one named by its path may be in a closed build tree.
        std::string program = argv[i + 1];
        if (program.find('/') != std::string::npos) {
            program = session->reachable(std::filesystem::absolute(program).string());
            if (program.empty()) {
                std::fprintf(stderr, "wayland_session: the session's user cannot run %s\n", argv[i + 1]);
                return 77;
            }
        }
        const ProcessOutput out = session->run(program, std::vector<std::string>(argv + i + 2, argv + argc),
                                               {.timeout = std::chrono::hours(1)});
        std::cout << out.out << std::flush;
        std::cerr << out.err << std::flush;
        return out.exitCode < 0 ? 1 : out.exitCode;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "wayland_session: %s\n", failure.what());
        return 1;
    }
}
