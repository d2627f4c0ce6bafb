#include "ui/TrayIcon.h"

#include "app/AppPaths.h"
#include "app/Hotkeys.h"
#include "app/Prefs.h"
#include "app/Toast.h"
#include "app/URLCommands.h"
#include "capture/CaptureCoordinator.h"
#include "capture/HistoryManager.h"
#include "platform/Platform.h"
#include "recording/ScreenRecorder.h"
#include "ui/AppIcon.h"
#include "ui/PinWindow.h"
#include "ui/main/MainWindow.h"

#include <QClipboard>
#include <QCursor>
#include <QDesktopServices>
#include <QDir>
#include <QGuiApplication>
#include <QPainter>
#include <QUrl>

namespace ui {

namespace {

CaptureCoordinator& coordinator() {
    return CaptureCoordinator::shared();
}

// The keys of a capture flow's hotkey, for the hint beside its menu entry.
QKeySequence hotkeyOf(const QString& flow) {
    for (const auto& binding : Hotkeys::captureBindings([](const QString&) {}))
        if (binding.name == flow) return QKeySequence(Hotkeys::keysOf(binding), QKeySequence::PortableText);
    return {};
}

bool section(const char* name) {
    return Prefs::flag(QStringLiteral("menuBar.show.") + QLatin1String(name));
}

void openFolder(const QString& path) {
    QDir().mkpath(path);
    QDesktopServices::openUrl(QUrl::fromLocalFile(path));
}

void pinClipboardImage() {
    const QImage image = QGuiApplication::clipboard()->image();
    if (image.isNull()) return Toast::show(QObject::tr("The clipboard has no image to pin"));
    const QSize size = image.size();
    PinWindow::show(image, image.devicePixelRatio(),
                    QRect(QCursor::pos() - QPoint(size.width(), size.height()) / 2, size));
}

// The application's icon with a red dot in its lower right corner.
QIcon recordingIcon() {
    QPixmap pixmap = appIcon().pixmap(64, 64);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Qt::white, 3));
    painter.setBrush(QColor(234, 67, 53));
    painter.drawEllipse(QRectF(34, 34, 28, 28));
    painter.end();
    return QIcon(pixmap);
}

} // namespace

TrayIcon::TrayIcon() {
    m_icon.setIcon(appIcon());
    m_icon.setToolTip(QStringLiteral("Pictavia"));
    m_icon.setContextMenu(&m_menu);
    connect(&m_menu, &QMenu::aboutToShow, this, &TrayIcon::rebuild);
    connect(&m_icon, &QSystemTrayIcon::activated, this, &TrayIcon::activated);
    connect(&coordinator().recorder(), &ScreenRecorder::stateChanged, this,
            [this](ScreenRecorder::State state) { showRecording(state != ScreenRecorder::State::idle); });
    rebuild();
    refresh();
}

void TrayIcon::refresh() {
    m_icon.setVisible(Prefs::flag(QStringLiteral("menuBarShowIcon")));
}

void TrayIcon::showRecording(bool recording) {
    m_icon.setIcon(recording ? recordingIcon() : appIcon());
    m_icon.setToolTip(recording ? tr("Pictavia: recording") : QStringLiteral("Pictavia"));
}

void TrayIcon::activated(QSystemTrayIcon::ActivationReason reason) {
    if (reason != QSystemTrayIcon::Trigger) return;
    // "menu" opens the menu; any other value names the URL command a click runs.
    const QString click = Prefs::text(QStringLiteral("menuBarClick"));
    if (click.isEmpty() || click == u"menu")
        m_menu.popup(QCursor::pos());
    else
        URLCommands::handle(QUrl(QStringLiteral("pictavia://") + click));
}

