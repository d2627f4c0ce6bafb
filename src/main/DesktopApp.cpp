#include "main/DesktopApp.h"

#include "agents/AgentAccess.h"
#include "agents/AgentServer.h"
#include "agents/AgentTools.h"
#include "agents/CodeIdentity.h"
#include "agents/tools/DesktopActions.h"
#include "app/AppPaths.h"
#include "app/HotkeyRegistry.h"
#include "app/Hotkeys.h"
#include "app/Prefs.h"
#include "app/PrefsFileWatcher.h"
#include "app/Toast.h"
#include "app/URLCommands.h"
#include "app/Usage.h"
#include "capture/CaptureCoordinator.h"
#include "capture/HistoryManager.h"
#include "capture/OutputPipeline.h"
#include "capture/PostCaptureAction.h"
#include "editor/ClipboardOpener.h"
#include "history/HistoryBatch.h"
#include "history/HistoryIndex.h"
#include "main/CommandLine.h"
#include "main/HostedCommands.h"
#include "main/InstanceChannel.h"
#include "main/PlatformSetup.h"
#include "main/WaylandSurfaces.h"
#include "platform/BackendChoice.h"
#include "platform/Platform.h"
#include "platform/wayland/LayerShell.h"
#include "platform/wayland/PortalGlobalShortcuts.h"
#include "platform/wayland/QtWaylandSync.h"
#include "platform/x11/X11DesktopCover.h"
#include "platform/x11/X11GlobalHotkeys.h"
#include "recording/ScreenRecorder.h"
#include "ui/AppIcon.h"
#include "ui/DesktopSurfaces.h"
#include "ui/OwnWindowsOffScreen.h"
#include "ui/OwnWindowsOutOfRecordings.h"
#include "ui/PinWindow.h"
#include "ui/QuickAccessOverlay.h"
#include "ui/RecordingOverlayWindows.h"
#include "ui/TextResultWindow.h"
#include "ui/TrayIcon.h"
#include "ui/agents/AgentPromptPanel.h"
#include "ui/editor/EditorWindow.h"
#include "ui/main/FileManager.h"
#include "ui/main/MainWindow.h"
#include "ui/video/VideoEditorWindow.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QScreen>
#include <QSocketNotifier>
#include <QUrl>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <sys/socket.h>
#include <unistd.h>

namespace DesktopApp {

namespace {

bool isURL(const QString& argument) {
    return argument.startsWith(QStringLiteral("pictavia:"), Qt::CaseInsensitive);
}

// Options of the resident application rather than commands.
bool isResidentOption(const QString& argument) {
    return argument == u"--background" || argument == u"--trust-any-agent";
}

// SIGTERM and SIGINT end the event loop, so preferences and running scripts are settled.
int signalPipe[2] = {-1, -1};
void onSignal(int) {
    const char byte = 1;
    [[maybe_unused]] const auto n = ::write(signalPipe[1], &byte, 1);
}
void quitOnSignals(QApplication& app) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalPipe) != 0) return;
    auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, &QApplication::quit);
    std::signal(SIGTERM, onSignal);
    std::signal(SIGINT, onSignal);
}

void runFlow(const QString& flow) {
    CaptureCoordinator& c = CaptureCoordinator::shared();
    if (flow == u"area")
        c.captureArea();
    else if (flow == u"fullscreen")
        c.captureFullscreen();
    else if (flow == u"window")
        c.captureWindow();
    else if (flow == u"allInOne")
        c.captureAllInOne();
    else if (flow == u"previous")
        c.capturePreviousArea();
    else if (flow == u"text")
        c.captureText();
    else if (flow == u"timedFullscreen")
        c.timedFullscreen(5);
    else if (flow == u"record")
        c.toggleRecording(false, RecordMode::area());
}

