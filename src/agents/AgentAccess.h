#pragma once

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <QUuid>

#include <functional>
#include <optional>

class MCPSession;

// What AI agents may do, as the user decided, and a log of what they did. Main thread only.
// The client gate runs before every tool call; each tool asks the category gate before
// it acts. Refusals come back as messages for the agent.
class AgentAccess : public QObject {
    Q_OBJECT
public:
    enum class Category { capture, record, history, manage };
    enum class Policy { allow, ask, off };
    enum class ImageSharing { full, textOnly, none };

    struct ApprovedClient {
        QString key;
        QString name;
        std::optional<QString> host;
        QDateTime approvedAt;
        bool operator==(const ApprovedClient&) const = default;
    };

    struct ActivityEntry {
        QUuid id = QUuid::createUuid();
        QDateTime date = QDateTime::currentDateTimeUtc();
        QString client;
        QString tool;
        QString summary;
        QString outcome; // "ok", "error" or "denied"
    };
    static constexpr int activityLimit = 300;

    // The user's answer to a prompt.
    enum class Answer { declined, allowedOnce, alwaysAllowed };
    struct Prompt {
        QString title;
        QString message;
        QString symbol;
        QString allowTitle;
        std::optional<QString> alwaysTitle;
        // The session asking: once it has gone the question is withdrawn, declined.
        QPointer<QObject> askedBy;
    };
    // Shows a prompt and answers through the callback, then or later. The window layer
    // sets it; without one every prompt is declined.
    using Asker = std::function<void(const Prompt& prompt, std::function<void(Answer)> answer)>;

    static AgentAccess& shared();
    // `activityFile` is "agent-activity.json" in the data folder for the shared instance.
    explicit AgentAccess(QString activityFile, QObject* parent = nullptr);
    ~AgentAccess() override;

    void setAsker(Asker asker) { m_asker = std::move(asker); }
    // Shows a notice on screen; set by the window layer.
    void setAnnouncer(std::function<void(const QString& text)> announcer) {
        m_announcer = std::move(announcer);
    }
    // "Claude took a screenshot": shown when the user wants notices of agent actions.
    void announceAction(const QString& text);

    bool enabled() const;
    void setEnabled(bool on);
    Policy policy(Category category) const;
    void setPolicy(Policy policy, Category category);
    ImageSharing imageSharing() const;
    void setImageSharing(ImageSharing sharing);
    bool redactForAgents() const;
    void setRedactForAgents(bool on);
    bool announce() const;
    void setAnnounce(bool on);

    QList<ApprovedClient> approvedClients() const;
    bool isApproved(const QString& key) const;
    void approve(const QString& key, const QString& name, const std::optional<QString>& host);
    void removeApproval(const QString& key);

    // Refusals: a message; allowed: none. `then` runs once, perhaps after a prompt.
    using Decision = std::function<void(std::optional<QString> refusal)>;
    void authorizeClient(MCPSession& session, Decision then);
    // Every refusal here comes from the user's settings or answer (a "denied" outcome).
    void authorize(Category category, const QString& action, MCPSession& session, Decision then);

    const QList<ActivityEntry>& activity() const { return m_activity; }
    void addActivity(ActivityEntry entry);
    void clearActivity();
    // Writes a pending activity save now.
    void saveActivityNow();

    static QString categoryName(Category category);
    static QString actionTitle(Category category);
    static QString symbolOf(Category category);
    static QString policyName(Policy policy);
    static QString imageSharingName(ImageSharing sharing);
    static QString imageSharingExplanation(ImageSharing sharing);

signals:
    void changed();
    void activityChanged();

private:
    void loadActivity();
    void ask(const Prompt& prompt, std::function<void(Answer)> answer);

    QString m_activityFile;
    QList<ActivityEntry> m_activity;
    QTimer m_saveTimer;
    Asker m_asker;
    std::function<void(const QString&)> m_announcer;
};
