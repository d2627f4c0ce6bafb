// pictavia: the desktop application and its command line.

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
#include "main/TextCommand.h"
#include "platform/qt/QtClipboard.h"

#include <QCoreApplication>
#include <QDir>
#include <QGuiApplication>

#include <cstdio>
#include <cstdlib>

namespace {

const char* const usageText = R"(Usage: pictavia [COMMAND] [options]
       pictavia [--background] [--trust-any-agent] [pictavia://COMMAND?ITEMS ...]

Screenshots of an area, a window or a whole display, named, saved, copied
and kept in a searchable history.

Without a command, Pictavia starts in the tray with its global hotkeys
(Print: area, Shift+Print: full screen, Ctrl+Print: window, Alt+Print:
all-in-one; change them under [Hotkeys] in ~/.config/pictavia/pictavia.conf).
When it is already running, the arguments go to the running instance:
  pictavia pictavia://capture-fullscreen
  pictavia "pictavia://capture-area?x=0&y=0&width=640&height=480&copy"
  --background   start without the greeting
  --trust-any-agent
                 let any program of this user use the AI agent socket, not only
                 the pictavia-mcp beside pictavia (for development; the same as
                 PICTAVIA_TRUST_ANY_AGENT=1)

URL commands: capture-area (capture), capture-window (window),
capture-fullscreen (fullscreen), capture-previous (previous), all-in-one,
capture-text, scrolling-capture (scroll), open-file (open) ?path=,
open-clipboard (clipboard), history, settings (preferences).

Commands:
  capture fullscreen|area|window   take one capture (see "pictavia capture --help")
  displays                         list the displays and their numbers
  windows                          list the windows on screen and their numbers
  text FILE                        the text of an image (--lines, --words, --codes,
                                   --find PHRASE for where a phrase is)
  scan FILE                        the sensitive data visible in an image
  edit FILE                        open an image or a .pictavia project in the editor
  history search QUERY             captures holding every word, newest first (--kind,
                                   --json); history keep|unkeep|delete NAME
  history export --pdf|--zip|--styled DEST NAMES...
                                   captures from the history as one PDF, one ZIP or
                                   styled copies in a folder
  agents status|connect|disconnect [CLIENT]
                                   Pictavia's MCP server in AI clients (Claude, Codex,
                                   Cursor, VS Code, Windsurf; see "pictavia agents --help")
  help                             show this help
)";

QStringList argumentsOf(int argc, char** argv) {
    QStringList list;
    for (int i = 1; i < argc; ++i)
        list << QString::fromLocal8Bit(argv[i]);
    return list;
}

} // namespace

int main(int argc, char** argv) {
    const QStringList arguments = argumentsOf(argc, argv);
    const QString command = arguments.value(0);

    if (command == u"--serve-clipboard" && arguments.size() == 3) {
        QGuiApplication app(argc, argv);
        return platform::qt::serveClipboard(arguments[1], arguments[2]);
    }
    if (DesktopApp::wants(arguments)) return DesktopApp::run(argc, argv, arguments);
    if (command == u"help" || command == u"--help" || command == u"-h") {
        std::fputs(usageText, stdout);
        return CommandLine::ok;
    }
    if (command == u"edit") return runEditCommand(argc, argv, arguments.mid(1));
    if (command == u"--version") {
        std::printf("pictavia %s\n", PICTAVIA_VERSION);
        return CommandLine::ok;
    }

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
    else if (command == u"text")
        code = runTextCommand(rest);
    else if (command == u"scan")
        code = runScanCommand(rest);
    else if (command == u"history" && rest.value(0) == u"export")
        code = runHistoryExportCommand(rest.mid(1));
    else if (command == u"history")
        code = runHistoryCommand(rest);
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
