#pragma once

#include <QStyledItemDelegate>

class QListView;

namespace ui {

// A library item as a tile: the thumbnail, the name, and under it the search snippet or
// the date and size; a pin on kept captures.
class LibraryTileDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    static constexpr QSize tileSize{232, 214};

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

    // Widens the view's grid cells so that whole tiles fill its width with no gutter at the
    // right; returns how many fit in a row. Call when the view's width changes.
    static int stretchGrid(QListView& view);
};

} // namespace ui
