#include "ui/main/AgentsPage.h"

#include "agents/AgentAccess.h"
#include "agents/AgentClientInstaller.h"
#include "agents/AgentServer.h"
#include "ui/ThemeIcons.h"
#include "ui/main/SectionTitle.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QFormLayout>
#include <QFrame>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>

namespace ui {
namespace {

constexpr AgentAccess::Category categories[] = {AgentAccess::Category::capture, AgentAccess::Category::record,
                                                AgentAccess::Category::history,
                                                AgentAccess::Category::manage};
constexpr AgentAccess::ImageSharing sharings[] = {
    AgentAccess::ImageSharing::full, AgentAccess::ImageSharing::textOnly, AgentAccess::ImageSharing::none};

QLabel* note(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

QString statusText(AgentClientInstaller::Status status) {
    switch (status) {
    case AgentClientInstaller::Status::connected:
        return QObject::tr("Connected");
    case AgentClientInstaller::Status::notConnected:
        return QObject::tr("Not connected");
    case AgentClientInstaller::Status::outdated:
        return QObject::tr("Points to another copy of Pictavia");
    case AgentClientInstaller::Status::notInstalled:
        return QObject::tr("Not installed");
    }
    return {};
}

} // namespace

AgentsPage::AgentsPage(AgentAccess& access, QWidget* parent)
    : QWidget(parent), m_access(access), m_server(new QLabel(this)),
      m_enabled(new QCheckBox(tr("Let AI agents use Pictavia"), this)), m_sharing(new QComboBox(this)),
      m_sharingDetail(new QLabel(this)), m_redact(new QCheckBox(tr("Hide sensitive data from agents"), this)),
      m_announce(new QCheckBox(tr("Show a notice when an agent acts"), this)),
      m_approved(new QListWidget(this)), m_activity(new QTreeWidget(this)) {
    auto* content = new QWidget;
    auto* layout = new QVBoxLayout(content);

    layout->addWidget(sectionTitle(tr("AI Agents"), content));
    layout->addWidget(
        note(tr("AI apps such as Claude, Cursor or Codex can take screenshots, read text, edit and "
                "export captures through Pictavia's local MCP server. Nothing is sent anywhere by "
                "Pictavia itself."),
             content));
    layout->addWidget(m_server);
    layout->addWidget(m_enabled);
    connect(m_enabled, &QCheckBox::toggled, this, [this](bool on) { m_access.setEnabled(on); });

    layout->addWidget(sectionTitle(tr("What agents may do"), content));
    auto* policyForm = new QFormLayout;
    // Each list as wide as its longest choice, not the page.
    policyForm->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    policyForm->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    for (const AgentAccess::Category category : categories) {
        auto* combo = new QComboBox(content);
        combo->addItem(tr("Allow"), int(AgentAccess::Policy::allow));
        combo->addItem(tr("Ask each time"), int(AgentAccess::Policy::ask));
        combo->addItem(tr("Off"), int(AgentAccess::Policy::off));
        combo->setAccessibleName(AgentAccess::actionTitle(category));
        connect(combo, &QComboBox::activated, this, [this, combo, category](int index) {
            m_access.setPolicy(static_cast<AgentAccess::Policy>(combo->itemData(index).toInt()), category);
        });
        // "&" would be taken for a mnemonic.
        policyForm->addRow(AgentAccess::actionTitle(category).replace(u'&', QStringLiteral("&&")), combo);
        m_policies.append(combo);
    }
    layout->addLayout(policyForm);

    layout->addWidget(sectionTitle(tr("What agents see"), content));
    m_sharing->addItem(tr("A preview of each capture"), int(AgentAccess::ImageSharing::full));
    m_sharing->addItem(tr("Only the text in captures"), int(AgentAccess::ImageSharing::textOnly));
    m_sharing->addItem(tr("Only file names and sizes"), int(AgentAccess::ImageSharing::none));
    connect(m_sharing, &QComboBox::activated, this, [this](int index) {
        m_access.setImageSharing(static_cast<AgentAccess::ImageSharing>(m_sharing->itemData(index).toInt()));
    });
    m_sharingDetail->setWordWrap(true);
    m_sharingDetail->setForegroundRole(QPalette::PlaceholderText);
    layout->addWidget(m_sharing, 0, Qt::AlignLeft);
    layout->addWidget(m_sharingDetail);
    layout->addWidget(m_redact);
    layout->addWidget(
        note(tr("Emails, phone numbers, card numbers and keys are blurred in previews and masked in "
                "text an agent receives; saved files are untouched."),
             content));
    layout->addWidget(m_announce);
    connect(m_redact, &QCheckBox::toggled, this, [this](bool on) { m_access.setRedactForAgents(on); });
    connect(m_announce, &QCheckBox::toggled, this, [this](bool on) { m_access.setAnnounce(on); });

    layout->addWidget(sectionTitle(tr("Approved apps"), content));
    m_remove = new QPushButton(themeIcon(QStringLiteral("list-remove")), tr("Remove"), content);
    m_remove->setEnabled(false);
    connect(m_remove, &QPushButton::clicked, this, [this] {
        for (QListWidgetItem* item : m_approved->selectedItems())
            m_access.removeApproval(item->data(Qt::UserRole).toString());
    });
    // Only an approved app can be removed, so only a selected one enables the button.
    connect(m_approved, &QListWidget::itemSelectionChanged, this,
            [this] { m_remove->setEnabled(!m_approved->selectedItems().isEmpty()); });
    layout->addWidget(m_approved);
    layout->addWidget(m_remove, 0, Qt::AlignLeft);

    layout->addWidget(sectionTitle(tr("Add Pictavia to an AI app"), content));
    layout->addWidget(
        note(tr("One click adds Pictavia to the app's MCP servers. Nothing is sent anywhere."), content));
    layout->addWidget(makeClientCards());

    layout->addWidget(sectionTitle(tr("Activity"), content));
    m_activity->setColumnCount(5);
    m_activity->setHeaderLabels({tr("When"), tr("App"), tr("Tool"), tr("What"), tr("Outcome")});
    m_activity->setRootIsDecorated(false);
    m_activity->setMinimumHeight(220);
    m_activity->header()->setSectionResizeMode(3, QHeaderView::Stretch);
    auto* clear =
        new QPushButton(themeIcon(QStringLiteral("edit-clear-history")), tr("Clear Activity"), content);
    connect(clear, &QPushButton::clicked, this, [this] { m_access.clearActivity(); });
    layout->addWidget(m_activity);
    layout->addWidget(clear, 0, Qt::AlignLeft);
    layout->addStretch(1);

    auto* scroll = new QScrollArea(this);
    scroll->setWidget(content);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* outer = new QVBoxLayout(this);
    outer->addWidget(scroll);

    connect(&m_access, &AgentAccess::changed, this, &AgentsPage::reload);
    connect(&m_access, &AgentAccess::activityChanged, this, &AgentsPage::refreshActivity);
    connect(&AgentServer::shared(), &AgentServer::listeningChanged, this, &AgentsPage::refreshServer);
    connect(&AgentServer::shared(), &AgentServer::sessionsChanged, this, &AgentsPage::refreshServer);
    reload();
}

QWidget* AgentsPage::makeClientCards() {
    auto* cards = new QWidget;
    auto* grid = new QGridLayout(cards);
    int slot = 0;
    for (const AgentClient client : AgentClients::all) {
        auto* card = new QFrame(cards);
        card->setFrameShape(QFrame::StyledPanel);
        card->setStyleSheet(
            QStringLiteral("QFrame { border-left: 4px solid %1; }").arg(AgentClients::tint(client).name()));
        auto* name = new QLabel(AgentClients::displayName(client), card);
        QFont bold = name->font();
        bold.setWeight(QFont::DemiBold);
        name->setFont(bold);
        auto* status = new QLabel(card);
        status->setForegroundRole(QPalette::PlaceholderText);
        auto* message = new QLabel(card);
        message->setWordWrap(true);
        message->setTextInteractionFlags(Qt::TextSelectableByMouse);
        message->hide();
        auto* button = new QPushButton(card);
        auto* layout = new QVBoxLayout(card);
        layout->addWidget(name);
        layout->addWidget(status);
        layout->addWidget(message);
        layout->addWidget(button, 0, Qt::AlignLeft);

        const auto refresh = [status, button, client] {
            const auto now = AgentClientInstaller().status(client);
            status->setText(statusText(now));
            button->setText(now == AgentClientInstaller::Status::connected ? tr("Disconnect")
                                                                           : tr("Connect"));
            button->setEnabled(now != AgentClientInstaller::Status::notInstalled);
        };
        m_clientRefreshers.append(refresh);
        // Files are written and Claude Code's command runs off the window's thread.
        connect(button, &QPushButton::clicked, this, [this, button, message, client, refresh] {
            const bool connected =
                AgentClientInstaller().status(client) == AgentClientInstaller::Status::connected;
            button->setEnabled(false);
            QtConcurrent::run([client, connected]() -> QString {
                const AgentClientInstaller installer;
                if (connected) {
                    const auto removed = installer.disconnect(client);
                    return removed ? tr("Removed.") : removed.error().message;
                }
                const auto added = installer.connect(client);
                return added ? added.value() : added.error().message;
            }).then(this, [message, refresh](const QString& text) {
                message->setText(text);
                message->show();
                refresh();
            });
        });
        grid->addWidget(card, slot / 3, slot % 3);
        ++slot;
    }

    // Any other MCP app: the entry to paste.
    auto* other = new QFrame(cards);
    other->setFrameShape(QFrame::StyledPanel);
    auto* otherLayout = new QVBoxLayout(other);
    auto* otherTitle = new QLabel(tr("Any other MCP app"), other);
    QFont bold = otherTitle->font();
    bold.setWeight(QFont::DemiBold);
    otherTitle->setFont(bold);
    auto* snippet = new QPlainTextEdit(AgentClientInstaller().configSnippet(), other);
    snippet->setReadOnly(true);
    snippet->setMaximumHeight(120);
    auto* copy = new QPushButton(themeIcon(QStringLiteral("edit-copy")), tr("Copy"), other);
    connect(copy, &QPushButton::clicked, snippet,
            [snippet] { QApplication::clipboard()->setText(snippet->toPlainText()); });
    otherLayout->addWidget(otherTitle);
    otherLayout->addWidget(snippet);
    otherLayout->addWidget(copy, 0, Qt::AlignLeft);
    grid->addWidget(other, (slot + 2) / 3, 0, 1, 3);
    return cards;
}

void AgentsPage::reload() {
    const QSignalBlocker a(m_enabled), b(m_sharing), c(m_redact), d(m_announce);
    m_enabled->setChecked(m_access.enabled());
    for (int i = 0; i < m_policies.size(); ++i) {
        const QSignalBlocker quiet(m_policies[i]);
        m_policies[i]->setCurrentIndex(m_policies[i]->findData(int(m_access.policy(categories[i]))));
    }
    const auto sharing = m_access.imageSharing();
    m_sharing->setCurrentIndex(m_sharing->findData(int(sharing)));
    m_sharingDetail->setText(AgentAccess::imageSharingExplanation(sharing));
    m_redact->setChecked(m_access.redactForAgents());
    m_announce->setChecked(m_access.announce());
    refreshApproved();
    refreshActivity();
    refreshServer();
    for (const auto& refresh : std::as_const(m_clientRefreshers))
        refresh();
}

void AgentsPage::refreshApproved() {
    m_approved->clear();
    for (const auto& client : m_access.approvedClients()) {
        QString text = client.name;
        if (client.host && *client.host != client.name) text += QStringLiteral(" (%1)").arg(*client.host);
        text += QStringLiteral(" · approved %1")
                    .arg(QLocale().toString(client.approvedAt.toLocalTime(), QLocale::ShortFormat));
        auto* item = new QListWidgetItem(text, m_approved);
        item->setData(Qt::UserRole, client.key);
    }
    m_remove->setEnabled(!m_approved->selectedItems().isEmpty());
    if (m_approved->count() == 0) {
        auto* item =
            new QListWidgetItem(tr("No app approved yet. Each app asks once, the first time it acts."));
        item->setFlags(Qt::NoItemFlags);
        m_approved->addItem(item);
    }
    // As tall as its rows, up to four; a scroll bar beyond.
    const int rows = std::clamp(m_approved->count(), 1, 4);
    m_approved->setFixedHeight(rows * m_approved->sizeHintForRow(0) + 2 * m_approved->frameWidth() + 4);
}

void AgentsPage::refreshActivity() {
    m_activity->clear();
    for (const auto& entry : m_access.activity())
        new QTreeWidgetItem(m_activity, {QLocale().toString(entry.date.toLocalTime(), QLocale::ShortFormat),
                                         entry.client, entry.tool, entry.summary, entry.outcome});
}

void AgentsPage::refreshServer() {
    const AgentServer& server = AgentServer::shared();
    if (server.lastError())
        m_server->setText(*server.lastError());
    else if (!server.listening())
        m_server->setText(tr("The agent server is not running."));
    else
        m_server->setText(tr("Ready for agents · %n connected", nullptr, int(server.sessions().size())));
}

} // namespace ui
