#pragma once

#include <QLineEdit>

namespace ui::editor {

// The field a text annotation is typed into, over the canvas where it will appear.
// Return, Escape or leaving the field commits what was typed, once.
class InlineTextEditor : public QLineEdit {
    Q_OBJECT
public:
    InlineTextEditor(const QFont& font, const QColor& color, QWidget* parent);

signals:
    void committed(const QString& text);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    void finish();
    void fitToText();

    bool m_finished = false;
};

} // namespace ui::editor
