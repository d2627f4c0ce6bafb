#pragma once

#include <QPushButton>

namespace ui {

// A button that shows a key combination and, once clicked, records the next one pressed.
// While recording it holds the whole keyboard, so keys that are global hotkeys (Print)
// reach it too. Esc cancels; Backspace records "none".
class ShortcutRecorder : public QPushButton {
    Q_OBJECT
public:
    explicit ShortcutRecorder(QWidget* parent = nullptr);

    // In QKeySequence's portable text; empty for none.
    void setKeys(const QString& keys);
    QString keys() const { return m_keys; }
    bool recording() const { return m_recording; }

signals:
    // A combination was pressed (empty for Backspace).
    void recorded(const QString& keys);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    bool event(QEvent* event) override;

private:
    void start();
    void stop();
    void showKeys(const QString& text);

    QString m_keys;
    bool m_recording = false;
};

} // namespace ui
