#include "agents/AgentAccess.h"

#include "agents/MCPSession.h"
#include "app/AppPaths.h"
#include "app/Prefs.h"
#include "common/Log.h"
#include "common/RawValues.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace {

const QString enabledKey = QStringLiteral("agentEnabled");
const QString policiesKey = QStringLiteral("agentPolicies");
const QString sharingKey = QStringLiteral("agentImageSharing");
const QString redactKey = QStringLiteral("agentRedact");
const QString announceKey = QStringLiteral("agentAnnounce");
const QString approvedKey = QStringLiteral("agentApprovedClients");

constexpr AgentAccess::Category categories[] = {AgentAccess::Category::capture, AgentAccess::Category::record,
                                                AgentAccess::Category::history,
                                                AgentAccess::Category::manage};

bool storedFlag(const QString& key, bool fallback) {
    const QVariant value = Prefs::value(key);
    return value.isValid() ? value.toBool() : fallback;
}

// Looking at the screen and the history is what agents are for; recording and changing or
// deleting things ask first until the user says otherwise.
AgentAccess::Policy defaultPolicy(AgentAccess::Category category) {
    switch (category) {
    case AgentAccess::Category::capture:
    case AgentAccess::Category::history:
        return AgentAccess::Policy::allow;
    case AgentAccess::Category::record:
    case AgentAccess::Category::manage:
        return AgentAccess::Policy::ask;
    }
    return AgentAccess::Policy::ask;
}

// Stored as one JSON object text under a flat key: {"capture": "allow", ...}.
QJsonObject storedObject(const QString& key) {
    return QJsonDocument::fromJson(Prefs::text(key).toUtf8()).object();
}

QJsonArray storedArray(const QString& key) {
    return QJsonDocument::fromJson(Prefs::text(key).toUtf8()).array();
}

} // namespace

AgentAccess& AgentAccess::shared() {
    static auto* access = new AgentAccess(AppPaths::dataDirectory() + QStringLiteral("/agent-activity.json"));
    return *access;
}

AgentAccess::AgentAccess(QString activityFile, QObject* parent)
    : QObject(parent), m_activityFile(std::move(activityFile)) {
    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(500);
    connect(&m_saveTimer, &QTimer::timeout, this, &AgentAccess::saveActivityNow);
    loadActivity();
}

AgentAccess::~AgentAccess() {
    if (m_saveTimer.isActive()) saveActivityNow();
}

namespace {

struct CategoryInfo {
    AgentAccess::Category category;
    const char* name;
    const char* title;
    const char* symbol;
};

constexpr CategoryInfo categoryTable[] = {
    {AgentAccess::Category::capture, "capture", "See the screen", "camera.viewfinder"},
    {AgentAccess::Category::record, "record", "Record the screen", "record.circle"},
    {AgentAccess::Category::history, "history", "Browse capture history", "clock.arrow.circlepath"},
    {AgentAccess::Category::manage, "manage", "Delete captures & change settings", "slider.horizontal.3"},
};

const CategoryInfo& infoOf(AgentAccess::Category category) {
    for (const CategoryInfo& info : categoryTable)
        if (info.category == category) return info;
    return categoryTable[0];
}

constexpr RawValues policyNames{std::array{std::pair{AgentAccess::Policy::allow, "allow"},
                                           std::pair{AgentAccess::Policy::ask, "ask"},
                                           std::pair{AgentAccess::Policy::off, "off"}}};
constexpr RawValues sharingNames{std::array{std::pair{AgentAccess::ImageSharing::full, "full"},
                                            std::pair{AgentAccess::ImageSharing::textOnly, "textOnly"},
                                            std::pair{AgentAccess::ImageSharing::none, "none"}}};

} // namespace

QString AgentAccess::categoryName(Category category) {
    return QLatin1String(infoOf(category).name);
}

QString AgentAccess::actionTitle(Category category) {
    return QString::fromUtf8(infoOf(category).title);
}

QString AgentAccess::symbolOf(Category category) {
    return QLatin1String(infoOf(category).symbol);
}

QString AgentAccess::policyName(Policy policy) {
    return policyNames.raw(policy);
}

QString AgentAccess::imageSharingName(ImageSharing sharing) {
    return sharingNames.raw(sharing);
}

QString AgentAccess::imageSharingExplanation(ImageSharing sharing) {
    switch (sharing) {
    case ImageSharing::full:
        return QStringLiteral(
            "The agent sees a preview of each capture. With a cloud AI, that preview goes to its provider.");
    case ImageSharing::textOnly:
        return QStringLiteral("The agent gets the text Pictavia reads from each capture, never the pixels.");
    case ImageSharing::none:
        return QStringLiteral(
            "The agent only learns file names and sizes. It can still edit and export files.");
    }
    return {};
}

