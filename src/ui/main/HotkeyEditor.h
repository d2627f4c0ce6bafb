#pragma once

#include <QWidget>

class HotkeyRegistry;
class QLabel;
class QToolButton;

namespace ui {

class ShortcutRecorder;

// One global hotkey on the settings page: its keys, recorded from the keyboard and in
// force at once, a button back to the default, and what stands in its way (another of
// our hotkeys has the keys, another program holds them). Where the desktop lets no program
// bind keys, it also shows what to bind in the desktop's own keyboard settings.
class HotkeyEditor : public QWidget {
    Q_OBJECT
public:
    HotkeyEditor(HotkeyRegistry& registry, const QString& name, QWidget* parent = nullptr);

    // Shows the keys and problem the hotkey has now.
    void refresh();

signals:
    void changed(const QString& key);

private:
    void apply(const QString& keys);

    HotkeyRegistry& m_registry;
    QString m_name;
    ShortcutRecorder* m_recorder;
    QToolButton* m_reset;
    QLabel* m_problem;
    QLabel* m_desktopBinding;
};

} // namespace ui
