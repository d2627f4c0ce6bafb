#include "ui/main/SettingsPage.h"

#include "app/GnomeKeybindings.h"
#include "app/HotkeyRegistry.h"
#include "app/Prefs.h"
#include "app/PrefsFileWatcher.h"
#include "app/SettingsCatalog.h"
#include "platform/DesktopKeyBindings.h"
#include "platform/Platform.h"
#include "ui/main/HotkeyEditor.h"
#include "ui/main/SectionTitle.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QVBoxLayout>
#include <QtConcurrent>

#include <cmath>

namespace ui {

using SettingsCatalog::Control;
using SettingsCatalog::Setting;

namespace {
constexpr char hotkeySection[] = "Keyboard Shortcuts";
} // namespace

SettingsPage::SettingsPage(QWidget* parent)
    : QWidget(parent), m_search(new QLineEdit(this)), m_nothing(new QLabel(this)),
      m_scroll(new QScrollArea(this)) {
    m_search->setPlaceholderText(tr("Search settings"));
    m_search->setClearButtonEnabled(true);
    m_nothing->setForegroundRole(QPalette::PlaceholderText);
    m_nothing->setAlignment(Qt::AlignCenter);
    m_nothing->hide();

    auto* content = new QWidget;
    auto* rows = new QVBoxLayout(content);
    rows->setSpacing(2);
    for (const QString& section : SettingsCatalog::sections()) {
        QLabel* header = sectionTitle(section, content);
        rows->addWidget(header);
        m_headers.insert(section, header);
        for (const Setting& setting : SettingsCatalog::settings())
            if (setting.section == section) rows->addWidget(makeRow(setting));
        if (section == QLatin1String(hotkeySection) && !platform::services().hotkeys &&
            DesktopKeyBindings::currentDesktop() == DesktopKeyBindings::Desktop::gnome)
            rows->addWidget(m_gnomeRow = makeGnomeShortcutsRow());
    }
    rows->addStretch(1);
    m_scroll->setWidget(content);
    m_scroll->setWidgetResizable(true);
    m_scroll->setFrameShape(QFrame::NoFrame);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_search);
    layout->addWidget(m_nothing);
    layout->addWidget(m_scroll, 1);
    connect(m_search, &QLineEdit::textChanged, this, &SettingsPage::search);
    // Return takes the keyboard to the first setting found.
    connect(m_search, &QLineEdit::returnPressed, this, [this] {
        for (const Setting& setting : SettingsCatalog::settings())
            if (m_rows.value(setting.key)->isVisible()) {
                QWidget* control = m_controls.value(setting.key);
                if (auto* edit = control->findChild<QLineEdit*>(QStringLiteral("value"))) control = edit;
                control->setFocus(Qt::TabFocusReason);
                return;
            }
    });
    // The file edited by hand while the page is open shows here too.
    connect(new PrefsFileWatcher(this), &PrefsFileWatcher::changed, this, &SettingsPage::reload);
    reload();
}

void SettingsPage::focusSearch() {
    m_search->setFocus();
    m_search->selectAll();
}

QWidget* SettingsPage::makeGnomeShortcutsRow() {
    auto* row = new QWidget;
    auto* button = new QPushButton(tr("Add to GNOME's Keyboard Shortcuts"), row);
    button->setObjectName(QStringLiteral("addGnomeShortcuts"));
    auto* message = new QLabel(row);
    message->setWordWrap(true);
    message->hide();
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(button, 0, Qt::AlignLeft);
    layout->addWidget(message, 1);
    // gsettings runs off the window's thread; the user's own custom shortcuts stay.
    connect(button, &QPushButton::clicked, this, [this, button, message] {
        HotkeyRegistry& registry = HotkeyRegistry::shared();
        const QList<GnomeKeybindings::Entry> entries = GnomeKeybindings::entriesFor(
            registry.bindings(), [&registry](const QString& name) { return registry.keys(name); });
        button->setEnabled(false);
        QtConcurrent::run([entries] {
            return GnomeKeybindings::apply(entries);
        }).then(this, [button, message](const Result<bool>& added) {
            message->setText(added ? tr("Added: GNOME's Settings, Keyboard, Custom Shortcuts lists them.")
                                   : added.error().message);
            message->show();
            button->setEnabled(true);
        });
    });
    return row;
}

QWidget* SettingsPage::makeRow(const Setting& setting) {
    auto* row = new QWidget;
    auto* title = new QLabel(setting.title, row);
    auto* detail = new QLabel(setting.detail, row);
    detail->setForegroundRole(QPalette::PlaceholderText);
    detail->setWordWrap(true);
    QFont small = detail->font();
    small.setPointSizeF(small.pointSizeF() * 0.9);
    detail->setFont(small);
    auto* words = new QVBoxLayout;
    words->setSpacing(0);
    words->addWidget(title);
    words->addWidget(detail);
    // Title and explanation stay together when the control beside them is taller.
    words->addStretch(1);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addLayout(words, 1);
    QWidget* control = makeControl(setting);
    control->setParent(row);
    // A hotkey's warnings grow downwards from its keys, which stay level with the title.
    layout->addWidget(control, 0, setting.control == Control::Hotkey ? Qt::AlignTop : Qt::AlignVCenter);
    title->setBuddy(control);
    row->setToolTip(setting.key);
    m_rows.insert(setting.key, row);
    m_controls.insert(setting.key, control);
    return row;
}