bool AgentAccess::enabled() const {
    return storedFlag(enabledKey, true);
}

void AgentAccess::setEnabled(bool on) {
    Prefs::setValue(enabledKey, on);
    emit changed();
}

AgentAccess::Policy AgentAccess::policy(Category category) const {
    return policyNames.parse(storedObject(policiesKey).value(categoryName(category)).toString())
        .value_or(defaultPolicy(category));
}

void AgentAccess::setPolicy(Policy policy, Category category) {
    QJsonObject all;
    for (const Category each : categories)
        all.insert(categoryName(each), policyName(each == category ? policy : this->policy(each)));
    Prefs::setValue(policiesKey, QString::fromUtf8(QJsonDocument(all).toJson(QJsonDocument::Compact)));
    emit changed();
}

AgentAccess::ImageSharing AgentAccess::imageSharing() const {
    return sharingNames.parse(Prefs::value(sharingKey).toString()).value_or(ImageSharing::full);
}

void AgentAccess::setImageSharing(ImageSharing sharing) {
    Prefs::setValue(sharingKey, imageSharingName(sharing));
    emit changed();
}

bool AgentAccess::redactForAgents() const {
    return storedFlag(redactKey, true);
}

void AgentAccess::setRedactForAgents(bool on) {
    Prefs::setValue(redactKey, on);
    emit changed();
}

bool AgentAccess::announce() const {
    return storedFlag(announceKey, true);
}

void AgentAccess::setAnnounce(bool on) {
    Prefs::setValue(announceKey, on);
    emit changed();
}

QList<AgentAccess::ApprovedClient> AgentAccess::approvedClients() const {
    QList<ApprovedClient> clients;
    for (const QJsonValue& value : storedArray(approvedKey)) {
        const QJsonObject object = value.toObject();
        ApprovedClient client;
        client.key = object.value(QLatin1String("key")).toString();
        if (client.key.isEmpty()) continue;
        client.name = object.value(QLatin1String("name")).toString();
        if (object.value(QLatin1String("host")).isString())
            client.host = object.value(QLatin1String("host")).toString();
        client.approvedAt =
            QDateTime::fromString(object.value(QLatin1String("approvedAt")).toString(), Qt::ISODate);
        clients.append(client);
    }
    return clients;
}

bool AgentAccess::isApproved(const QString& key) const {
    const QList<ApprovedClient> clients = approvedClients();
    return std::any_of(clients.begin(), clients.end(), [&](const ApprovedClient& c) { return c.key == key; });
}

namespace {

void storeApproved(const QString& key, const QList<AgentAccess::ApprovedClient>& clients) {
    QJsonArray array;
    for (const auto& client : clients) {
        QJsonObject object{{QStringLiteral("key"), client.key},
                           {QStringLiteral("name"), client.name},
                           {QStringLiteral("approvedAt"), client.approvedAt.toUTC().toString(Qt::ISODate)}};
        if (client.host) object.insert(QStringLiteral("host"), *client.host);
        array.append(object);
    }
    Prefs::setValue(key, QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact)));
}

} // namespace

void AgentAccess::approve(const QString& key, const QString& name, const std::optional<QString>& host) {
    QList<ApprovedClient> clients = approvedClients();
    clients.removeIf([&](const ApprovedClient& c) { return c.key == key; });
    clients.append({key, name, host, QDateTime::currentDateTimeUtc()});
    storeApproved(approvedKey, clients);
    emit changed();
}

void AgentAccess::removeApproval(const QString& key) {
    QList<ApprovedClient> clients = approvedClients();
    clients.removeIf([&](const ApprovedClient& c) { return c.key == key; });
    storeApproved(approvedKey, clients);
    emit changed();
}

void AgentAccess::ask(const Prompt& prompt, std::function<void(Answer)> answer) {
    if (!m_asker) {
        answer(Answer::declined);
        return;
    }
    m_asker(prompt, std::move(answer));
}

