#pragma once

#include <QWidget>

class AgentAccess;
class QCheckBox;
class QComboBox;
class QLabel;
class QListWidget;
class QPushButton;
class QTreeWidget;
class QVBoxLayout;

namespace ui {

// What AI agents may do in Pictavia and what they did: the switch, a policy per kind of
// action, what agents see of captures, the approved clients, the activity log, and one
// card per AI app to add Pictavia to it.
class AgentsPage : public QWidget {
    Q_OBJECT
public:
    explicit AgentsPage(AgentAccess& access, QWidget* parent = nullptr);

    // Reads every value again and refreshes the clients' statuses.
    void reload();

private:
    QWidget* makeClientCards();
    void refreshApproved();
    void refreshActivity();
    void refreshServer();

    AgentAccess& m_access;
    QLabel* m_server;
    QCheckBox* m_enabled;
    QList<QComboBox*> m_policies;
    QComboBox* m_sharing;
    QLabel* m_sharingDetail;
    QCheckBox* m_redact;
    QCheckBox* m_announce;
    QListWidget* m_approved;
    QPushButton* m_remove = nullptr;
    QTreeWidget* m_activity;
    QList<std::function<void()>> m_clientRefreshers;
};

} // namespace ui
