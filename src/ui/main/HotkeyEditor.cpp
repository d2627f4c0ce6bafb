#include "ui/main/HotkeyEditor.h"

#include "app/HotkeyRegistry.h"
#include "platform/DesktopKeyBindings.h"
#include "platform/Platform.h"
#include "ui/ThemeIcons.h"
#include "ui/main/ShortcutRecorder.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>
#include <QVBoxLayout>

namespace ui {

HotkeyEditor::HotkeyEditor(HotkeyRegistry& registry, const QString& name, QWidget* parent)
    : QWidget(parent), m_registry(registry), m_name(name), m_recorder(new ShortcutRecorder(this)),
      m_reset(new QToolButton(this)), m_problem(new QLabel(this)), m_desktopBinding(new QLabel(this)) {
    m_recorder->setObjectName(QStringLiteral("recorder"));
    m_reset->setIcon(themeIcon(QStringLiteral("edit-undo"), QStyle::SP_DialogResetButton));
    m_reset->setToolTip(tr("Reset to Default"));
    m_reset->setAccessibleName(tr("Reset to Default"));
    m_reset->setAutoRaise(true);
    m_problem->setObjectName(QStringLiteral("problem"));
    m_problem->setWordWrap(true);
    m_problem->setMaximumWidth(260);
    QPalette warning = m_problem->palette();
    warning.setColor(QPalette::WindowText, QColor(0xC0, 0x39, 0x2B));
    m_problem->setPalette(warning);
    QFont small = m_problem->font();
    small.setPointSizeF(small.pointSizeF() * 0.9);
    m_problem->setFont(small);
    m_problem->hide();
    m_desktopBinding->setObjectName(QStringLiteral("desktopBinding"));
    m_desktopBinding->setWordWrap(true);
    m_desktopBinding->setMaximumWidth(360);
    m_desktopBinding->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_desktopBinding->setFont(small);
    m_desktopBinding->hide();
    setFocusProxy(m_recorder);

    auto* keys = new QHBoxLayout;
    keys->setContentsMargins(0, 0, 0, 0);
    keys->addWidget(m_recorder, 1);
    keys->addWidget(m_reset);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addLayout(keys);
    layout->addWidget(m_problem);
    layout->addWidget(m_desktopBinding);

    connect(m_recorder, &ShortcutRecorder::recorded, this, &HotkeyEditor::apply);
    connect(m_reset, &QToolButton::clicked, this, [this] { apply(m_registry.defaultKeys(m_name)); });
    connect(&m_registry, &HotkeyRegistry::changed, this, [this](const QString& changed) {
        if (changed == m_name) refresh();
    });
    refresh();
}

void HotkeyEditor::apply(const QString& keys) {
    const auto changed = m_registry.change(m_name, keys);
    refresh();
    if (!changed) {
        // The keys stay as they were; say why.
        m_problem->setText(changed.error().message);
        m_problem->show();
        return;
    }
    emit this->changed(m_name);
}

void HotkeyEditor::refresh() {
    const QString keys = m_registry.keys(m_name);
    m_recorder->setKeys(keys);
    m_reset->setEnabled(keys != m_registry.defaultKeys(m_name));
    const QString problem = m_registry.problem(m_name);
    m_problem->setText(problem);
    m_problem->setVisible(!problem.isEmpty());
    // No program binds keys here: the desktop's own settings run our command instead.
    const QString hint =
        platform::services().hotkeys
            ? QString()
            : DesktopKeyBindings::bindingHint(m_name, keys, DesktopKeyBindings::currentDesktop());
    m_desktopBinding->setText(hint);
    m_desktopBinding->setVisible(!hint.isEmpty());
}

} // namespace ui
