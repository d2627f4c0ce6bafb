#pragma once

#include "ui/FloatingChrome.h"

#include <QImage>
#include <QList>
#include <QPointF>
#include <QPointer>
#include <QString>
#include <QWidget>

#include <functional>

class QScreen;

namespace ui {

class QuickAccessCard;

// After a capture, a card with its thumbnail in the bottom-right corner of the display
// under the pointer. Newer cards stack above older ones; at most four show.
namespace QuickAccess {

void show(const QString& file, const QImage& image);
// Offers an Edit button on the cards that opens the file with this; none by default.
void setEditorOpener(std::function<void(const QString& file)> opener);

} // namespace QuickAccess

// The window holding one display's cards: it spans their column and paints their shadows
// over the desktop behind it; its shape follows the cards.
class QuickAccessOverlay : public QWidget {
    Q_OBJECT
public:
    explicit QuickAccessOverlay(QScreen* screen);

    // Shows these cards (children of this window) with their thumbnails' top-left corners
    // at these screen positions; hides the window when there are none.
    void arrange(const QList<std::pair<QuickAccessCard*, QPointF>>& cards);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void cardChanged();
    void bringToFront();

    chrome::Backdrop m_behind{this};
    QList<QPointer<QuickAccessCard>> m_cards;
};

} // namespace ui
