#include "ui/agents/AgentPromptPanel.h"

#include "ui/AppIcon.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>

#include <deque>

namespace ui {
namespace {

struct Pending {
    AgentAccess::Prompt prompt;
    std::function<void(AgentAccess::Answer)> answer;
    bool named = false; // whether the prompt said who asked; `prompt.askedBy` empties when it goes
};

std::deque<Pending>& queue() {
    static std::deque<Pending> pending;
    return pending;
}

bool askerGone(const Pending& pending) {
    return pending.named && pending.prompt.askedBy.isNull();
}

QPointer<AgentPromptPanel>& current() {
    static QPointer<AgentPromptPanel> panel;
    return panel;
}

QRect screenArea() {
    const QScreen* screen = QGuiApplication::primaryScreen();
    return screen ? screen->availableGeometry() : QRect(0, 0, 1280, 800);
}

} // namespace

void AgentPromptPanel::ask(const AgentAccess::Prompt& prompt,
                           std::function<void(AgentAccess::Answer)> answer) {
    queue().push_back({prompt, std::move(answer), !prompt.askedBy.isNull()});
    showNextIfIdle();
}

void AgentPromptPanel::showNextIfIdle() {
    if (current()) return;
    // Questions of clients that have gone meanwhile are answered without asking.
    while (!queue().empty() && askerGone(queue().front())) {
        auto answer = std::move(queue().front().answer);
        queue().pop_front();
        answer(AgentAccess::Answer::declined);
    }
    if (queue().empty()) return;
    Pending next = std::move(queue().front());
    queue().pop_front();
    auto* panel = new AgentPromptPanel(next.prompt, std::move(next.answer));
    if (next.prompt.askedBy)
        connect(next.prompt.askedBy, &QObject::destroyed, panel,
                [panel] { panel->finish(AgentAccess::Answer::declined); });
    current() = panel;
    panel->adjustSize();
    const QRect area = screenArea();
    panel->move(area.right() - panel->width() - 16, area.top() + 16);
    panel->show();
    panel->raise();
    panel->activateWindow();
}

AgentPromptPanel::AgentPromptPanel(const AgentAccess::Prompt& prompt,
                                   std::function<void(AgentAccess::Answer)> answer)
    : QWidget(nullptr, Qt::Window | Qt::WindowStaysOnTopHint), m_answer(std::move(answer)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QString::fromUtf8(windowTitle));
    setWindowIcon(appIcon());
    setFixedWidth(380);

    auto* icon = new QLabel(this);
    icon->setPixmap(appIcon().pixmap(20, 20));
    auto* header = new QLabel(QString::fromUtf8(windowTitle), this);
    header->setForegroundRole(QPalette::PlaceholderText);
    auto* top = new QHBoxLayout;
    top->addWidget(icon);
    top->addWidget(header, 1);

    auto* title = new QLabel(prompt.title, this);
    title->setWordWrap(true);
    QFont bold = title->font();
    bold.setWeight(QFont::DemiBold);
    bold.setPointSizeF(bold.pointSizeF() * 1.1);
    title->setFont(bold);
    auto* message = new QLabel(prompt.message, this);
    message->setWordWrap(true);
    message->setVisible(!prompt.message.isEmpty());

    auto* decline = new QPushButton(tr("Don't Allow"), this);
    auto* allow = new QPushButton(prompt.allowTitle, this);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(decline);
    if (prompt.alwaysTitle) {
        auto* always = new QPushButton(*prompt.alwaysTitle, this);
        buttons->addWidget(always);
        connect(always, &QPushButton::clicked, this, [this] { finish(AgentAccess::Answer::alwaysAllowed); });
    }
    buttons->addWidget(allow);
    connect(decline, &QPushButton::clicked, this, [this] { finish(AgentAccess::Answer::declined); });
    connect(allow, &QPushButton::clicked, this, [this] { finish(AgentAccess::Answer::allowedOnce); });

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(title);
    layout->addWidget(message);
    layout->addLayout(buttons);
}

void AgentPromptPanel::finish(AgentAccess::Answer answer) {
    if (m_answer) {
        auto callback = std::move(m_answer);
        m_answer = nullptr;
        callback(answer);
    }
    close();
}

void AgentPromptPanel::closeEvent(QCloseEvent* event) {
    if (m_answer) {
        auto callback = std::move(m_answer);
        m_answer = nullptr;
        callback(AgentAccess::Answer::declined);
    }
    event->accept();
    // The next request shows once this panel is gone.
    QTimer::singleShot(0, [] { showNextIfIdle(); });
}

void AgentPromptPanel::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        finish(AgentAccess::Answer::declined);
        return;
    }
    // Return answers with the main button, as in a dialog.
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        finish(AgentAccess::Answer::allowedOnce);
        return;
    }
    QWidget::keyPressEvent(event);
}

namespace AgentNotice {

void show(const QString& text) {
    auto* banner =
        new QLabel(text, nullptr, Qt::ToolTip | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    banner->setAttribute(Qt::WA_DeleteOnClose);
    banner->setAttribute(Qt::WA_ShowWithoutActivating);
    banner->setWindowTitle(QStringLiteral("Pictavia agent notice"));
    banner->setMargin(10);
    banner->setStyleSheet(QStringLiteral("QLabel { background: rgba(28, 28, 30, 235); color: white; "
                                         "border-radius: 8px; font-weight: 600; }"));
    banner->adjustSize();
    const QRect area = screenArea();
    banner->move(area.center().x() - banner->width() / 2, area.top() + 12);
    banner->show();
    QTimer::singleShot(3000, banner, &QWidget::close);
}

} // namespace AgentNotice

} // namespace ui
