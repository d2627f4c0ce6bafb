#include "ui/editor/InlineTextEditor.h"

#include "ui/OverlayStyle.h"

#include <QFocusEvent>
#include <QFontMetricsF>
#include <QKeyEvent>

#include <cmath>

namespace ui::editor {

InlineTextEditor::InlineTextEditor(const QFont& font, const QColor& color, QWidget* parent)
    : QLineEdit(parent) {
    setFont(font);
    setFrame(false);
    setTextMargins(0, 0, 0, 0);
    setAttribute(Qt::WA_MacShowFocusRect, false);
    setStyleSheet(QStringLiteral("QLineEdit { background: rgba(255, 255, 255, 40); color: %1;"
                                 " border: 1px dashed %2; padding: 0px; }")
                      .arg(color.name(QColor::HexArgb), overlaystyle::accent.name()));
    setPlaceholderText(tr("Type here"));
    connect(this, &QLineEdit::textChanged, this, &InlineTextEditor::fitToText);
    fitToText();
}

void InlineTextEditor::fitToText() {
    const QFontMetricsF metrics(font());
    const QString shown = text().isEmpty() ? placeholderText() : text();
    // Room for the next character, so that typing never scrolls the field.
    const double width = metrics.horizontalAdvance(shown + QStringLiteral("MM"));
    resize(int(std::ceil(width)) + 4, int(std::ceil(metrics.height())) + 4);
}

void InlineTextEditor::keyPressEvent(QKeyEvent* event) {
    // Escape ends typing as Return does: what was typed stays. Undo takes it back.
    if (event->key() == Qt::Key_Escape || event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        finish();
        return;
    }
    QLineEdit::keyPressEvent(event);
}

void InlineTextEditor::focusOutEvent(QFocusEvent* event) {
    QLineEdit::focusOutEvent(event);
    // Menus and tooltips take focus for a moment without ending the edit.
    if (event->reason() != Qt::PopupFocusReason) finish();
}

void InlineTextEditor::finish() {
    if (m_finished) return;
    m_finished = true;
    emit committed(text());
    deleteLater();
}

} // namespace ui::editor
