#pragma once

#include "capture/SelectionTypes.h"

#include <QFont>
#include <QList>
#include <QRectF>

class QPainter;

namespace ui {

// The row of buttons under a selection: one icon and label per action, in the order
// given. Lays itself out in the display's points; the overlay paints it and asks it which
// button is under the pointer.
class SelectionActionBar {
public:
    explicit SelectionActionBar(const QList<SelectionAction>& actions = {});

    static QString label(SelectionAction action);

    bool isEmpty() const { return m_actions.isEmpty(); }
    // Under the selection, else above it, else inside its bottom edge; always on the display.
    void place(const QRectF& selection, const QRectF& bounds);
    QRectF rect() const { return m_rect; }
    // Whether place() put the bar above the selection.
    bool isAbove() const { return m_above; }

    // The index of the button at a point; -1 for none.
    int buttonAt(QPointF point) const;
    SelectionAction action(int index) const { return m_actions.at(index); }

    void paint(QPainter& painter, int hovered, int pressed) const;

private:
    QRectF buttonRect(int index) const;

    QList<SelectionAction> m_actions;
    QList<double> m_widths; // of each button
    QFont m_font;
    QRectF m_rect;
    bool m_above = false;
};

} // namespace ui