void TrayIcon::rebuild() {
    m_menu.clear();
    const bool hints = Prefs::flag(QStringLiteral("menuBarShortcutHints"));
    const auto add = [&](QMenu* menu, const QString& text, const QString& flow, auto slot) {
        QAction* action = menu->addAction(text, this, slot);
        if (hints && !flow.isEmpty()) {
            action->setShortcut(hotkeyOf(flow));
            action->setShortcutVisibleInContextMenu(true);
        }
        return action;
    };

    ScreenRecorder& recorder = coordinator().recorder();
    const ScreenRecorder::State state = recorder.state();
    if (state == ScreenRecorder::State::recording || state == ScreenRecorder::State::paused) {
        add(&m_menu, tr("Stop Recording"), QStringLiteral("record"), [&recorder] { recorder.stop(); });
        if (state == ScreenRecorder::State::paused)
            m_menu.addAction(tr("Resume Recording"), this, [&recorder] { recorder.resume(); });
        else
            m_menu.addAction(tr("Pause Recording"), this, [&recorder] { recorder.pause(); });
        m_menu.addAction(tr("Restart Recording"), this, [] { coordinator().restartRecording(); });
        m_menu.addAction(tr("Cancel Recording"), this, [&recorder] { recorder.cancel(); });
        m_menu.addSeparator();
    }

    add(&m_menu, tr("Capture Area"), QStringLiteral("area"), [] { coordinator().captureArea(); });
    add(&m_menu, tr("Capture Full Screen"), QStringLiteral("fullscreen"),
        [] { coordinator().captureFullscreen(); });
    add(&m_menu, tr("Capture Window"), QStringLiteral("window"), [] { coordinator().captureWindow(); });
    add(&m_menu, tr("Capture Previous Area"), QStringLiteral("previous"),
        [] { coordinator().capturePreviousArea(); });
    add(&m_menu, tr("All-in-One"), QStringLiteral("allInOne"), [] { coordinator().captureAllInOne(); });
    if (platform::services().scrollSynthesizer)
        m_menu.addAction(tr("Scrolling Capture"), this, [] { coordinator().scrollingCapture(); });
    if (state == ScreenRecorder::State::idle && platform::services().frameStreams) {
        m_menu.addSeparator();
        add(&m_menu, tr("Record Screen"), QStringLiteral("record"),
            [] { coordinator().toggleRecording(false, RecordMode::area()); });
        m_menu.addAction(tr("Record GIF"), this,
                         [] { coordinator().toggleRecording(true, RecordMode::area()); });
    }

    if (section("tools")) {
        m_menu.addSeparator();
        QMenu* timed = m_menu.addMenu(tr("Timed Capture"));
        for (int seconds : {3, 5, 10})
            add(timed, tr("Full Screen in %1 s").arg(seconds), {},
                [seconds] { coordinator().timedFullscreen(seconds); });
        timed->addSeparator();
        for (int seconds : {3, 5, 10})
            add(timed, tr("Area, %1 s After Selecting").arg(seconds), {},
                [seconds] { coordinator().timedArea(seconds); });
        if (coordinator().availableActions().contains(SelectionAction::ocr))
            add(&m_menu, tr("Capture Text"), QStringLiteral("text"), [] { coordinator().captureText(); });
        m_menu.addAction(tr("Pin Image from Clipboard"), this, &pinClipboardImage);
        m_menu.addAction(tr("Edit Image from Clipboard"), this,
                         [] { URLCommands::handle(QUrl(QStringLiteral("pictavia://open-clipboard"))); });
    }
    if (section("desktop")) {
        m_menu.addSeparator();
        QAction* hide = m_menu.addAction(tr("Hide Desktop Icons While Capturing"));
        hide->setCheckable(true);
        hide->setChecked(Prefs::flag(QStringLiteral("hideDesktopWidgets")));
        connect(hide, &QAction::toggled, this,
                [](bool on) { Prefs::setValue(QStringLiteral("hideDesktopWidgets"), on); });
    }
    if (section("files")) {
        m_menu.addSeparator();
        m_menu.addAction(tr("Open Library"), this,
                         [] { URLCommands::handle(QUrl(QStringLiteral("pictavia://history"))); });
        m_menu.addAction(tr("Open Save Folder"), this, [] { openFolder(Prefs::saveDirectory()); });
    }
    m_menu.addSeparator();
    m_menu.addAction(tr("Open Pictavia"), this, [] { MainWindow::shown(MainWindow::Page::Home); });
    if (section("agents"))
        m_menu.addAction(tr("AI Agents…"), this, [] { MainWindow::shown(MainWindow::Page::Agents); });
    m_menu.addAction(tr("Settings…"), this,
                     [] { URLCommands::handle(QUrl(QStringLiteral("pictavia://settings"))); });
    m_menu.addAction(tr("Quit Pictavia"), this, &TrayIcon::quitRequested);
}

} // namespace ui
