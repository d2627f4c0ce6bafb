// pictavia: the desktop application and its command line.

#include "app/Prefs.h"
#include "app/Usage.h"
#include "capture/PostCaptureAction.h"
#include "capture/StillCapture.h"
#include "main/CaptureCommand.h"
#include "main/CommandLine.h"
#include "main/ListCommand.h"
#include "main/PlatformSetup.h"
#include "platform/qt/QtClipboard.h"

#include <QApplication>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QTimer>
#include <QWidget>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

const char* const usageText = R"(Usage: pictavia [COMMAND] [options]

Screenshots of an area, a window or a whole display, named, saved, copied
and kept in a searchable history.

Commands:
  capture fullscreen|area|window   take one capture (see "pictavia capture --help")
  displays                         list the displays and their numbers
  windows                          list the windows on screen and their numbers
  help                             show this help

Without a command, Pictavia starts on the desktop and takes a capture of the
display under the pointer.
)";

QStringList argumentsOf(int argc, char** argv) {
    QStringList list;
    for (int i = 1; i < argc; ++i)
        list << QString::fromLocal8Bit(argv[i]);
    return list;
}

// Runs the event loop while any window (a toast, a dialog) is still showing.
void waitForWindowsToClose() {
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [] {
        const auto widgets = QApplication::topLevelWidgets();
        if (std::none_of(widgets.begin(), widgets.end(), [](const QWidget* w) { return w->isVisible(); }))
            QApplication::quit();
    });
    poll.start(100);
    QApplication::exec();
}

// The desktop start: a capture of the display under the pointer, confirmed in a toast
// window; the process ends when the toast has gone.
int startOnDesktop(int argc, char** argv) {
    // Connect first: Qt aborts when it cannot reach the display, without saying why.
    Prefs::registerDefaults();
    if (const auto installed = PlatformSetup::install(PlatformSetup::Presentation::Windows); !installed) {
        std::fprintf(stderr, "pictavia: %s\n", qPrintable(installed.error().message));
        return CommandLine::failed;
    }
    QApplication app(argc, argv);
    Usage::count(QStringLiteral("capture.fullscreen"));
    const auto result = StillCapture::fullscreen(std::nullopt);
    if (!result) {
        std::fprintf(stderr, "pictavia: Capture failed: %s\n", qPrintable(result.error().message));
        return CommandLine::failed;
    }
    std::printf("%s\n", qPrintable(result->file()));
    std::fflush(stdout);
    waitForWindowsToClose();
    PostCaptureAction::waitForAll();
    Prefs::sync();
    return CommandLine::ok;
}

} // namespace

int main(int argc, char** argv) {
    const QStringList arguments = argumentsOf(argc, argv);
    const QString command = arguments.value(0);

    if (command == u"--serve-clipboard" && arguments.size() == 3) {
        QGuiApplication app(argc, argv);
        return platform::qt::serveClipboard(arguments[1], arguments[2]);
    }
    if (command.isEmpty()) return startOnDesktop(argc, argv);
    if (command == u"help" || command == u"--help" || command == u"-h") {
        std::fputs(usageText, stdout);
        return CommandLine::ok;
    }
    if (command == u"--version") {
        std::printf("pictavia %s\n", PICTAVIA_VERSION);
        return CommandLine::ok;
    }

    // Command-line runs need no window system of Qt's own: they reach the X server
    // through the screen backend.
    QCoreApplication app(argc, argv);
    const QStringList rest = arguments.mid(1);
    int code = CommandLine::usage;
    if (command == u"capture")
        code = runCaptureCommand(rest);
    else if (command == u"displays")
        code = runDisplaysCommand(rest);
    else if (command == u"windows")
        code = runWindowsCommand(rest);
    else
        std::fprintf(stderr, "pictavia: unknown command \"%s\"\n\n%s", qPrintable(command), usageText);
    // Everything a command leaves behind is written by now (files, preferences, output);
    // tearing Qt and the X connection down would only make scripts wait.
    std::fflush(nullptr);
    std::_Exit(code);
}
