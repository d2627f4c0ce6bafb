#pragma once

#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>

namespace ui {

// The icon in the desktop's tray and its menu. The menu is rebuilt each time it opens,
// so it follows the menu preferences as they are now. While a recording runs the icon
// carries a red dot and the menu starts with its controls.
class TrayIcon : public QObject {
    Q_OBJECT
public:
    TrayIcon();
    // Shows or hides the icon as "menuBarShowIcon" says.
    void refresh();

signals:
    void quitRequested();

private:
    void rebuild();
    void activated(QSystemTrayIcon::ActivationReason reason);
    void showRecording(bool recording);

    QSystemTrayIcon m_icon;
    QMenu m_menu;
};

} // namespace ui