void installPlatformExtras() {
    platform::Services extras;
    if (BackendChoice::current() == BackendChoice::Backend::wayland) {
        // X key grabs under XWayland fire only while an X window has the focus: the desktop's
        // portal binds the keys where it can, and elsewhere its own keyboard settings do.
        if (auto portal = platform::wayland::connectPortalShortcuts())
            extras.hotkeys = std::move(portal);
        else
            std::fprintf(stderr,
                         "pictavia: This desktop lets no program bind global shortcuts: bind \"pictavia "
                         "pictavia://capture-area\" and the like in its keyboard settings (Settings, "
                         "Keyboard Shortcuts shows each command)\n");
        // The compositor copies the screen as it is shown: our windows keep off what is recorded.
        if (auto& streams = platform::services().frameStreams)
            extras.frameStreams = std::make_unique<ui::OwnWindowsOutOfRecordings>(
                std::move(streams), &platform::wayland::syncQtWindows);
    } else if (auto hotkeys = platform::x11::connectHotkeys()) {
        extras.hotkeys = std::move(hotkeys).value();
    } else {
        std::fprintf(stderr, "pictavia: %s\n", qPrintable(hotkeys.error().message));
    }
    extras.desktopCover = platform::x11::makeDesktopCover();
    extras.ownWindows = std::make_unique<ui::OwnWindowsOffScreen>();
    ScreenRecorder::shared().setOverlayViews(std::make_unique<ui::RecordingOverlayWindows>());
    platform::install(std::move(extras));
}

// Until the main window exists: history and settings open in the desktop's own tools.
void installDestinations() {
    ClipboardOpener::setPresenter(
        [](std::unique_ptr<EditorModel> model) { ui::Editor::present(std::move(model)); });
    ClipboardOpener::setMovieOpener([](const QString& file) {
        QString error;
        if (!ui::video::openVideoEditor(file, &error)) Toast::show(error);
    });
    ScreenRecorder::shared().setStudioEditor([](const QString& movie) {
        QString error;
        if (!ui::video::openVideoEditor(movie, &error)) Toast::show(error);
    });
    ui::QuickAccess::setEditorOpener([](const QString& file) { ClipboardOpener::open(file); });
    URLCommands::Destinations d;
    d.openClipboard = [] { ClipboardOpener::openClipboard(); };
    d.openFile = [](const QString& path) { ClipboardOpener::open(path); };
    d.canOpenFile = [](const QString& path) { return bool(ClipboardOpener::check(path)); };
    d.showHistory = [] { ui::MainWindow::shown(ui::MainWindow::Page::Library); };
    d.showSettings = [] { ui::MainWindow::shown(ui::MainWindow::Page::Settings); };
    URLCommands::setDestinations(std::move(d));
    HistoryBatch::Panels panels;
    panels.chooseSaveFile = [](const QString& suggestedName) {
        return QFileDialog::getSaveFileName(ui::MainWindow::existing(), QObject::tr("Export"),
                                            QDir(Prefs::saveDirectory()).filePath(suggestedName));
    };
    panels.chooseFolder = [] {
        return QFileDialog::getExistingDirectory(ui::MainWindow::existing(), QObject::tr("Export to Folder"),
                                                 Prefs::saveDirectory());
    };
    panels.revealFiles = [](const QStringList& files) { ui::revealInFileManager(files); };
    HistoryBatch::setPanels(std::move(panels));
}

// What agents may show the user: pins, the editor, thumbnails, the file manager, pages.
void installAgentDesktopActions() {
    DesktopActions::Hooks hooks;
    hooks.pin = [](const QImage& image, double scale) {
        // Centred on the primary screen, in root-window pixels.
        const QScreen* primary = QGuiApplication::primaryScreen();
        const double ratio = primary ? primary->devicePixelRatio() : 1.0;
        const QRect screen =
            primary ? QRect(primary->geometry().topLeft() * ratio, primary->geometry().size() * ratio)
                    : QRect();
        const QSize size = image.size();
        ui::PinWindow::show(image, scale,
                            QRect(screen.center() - QPoint(size.width() / 2, size.height() / 2), size));
    };
    hooks.pins = [](const QString& action) {
        int count = 0;
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            auto* pin = qobject_cast<ui::PinWindow*>(widget);
            if (!pin) continue;
            ++count;
            if (action == u"hide")
                pin->hide();
            else if (action == u"show")
                pin->QWidget::show();
            else if (action == u"close")
                pin->close();
        }
        return count;
    };
    hooks.openEditor = [](const QString& file) { ClipboardOpener::open(file); };
    hooks.openVideoEditor = [](const QString& file) {
        QString error;
        ui::video::openVideoEditor(file, &error);
        return error;
    };
    hooks.showQuickAccess = [](const QString& file, const QImage& image) {
        ui::QuickAccess::show(file, image);
    };
    hooks.reveal = [](const QStringList& files) { ui::revealInFileManager(files); };
    hooks.showPage = [](const QString& page, const QString& settingsSection) {
        using Page = ui::MainWindow::Page;
        const Page shown = page == u"library"    ? Page::Library
                           : page == u"agents"   ? Page::Agents
                           : page == u"settings" ? Page::Settings
                                                 : Page::Home;
        ui::MainWindow& window = ui::MainWindow::shown(shown);
        if (shown == Page::Settings && !settingsSection.isEmpty())
            window.showSettingsSection(settingsSection);
    };
    hooks.openWithDefaultApp = [](const QString& file) {
        return QDesktopServices::openUrl(QUrl::fromLocalFile(file));
    };
    DesktopActions::setHooks(std::move(hooks));
}