QWidget* SettingsPage::makeControl(const Setting& setting) {
    const QString key = setting.key;
    switch (setting.control) {
    case Control::Toggle: {
        auto* box = new QCheckBox;
        box->setAccessibleName(setting.title);
        connect(box, &QCheckBox::toggled, this, [this, key](bool on) { write(key, on); });
        return box;
    }
    case Control::Number:
    case Control::Percent: {
        auto* spin = new QSpinBox;
        spin->setRange(setting.minimum, setting.maximum);
        if (!setting.unit.isEmpty())
            spin->setSuffix(setting.unit == u"%" ? setting.unit : u' ' + setting.unit);
        spin->setAccessibleName(setting.title);
        const bool percent = setting.control == Control::Percent;
        connect(spin, &QSpinBox::valueChanged, this, [this, key, percent](int value) {
            write(key, percent ? QVariant(value / 100.0) : QVariant(value));
        });
        return spin;
    }
    case Control::Choice: {
        auto* combo = new QComboBox;
        for (const SettingsCatalog::Choice& choice : setting.choices)
            combo->addItem(choice.label, choice.value);
        combo->setAccessibleName(setting.title);
        connect(combo, &QComboBox::activated, this,
                [this, key, combo](int index) { write(key, combo->itemData(index).toString()); });
        return combo;
    }
    case Control::Hotkey: {
        auto* editor = new HotkeyEditor(HotkeyRegistry::shared(), key.section(u'/', 1), nullptr);
        editor->setAccessibleName(setting.title);
        connect(editor, &HotkeyEditor::changed, this, [this, key] { emit changed(key); });
        return editor;
    }
    case Control::Text:
    case Control::Folder:
    case Control::File: {
        auto* holder = new QWidget;
        auto* layout = new QHBoxLayout(holder);
        layout->setContentsMargins(0, 0, 0, 0);
        auto* edit = new QLineEdit(holder);
        edit->setObjectName(QStringLiteral("value"));
        edit->setMinimumWidth(260);
        edit->setAccessibleName(setting.title);
        layout->addWidget(edit);
        connect(edit, &QLineEdit::editingFinished, this, [this, key, edit] { write(key, edit->text()); });
        if (setting.control != Control::Text) {
            auto* choose = new QPushButton(tr("Choose…"), holder);
            layout->addWidget(choose);
            const bool folder = setting.control == Control::Folder;
            connect(choose, &QPushButton::clicked, this, [this, key, edit, folder] {
                const QString start = folder ? Prefs::saveDirectory() : edit->text();
                const QString chosen =
                    folder ? QFileDialog::getExistingDirectory(this, tr("Choose a Folder"), start)
                           : QFileDialog::getOpenFileName(this, tr("Choose a File"), start);
                if (chosen.isEmpty()) return;
                edit->setText(chosen);
                write(key, chosen);
            });
        }
        return holder;
    }
    }
    return new QWidget;
}

void SettingsPage::write(const QString& key, const QVariant& value) {
    if (Prefs::value(key) == value) return;
    Prefs::setValue(key, value);
    emit changed(key);
}

void SettingsPage::reload() {
    for (const Setting& setting : SettingsCatalog::settings()) {
        QWidget* control = m_controls.value(setting.key);
        const QSignalBlocker quiet(control);
        const QVariant value = Prefs::value(setting.key);
        if (auto* hotkey = qobject_cast<HotkeyEditor*>(control)) {
            hotkey->refresh();
        } else if (auto* box = qobject_cast<QCheckBox*>(control)) {
            box->setChecked(value.toBool());
        } else if (auto* spin = qobject_cast<QSpinBox*>(control)) {
            spin->setValue(setting.control == Control::Percent ? int(std::lround(value.toDouble() * 100))
                                                               : value.toInt());
        } else if (auto* combo = qobject_cast<QComboBox*>(control)) {
            // A value written by hand that the list lacks is shown, not replaced.
            int index = combo->findData(value.toString());
            if (index < 0) {
                combo->addItem(value.toString(), value.toString());
                index = combo->count() - 1;
            }
            combo->setCurrentIndex(index);
        } else if (auto* edit = control->findChild<QLineEdit*>(QStringLiteral("value"))) {
            // Text being typed is not replaced under the cursor.
            if (!edit->hasFocus()) edit->setText(value.toString());
        }
    }
}

void SettingsPage::showSection(const QString& section) {
    search(QString());
    QLabel* header = m_headers.value(section);
    if (!header) return;
    // Laid out first, so that a page shown a moment ago has its positions.
    m_scroll->widget()->adjustSize();
    m_scroll->verticalScrollBar()->setValue(header->y());
}

void SettingsPage::search(const QString& query) {
    if (m_search->text() != query) m_search->setText(query);
    QHash<QString, bool> sectionShown;
    for (const Setting& setting : SettingsCatalog::settings()) {
        const bool shown = SettingsCatalog::matches(setting, query);
        m_rows.value(setting.key)->setVisible(shown);
        sectionShown[setting.section] |= shown;
    }
    if (m_gnomeRow) m_gnomeRow->setVisible(sectionShown.value(QLatin1String(hotkeySection)));
    bool any = false;
    for (auto it = m_headers.begin(); it != m_headers.end(); ++it) {
        it.value()->setVisible(sectionShown.value(it.key()));
        any |= sectionShown.value(it.key());
    }
    m_nothing->setText(tr("No setting matches “%1”.").arg(query.trimmed()));
    m_nothing->setVisible(!any);
}

} // namespace ui
