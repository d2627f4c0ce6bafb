#include "ui/main/MainWindow.h"

#include "agents/AgentAccess.h"
#include "history/HistoryIndex.h"
#include "ui/AppIcon.h"
#include "ui/ThemeIcons.h"
#include "ui/main/AgentsPage.h"
#include "ui/main/HomePage.h"
#include "ui/main/LibraryPage.h"
#include "ui/main/SettingsPage.h"

#include <QApplication>
#include <QCloseEvent>
#include <QHBoxLayout>
#include <QListWidget>
#include <QPointer>
#include <QShortcut>
#include <QStackedWidget>
#include <QSystemTrayIcon>
#include <QTimer>

#include <algorithm>

namespace ui {
namespace {

QPointer<MainWindow>& instance() {
    static QPointer<MainWindow> window;
    return window;
}

} // namespace

MainWindow::MainWindow(HistoryIndex& index, QWidget* parent)
    : QWidget(parent), m_sidebar(new QListWidget(this)), m_pages(new QStackedWidget(this)),
      m_home(new HomePage(index, this)), m_library(new LibraryPage(index, this)),
      m_agents(new AgentsPage(AgentAccess::shared(), this)), m_settings(new SettingsPage(this)) {
    setWindowTitle(QStringLiteral("Pictavia"));
    setWindowIcon(appIcon());
    resize(1100, 720);

    const std::pair<QString, const char*> pages[] = {{tr("Home"), "go-home"},
                                                     {tr("Library"), "view-preview"},
                                                     {tr("AI Agents"), "code-context"},
                                                     {tr("Settings"), "configure"}};
    for (const auto& [name, icon] : pages)
        m_sidebar->addItem(new QListWidgetItem(themeIcon(QString::fromLatin1(icon)), name));
    m_sidebar->setIconSize(QSize(20, 20));
    m_sidebar->setFixedWidth(170);
    m_sidebar->setFrameShape(QFrame::NoFrame);
    m_sidebar->setSpacing(3);
    QFont font = m_sidebar->font();
    font.setPointSizeF(font.pointSizeF() * 1.1);
    m_sidebar->setFont(font);
    m_sidebar->setBackgroundRole(QPalette::Window);
    m_pages->addWidget(m_home);
    m_pages->addWidget(m_library);
    m_pages->addWidget(m_agents);
    m_pages->addWidget(m_settings);

    auto* layout = new QHBoxLayout(this);
    layout->addWidget(m_sidebar);
    layout->addWidget(m_pages, 1);
    connect(m_sidebar, &QListWidget::currentRowChanged, m_pages, &QStackedWidget::setCurrentIndex);
    connect(m_home, &HomePage::showLibrary, this, [this] { showPage(Page::Library); });
    connect(m_settings, &SettingsPage::changed, this, &MainWindow::preferenceChanged);
    // Quitting is in reach from here too, for desktops that show no tray.
    auto* quit = new QShortcut(QKeySequence::Quit, this);
    connect(quit, &QShortcut::activated, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    m_sidebar->setCurrentRow(0);
}

MainWindow* MainWindow::existing() {
    return instance().data();
}

MainWindow& MainWindow::shown(Page page) {
    if (!instance()) instance() = new MainWindow(HistoryIndex::shared());
    MainWindow& window = *instance();
    window.showPage(page);
    window.show();
    window.raise();
    window.activateWindow();
    return window;
}

MainWindow& MainWindow::broughtForward() {
    if (!instance()) return shown(Page::Home);
    MainWindow& window = *instance();
    if (window.isMinimized()) window.showNormal();
    window.show();
    window.raise();
    window.activateWindow();
    return window;
}

void MainWindow::closeEvent(QCloseEvent* event) {
    QWidget::closeEvent(event);
    // Without a tray this window is the only way back into the application, so closing
    // it ends the application, unless the user still works in another of its windows.
    if (QSystemTrayIcon::isSystemTrayAvailable()) return;
    const auto windows = QApplication::topLevelWidgets();
    const bool othersOpen = std::any_of(windows.begin(), windows.end(), [this](const QWidget* w) {
        const bool normal = w->windowType() == Qt::Window || w->windowType() == Qt::Dialog;
        return w != this && normal && w->isVisible() && !w->testAttribute(Qt::WA_DontShowOnScreen);
    });
    if (!othersOpen) QTimer::singleShot(0, qApp, &QCoreApplication::quit);
}

void MainWindow::showSettingsSection(const QString& section) {
    showPage(Page::Settings);
    m_settings->showSection(section);
}

void MainWindow::showPage(Page page) {
    m_sidebar->setCurrentRow(static_cast<int>(page));
    switch (page) {
    case Page::Home:
        break;
    case Page::Library:
        m_library->focusSearch();
        break;
    case Page::Agents:
        m_agents->reload();
        break;
    case Page::Settings:
        m_settings->reload();
        m_settings->focusSearch();
        break;
    }
}

} // namespace ui
