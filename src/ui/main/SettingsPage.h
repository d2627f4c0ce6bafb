#pragma once

#include <QHash>
#include <QWidget>

class QLabel;
class QLineEdit;
class QScrollArea;

namespace SettingsCatalog {
struct Setting;
}

namespace ui {

// Every preference with a control that writes it at once, grouped in sections, and a
// search field that narrows the page to the settings whose words match.
class SettingsPage : public QWidget {
    Q_OBJECT
public:
    explicit SettingsPage(QWidget* parent = nullptr);

    void focusSearch();
    // Shows only the settings matching `query`, as typing it in the search field does.
    void search(const QString& query);
    // Re-reads every control's value, after the file changed elsewhere.
    void reload();
    // Clears the search and scrolls the section's title to the top.
    void showSection(const QString& section);

signals:
    void changed(const QString& key);

private:
    QWidget* makeRow(const SettingsCatalog::Setting& setting);
    QWidget* makeControl(const SettingsCatalog::Setting& setting);
    // A button that adds our hotkeys to GNOME's own custom shortcuts.
    QWidget* makeGnomeShortcutsRow();
    void write(const QString& key, const QVariant& value);

    QLineEdit* m_search;
    QLabel* m_nothing;
    QScrollArea* m_scroll;
    QHash<QString, QWidget*> m_rows;     // by key
    QHash<QString, QLabel*> m_headers;   // by section
    QWidget* m_gnomeRow = nullptr;       // GNOME's shortcuts button, shown with the hotkeys
    QHash<QString, QWidget*> m_controls; // by key
};

} // namespace ui