void AgentAccess::authorizeClient(MCPSession& session, Decision then) {
    if (!enabled()) {
        then(
            QStringLiteral("AI agents are turned off in Pictavia. The user can turn them on in Pictavia ▸ AI "
                           "Agents."));
        return;
    }
    if (isApproved(session.approvalKey())) {
        then(std::nullopt);
        return;
    }
    const QString name = session.displayName();
    if (session.denied) {
        then(QStringLiteral(
                 "The user did not allow %1 to use Pictavia. They can allow it in Pictavia ▸ AI Agents.")
                 .arg(name));
        return;
    }
    QPointer<MCPSession> guarded(&session);
    QPointer<AgentAccess> self(this);
    session.awaitApproval(
        [self, guarded, name](MCPSession::Answer answer) {
            if (!self) return answer(false);
            Prompt prompt{
                QStringLiteral("Allow “%1” to use Pictavia?").arg(name),
                QStringLiteral("It will be able to take screenshots, read text on screen, edit and export "
                               "your captures, and record the screen when you say so. You can change "
                               "this any time in Pictavia ▸ AI Agents."),
                QStringLiteral("sparkles"),
                QStringLiteral("Allow"),
                std::nullopt,
                guarded.data()};
            self->ask(prompt, [answer](Answer given) { answer(given != Answer::declined); });
        },
        [self, guarded, name, then](bool allowed) {
            if (!allowed) {
                if (guarded) guarded->denied = true;
                then(QStringLiteral("The user did not allow %1 to use Pictavia.").arg(name));
                return;
            }
            if (self && guarded)
                self->approve(guarded->approvalKey(), guarded->displayName(), guarded->peer().hostAppName);
            then(std::nullopt);
        });
}

void AgentAccess::authorize(Category category, const QString& action, MCPSession& session, Decision then) {
    switch (policy(category)) {
    case Policy::allow:
        then(std::nullopt);
        return;
    case Policy::off:
        then(actionTitle(category) + QStringLiteral(" is turned off for AI agents in Pictavia ▸ AI Agents."));
        return;
    case Policy::ask:
        break;
    }
    Prompt prompt{session.displayName() + QStringLiteral(" wants to ") + action,
                  QString(),
                  symbolOf(category),
                  QStringLiteral("Allow Once"),
                  QStringLiteral("Always Allow"),
                  &session};
    QPointer<AgentAccess> self(this);
    ask(prompt, [self, category, action, then](Answer answer) {
        if (answer == Answer::declined) {
            then(QStringLiteral("The user declined: ") + action);
            return;
        }
        if (answer == Answer::alwaysAllowed && self) self->setPolicy(Policy::allow, category);
        then(std::nullopt);
    });
}

void AgentAccess::announceAction(const QString& text) {
    if (announce() && m_announcer) m_announcer(text);
}

void AgentAccess::addActivity(ActivityEntry entry) {
    m_activity.prepend(std::move(entry));
    while (m_activity.size() > activityLimit)
        m_activity.removeLast();
    m_saveTimer.start();
    emit activityChanged();
}

void AgentAccess::clearActivity() {
    m_activity.clear();
    m_saveTimer.start();
    emit activityChanged();
}

void AgentAccess::saveActivityNow() {
    m_saveTimer.stop();
    QJsonArray array;
    for (const ActivityEntry& entry : std::as_const(m_activity))
        array.append(QJsonObject{{QStringLiteral("id"), entry.id.toString(QUuid::WithoutBraces)},
                                 {QStringLiteral("date"), entry.date.toUTC().toString(Qt::ISODate)},
                                 {QStringLiteral("client"), entry.client},
                                 {QStringLiteral("tool"), entry.tool},
                                 {QStringLiteral("summary"), entry.summary},
                                 {QStringLiteral("outcome"), entry.outcome}});
    QDir().mkpath(QFileInfo(m_activityFile).absolutePath());
    QSaveFile file(m_activityFile);
    if (!file.open(QIODevice::WriteOnly)) return;
    file.write(QJsonDocument(array).toJson(QJsonDocument::Compact));
    if (!file.commit()) qCWarning(lcPictavia, "Could not write %s", qPrintable(m_activityFile));
}

void AgentAccess::loadActivity() {
    QFile file(m_activityFile);
    if (!file.open(QIODevice::ReadOnly)) return;
    const QJsonArray array = QJsonDocument::fromJson(file.readAll()).array();
    for (const QJsonValue& value : array) {
        const QJsonObject object = value.toObject();
        ActivityEntry entry;
        if (const QUuid id(object.value(QLatin1String("id")).toString()); !id.isNull()) entry.id = id;
        entry.date = QDateTime::fromString(object.value(QLatin1String("date")).toString(), Qt::ISODate);
        entry.client = object.value(QLatin1String("client")).toString();
        entry.tool = object.value(QLatin1String("tool")).toString();
        entry.summary = object.value(QLatin1String("summary")).toString();
        entry.outcome = object.value(QLatin1String("outcome")).toString();
        if (entry.tool.isEmpty()) continue;
        m_activity.append(entry);
        if (m_activity.size() == activityLimit) break;
    }
}
