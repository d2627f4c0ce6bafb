// pictavia: the desktop application and its command line.

#include "app/Prefs.h"
#include "app/Usage.h"
#include "main/AgentsCommand.h"
#include "main/CaptureCommand.h"
#include "main/CommandLine.h"
#include "main/DesktopApp.h"
#include "main/EditCommand.h"
#include "main/HistoryCommand.h"
#include "main/HistoryExportCommand.h"
#include "main/HostedCommands.h"
#include "main/InstanceChannel.h"
#include "main/ListCommand.h"
#include "main/MessageFilter.h"
#include "main/RecordCommand.h"
#include "main/StandaloneHistory.h"
#include "main/TextCommand.h"
#include "main/UsageText.h"
#include "main/VideoCommand.h"
#include "platform/BackendChoice.h"
#include "platform/modules/ModuleExport.h"
#include "platform/qt/QtClipboard.h"
#include "platform/wayland/WaylandScreenBackend.h"

#include <QCoreApplication>
#include <QDir>
#include <QGuiApplication>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

QStringList argumentsOf(int argc, char** argv) {
    QStringList list;
    for (int i = 1; i < argc; ++i)
        list << QString::fromLocal8Bit(argv[i]);
    return list;
}

// Settles X11 or Wayland for this run, before Qt or a display is reached. False, with the
// reason on stderr, for a --backend nobody knows.
bool chooseBackend(QStringList& arguments) {
    const auto requested = BackendChoice::takeOption(arguments);
    const auto backend = BackendChoice::choose(requested, BackendChoice::Session::fromEnvironment());
    if (!backend) {
        std::fprintf(stderr, "pictavia: %s\n", qPrintable(backend.error().message));
        return false;
    }
    BackendChoice::setCurrent(*backend);
    const QByteArray qtPlatform = qgetenv("QT_QPA_PLATFORM");
    const QByteArray wanted = BackendChoice::qtPlatformFor(*backend, qtPlatform);
    if (wanted != qtPlatform) qputenv("QT_QPA_PLATFORM", wanted);
    return true;
}

// The commands that look at the screen. Under Wayland they learn the displays from Qt's
// screens, which only a QGuiApplication has.
bool needsScreens(const QString& command) {
    return command == u"capture" || command == u"displays" || command == u"windows" || command == u"record";
}

} // namespace

// The application, in pictavia-app.so: the launcher (Launcher.cpp) answers --help and
// --version itself and hands every other run to this.
PICTAVIA_MODULE_EXPORT int pictavia_main(int argc, char** argv) {
    MessageFilter::install();
    QStringList arguments = argumentsOf(argc, argv);
    if (!chooseBackend(arguments)) return CommandLine::usage;
    const QString command = arguments.value(0);

    if (command == u"--serve-clipboard" && arguments.size() == 3) {
        QGuiApplication app(argc, argv);
        return platform::qt::serveClipboard(arguments[1], arguments[2]);
    }
    if (DesktopApp::wants(arguments)) return DesktopApp::run(argc, argv, arguments);
    if (command == u"edit") return runEditCommand(argc, argv, arguments.mid(1));

    // While Pictavia runs, it carries out captures and history changes itself: one writer
    // of the history, and the capture indexed and shown at once.
    if (HostedCommands::isHosted(arguments)) {
        const auto forwarded =
            InstanceChannel::forward({InstanceChannel::Kind::run, QDir::currentPath(), arguments});
        if (forwarded.outcome == InstanceChannel::Outcome::done) std::_Exit(forwarded.exitCode);
        if (forwarded.outcome != InstanceChannel::Outcome::noInstance) {
            std::fprintf(stderr, "pictavia: %s\n",
                         qPrintable(InstanceChannel::failureMessage(forwarded.outcome)));
            std::_Exit(CommandLine::failed);
        }
    }

    // Command-line runs need no window system of Qt's own under X11: they reach the X
    // server through the screen backend. Under Wayland, Qt's screens are the displays.
    std::unique_ptr<QCoreApplication> app;
    if (BackendChoice::current() == BackendChoice::Backend::wayland && needsScreens(command)) {
        // Qt aborts without a word when it cannot reach the compositor.
        if (const auto reached = platform::wayland::checkCompositor(); !reached) {
            std::fprintf(stderr, "pictavia: %s\n", qPrintable(reached.error().message));
            return CommandLine::failed;
        }
        app = std::make_unique<QGuiApplication>(argc, argv);
    } else {
        app = std::make_unique<QCoreApplication>(argc, argv);
    }
    // The same defaults as the app's: a style, a format or a folder nobody set still has
    // its documented value here.
    Prefs::registerDefaults();
    // No app runs: this process must not write the index, only append to its journal.
    StandaloneHistory::useJournal();
    const QStringList rest = arguments.mid(1);
    int code = CommandLine::usage;
    if (command == u"capture")
        code = runCaptureCommand(rest);
    else if (command == u"displays")
        code = runDisplaysCommand(rest);
    else if (command == u"windows")
        code = runWindowsCommand(rest);
    else if (command == u"text")
        code = runTextCommand(rest);
    else if (command == u"scan")
        code = runScanCommand(rest);
    else if (command == u"history" && rest.value(0) == u"export")
        code = runHistoryExportCommand(rest.mid(1));
    else if (command == u"history")
        code = runHistoryCommand(rest);
    else if (command == u"record")
        code = runRecordCommand(rest);
    else if (command == u"video")
        code = runVideoCommand(rest);
    else if (command == u"agents")
        code = runAgentsCommand(rest);
    else
        std::fprintf(stderr, "pictavia: unknown command \"%s\"\n\n%s", qPrintable(command), usageText);
    Usage::flush();
    // Everything a command leaves behind is written by now (files, preferences, output);
    // tearing Qt and the X connection down would only make scripts wait.
    std::fflush(nullptr);
    std::_Exit(code);
}
