#pragma once

#include <QStyledItemDelegate>

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
};

} // namespace ui
