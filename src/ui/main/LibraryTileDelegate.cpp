#include "ui/main/LibraryTileDelegate.h"

#include "ui/main/LibraryModel.h"

#include <QFileInfo>
#include <QListView>
#include <QPainter>
#include <QPainterPath>

namespace ui {
namespace {

constexpr int margin = 8;
constexpr int pictureHeight = 140;

void drawPin(QPainter& painter, const QPointF& center) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0x3B, 0x82, 0xF6));
    painter.drawEllipse(center, 11, 11);
    // A push pin: head, body and needle.
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(QRectF(center.x() - 4, center.y() - 7, 8, 6), 2, 2);
    painter.drawRect(QRectF(center.x() - 6, center.y() - 1.5, 12, 2));
    painter.setPen(QPen(Qt::white, 1.5));
    painter.drawLine(center + QPointF(0, 0.5), center + QPointF(0, 7));
}

} // namespace

QSize LibraryTileDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const {
    // A grid stretched to the view's width has tiles as wide as its cells.
    if (const auto* view = qobject_cast<const QListView*>(option.widget); view && view->gridSize().isValid())
        return view->gridSize();
    return tileSize;
}

int LibraryTileDelegate::stretchGrid(QListView& view) {
    const int width = view.viewport()->width();
    const int columns = std::max(1, width / tileSize.width());
    const QSize cell(std::max(tileSize.width(), width / columns), tileSize.height());
    if (view.gridSize() != cell) view.setGridSize(cell);
    return columns;
}

void LibraryTileDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                                const QModelIndex& index) const {
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QRectF tile = QRectF(option.rect).adjusted(4, 4, -4, -4);
    const QPalette& palette = option.palette;
    const bool selected = option.state & QStyle::State_Selected;
    if (selected || option.state & QStyle::State_MouseOver) {
        QColor fill = palette.color(QPalette::Highlight);
        fill.setAlphaF(selected ? 0.28 : 0.10);
        painter->setPen(selected ? QPen(palette.color(QPalette::Highlight), 1.5) : Qt::NoPen);
        painter->setBrush(fill);
        painter->drawRoundedRect(tile, 10, 10);
    }

    // The picture, fitted and centred, on a soft well.
    const QRectF well(tile.left() + margin, tile.top() + margin, tile.width() - 2 * margin, pictureHeight);
    painter->setPen(Qt::NoPen);
    painter->setBrush(palette.color(QPalette::AlternateBase));
    painter->drawRoundedRect(well, 6, 6);
    const QImage thumbnail = index.data(LibraryModel::ThumbnailRole).value<QImage>();
    if (!thumbnail.isNull()) {
        const QSizeF fitted = QSizeF(thumbnail.size()).scaled(well.size(), Qt::KeepAspectRatio);
        const QRectF target(well.center() - QPointF(fitted.width() / 2, fitted.height() / 2), fitted);
        QPainterPath clip;
        clip.addRoundedRect(target, 4, 4);
        painter->setClipPath(clip);
        painter->setRenderHint(QPainter::SmoothPixmapTransform);
        painter->drawImage(target, thumbnail);
        painter->setClipping(false);
    } else {
        painter->setPen(palette.color(QPalette::PlaceholderText));
        painter->drawText(well, Qt::AlignCenter,
                          QFileInfo(index.data(LibraryModel::NameRole).toString()).suffix().toUpper());
    }
    if (index.data(LibraryModel::KeptRole).toBool()) drawPin(*painter, well.topRight() + QPointF(-16, 16));

    // Name, then the snippet while searching or else the date and size. Names differ at
    // their ends (the time of day), so they are cut at the end.
    const QRectF text(tile.left() + margin, well.bottom() + 6, tile.width() - 2 * margin,
                      tile.bottom() - well.bottom() - 8);
    QFont nameFont = option.font;
    nameFont.setWeight(QFont::DemiBold);
    painter->setFont(nameFont);
    painter->setPen(palette.color(QPalette::Text));
    const QFontMetrics nameMetrics(nameFont);
    painter->drawText(QRectF(text.left(), text.top(), text.width(), nameMetrics.height()), Qt::AlignLeft,
                      nameMetrics.elidedText(index.data(LibraryModel::NameRole).toString(), Qt::ElideRight,
                                             int(text.width())));
    const QString snippet = index.data(LibraryModel::SnippetRole).toString();
    QFont small = option.font;
    small.setPointSizeF(option.font.pointSizeF() * 0.9);
    painter->setFont(small);
    painter->setPen(palette.color(snippet.isEmpty() ? QPalette::PlaceholderText : QPalette::Text));
    const QRectF second(text.left(), text.top() + nameMetrics.height() + 2, text.width(),
                        text.height() - nameMetrics.height() - 2);
    const QString line = snippet.isEmpty() ? index.data(LibraryModel::DetailRole).toString()
                                           : QStringLiteral("“%1”").arg(snippet.simplified());
    painter->drawText(second, Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap,
                      QFontMetrics(small).elidedText(line, Qt::ElideRight, int(second.width() * 2 - 20)));
    painter->restore();
}

} // namespace ui