void handle(const QStringList& arguments, bool firstStart) {
    bool background = false;
    for (const QString& argument : arguments) {
        if (argument == u"--background")
            background = true;
        else if (argument == u"--trust-any-agent")
            CodeIdentity::setTrustAnyPeer(true);
        else if (isURL(argument))
            URLCommands::handle(QUrl(argument));
    }
    const bool onlyOptions = std::all_of(arguments.begin(), arguments.end(), isResidentOption);
    if (!onlyOptions || background) return;
    if (!firstStart)
        ui::MainWindow::broughtForward(); // a second start is someone looking for the window
    else if (Prefs::flag(QStringLiteral("showHomeAtLaunch")))
        ui::MainWindow::shown(ui::MainWindow::Page::Home);
    else
        Toast::show(QStringLiteral("Pictavia is running. Press Print to capture an area"));
}

// Why the URLs among `arguments` cannot be carried out, one sentence each.
QStringList urlProblems(const QStringList& arguments) {
    QStringList problems;
    for (const QString& argument : arguments)
        if (isURL(argument))
            if (const auto problem = URLCommands::problem(QUrl(argument))) problems << *problem;
    return problems;
}

// A URL that started a capture is answered once the capture is stored, so the caller never
// hears "done" of a capture that an ending app never made. A flow that waits for the user
// (an overlay, the window picker) is answered at once: a script does not wait on a person.
void answerWhenCaptured(std::shared_ptr<InstanceChannel::Reply> reply) {
    CaptureCoordinator& coordinator = CaptureCoordinator::shared();
    if (!coordinator.busy() || coordinator.awaitingUser()) return reply->finish(CommandLine::ok);
    reply->take();
    auto finished = std::make_shared<QMetaObject::Connection>();
    *finished = QObject::connect(&coordinator, &CaptureCoordinator::flowFinished, &coordinator,
                                 [reply = std::move(reply), finished] {
                                     QObject::disconnect(*finished);
                                     reply->finish(CommandLine::ok);
                                 });
}

} // namespace

bool wants(const QStringList& arguments) {
    return arguments.isEmpty() || isResidentOption(arguments.first()) || isURL(arguments.first());
}

