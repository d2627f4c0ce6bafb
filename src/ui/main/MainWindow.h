#pragma once

#include <QWidget>

class HistoryIndex;
class QListWidget;
class QStackedWidget;

namespace ui {

class AgentsPage;
class HomePage;
class LibraryPage;
class SettingsPage;

// The application's one main window: home, the library of captures, AI agents and the
// settings, picked in a sidebar. Closing it hides it and the application goes on in the
// tray; where no tray shows, closing it quits, unless an editor is still open.
class MainWindow : public QWidget {
    Q_OBJECT
public:
    enum class Page { Home, Library, Agents, Settings };

    explicit MainWindow(HistoryIndex& index, QWidget* parent = nullptr);

    // The window of this run, made on first use, on the page asked for and in front.
    static MainWindow& shown(Page page);
    // The window when it was made, else null.
    static MainWindow* existing();
    // The window in front as it was left, or made on the home page.
    static MainWindow& broughtForward();

    void showPage(Page page);
    // The settings page, scrolled to one section.
    void showSettingsSection(const QString& section);

signals:
    // A preference was changed on the settings page.
    void preferenceChanged(const QString& key);

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    QListWidget* m_sidebar;
    QStackedWidget* m_pages;
    HomePage* m_home;
    LibraryPage* m_library;
    AgentsPage* m_agents;
    SettingsPage* m_settings;
};

} // namespace ui