int run(int argc, char** argv, const QStringList& arguments) {
    const InstanceChannel::Request request{InstanceChannel::Kind::open, QDir::currentPath(), arguments};
    // A URL that cannot be carried out starts no Pictavia; a running one shows why as well.
    if (const QStringList problems = urlProblems(arguments); !problems.isEmpty()) {
        const auto forwarded = InstanceChannel::forward(request);
        if (forwarded.outcome == InstanceChannel::Outcome::done) return forwarded.exitCode;
        for (const QString& problem : problems)
            std::fprintf(stderr, "pictavia: %s\n", qPrintable(problem));
        return CommandLine::failed;
    }
    const auto claim = InstanceChannel::elect(request);
    if (const int* code = std::get_if<int>(&claim)) return *code;

    Prefs::registerDefaults();
    // Connect first: Qt aborts when it cannot reach the display, without saying why.
    if (const auto installed = PlatformSetup::install(PlatformSetup::Presentation::Resident); !installed) {
        std::fprintf(stderr, "pictavia: %s\n", qPrintable(installed.error().message));
        return CommandLine::failed;
    }
    // Our overlays, toasts and pins need the layer shell's places where the compositor has it.
    const bool layerShell = BackendChoice::current() == BackendChoice::Backend::wayland &&
                            platform::wayland::LayerShell::prepare();
    QApplication app(argc, argv);
    if (layerShell) platform::wayland::LayerShell::install();
    QApplication::setApplicationName(QStringLiteral("Pictavia"));
    QApplication::setDesktopFileName(QStringLiteral("pictavia"));
    QApplication::setWindowIcon(ui::appIcon());
    QApplication::setQuitOnLastWindowClosed(false);
    quitOnSignals(app);

    installPlatformExtras();
    installDestinations();
    installAgentDesktopActions();
    if (BackendChoice::current() == BackendChoice::Backend::wayland)
        CaptureCoordinator::installSurfaces(std::make_shared<WaylandSurfaces>());
    else
        CaptureCoordinator::installSurfaces(std::make_shared<ui::DesktopSurfaces>());
    OutputPipeline::Hooks hooks;
    hooks.showQuickAccess = [](const QString& file, const QImage& image) {
        ui::QuickAccess::show(file, image);
    };
    hooks.showTextResult = [](const QString& text, const QStringList& codes) {
        ui::TextResultWindow::show(text, codes);
    };
    OutputPipeline::setHooks(std::move(hooks));
    // Every capture is recorded and searchable; files from before the index are read once.
    HistoryIndex::attachShared();
    HistoryIndex::shared().backfill();
    HistoryIndex::shared().followFolder();
    // A recording that a crash cut off reaches the history now.
    ScreenRecorder::recoverIfNeeded();
    if (const auto problem = HistoryIndex::shared().loadProblem()) {
        std::fprintf(stderr, "pictavia: %s\n", qPrintable(*problem));
        Toast::show(*problem, 8.0);
    }

    ui::TrayIcon tray;
    QObject::connect(&tray, &ui::TrayIcon::quitRequested, &app, &QApplication::quit);
    const QStringList failures = HotkeyRegistry::shared().install(Hotkeys::captureBindings(runFlow));
    // Keys edited in pictavia.conf while running take effect at once.
    auto* prefsWatcher = new PrefsFileWatcher(&app);
    QObject::connect(prefsWatcher, &PrefsFileWatcher::changed, &app,
                     [] { HotkeyRegistry::shared().reload(); });
    // What start-up wrote (the default keys) reaches the file now: a write left to the event
    // loop could land in the same clock tick as someone's edit, and an edit of the same size
    // and time would then never be read.
    Prefs::sync();
    // Listening last: once the socket is there, every key and window is ready.
    InstanceChannel::Server server;
    if (const auto listening = server.listen(); !listening)
        std::fprintf(stderr, "pictavia: %s\n", qPrintable(listening.error().message));
    QObject::connect(
        &server, &InstanceChannel::Server::received, &app,
        [](const InstanceChannel::Request& request, std::shared_ptr<InstanceChannel::Reply> reply) {
            if (request.kind == InstanceChannel::Kind::run)
                return HostedCommands::run(request, std::move(reply));
            const QStringList problems = urlProblems(request.arguments);
            handle(request.arguments, false);
            if (!problems.isEmpty()) {
                reply->err(QStringLiteral("pictavia: %1\n").arg(problems.join(u"\npictavia: ")).toUtf8());
                return reply->finish(CommandLine::failed);
            }
            answerWhenCaptured(std::move(reply));
        });
    // AI agents: served once everything else is ready, like the instance socket.
    AgentAccess::shared().setAsker(&ui::AgentPromptPanel::ask);
    AgentAccess::shared().setAnnouncer(&ui::AgentNotice::show);
    AgentServer& agents = AgentServer::shared();
    agents.setToolProvider(std::make_shared<AgentTools>());
    agents.start();
    if (const auto& error = agents.lastError()) std::fprintf(stderr, "pictavia: %s\n", qPrintable(*error));
    handle(arguments, true);
    if (!failures.isEmpty()) Toast::show(Hotkeys::failureMessage(failures), 6.0);
    const int code = QApplication::exec();
    agents.stop();
    AgentAccess::shared().saveActivityNow();
    PostCaptureAction::waitForAll();
    HistoryIndex::shared().saveNow();
    Prefs::sync();
    Usage::flush();
    // Windows, the clipboard and the X connection go with the process.
    std::fflush(nullptr);
    std::_Exit(code);
}

} // namespace DesktopApp
