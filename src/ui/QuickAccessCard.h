#pragma once

#include "app/FloatingLayout.h"
#include "ui/FloatingChrome.h"

#include <QImage>
#include <QString>
#include <QTimer>
#include <QVariantAnimation>
#include <QWidget>

#include <optional>

namespace ui {

// One capture in the quick-access stack: a rounded thumbnail that shows its actions while
// the pointer is over it and can be dragged out as a file. Lives inside a QuickAccessOverlay,
// which paints its shadow; the card's widget reaches `overhang` points beyond the
// thumbnail's top-left corner for the close button.
class QuickAccessCard : public QWidget {
    Q_OBJECT
public:
    static constexpr double overhang = 10;
    static constexpr chrome::ShadowStyle shadowStyle{6, 3, 0.55, 10};

    QuickAccessCard(const QString& file, const QImage& image, bool canEdit, QWidget* parent);

    // The thumbnail's size, and its rectangle in the card.
    QSizeF bodySize() const { return m_bodySize; }
    QRectF bodyRect() const;
    QRectF closeButtonRect() const;
    // 0 to 1 while the card fades in or out.
    double appearance() const { return m_appearance; }
    const QString& file() const { return m_file; }
    const QImage& image() const { return m_image; }
    // Fades out, then asks to be closed.
    void dismiss();

signals:
    void closeRequested();
    void pressed();
    void editRequested();
    void pinRequested();
    // Its fade or hover state changed.
    void looksChanged();

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    enum class Action { none, copy, save, edit, pin, close };
    struct Button {
        Action action;
        QString label;
        QRectF rect; // in the card
    };
    QList<Button> buttons() const;
    Action actionAt(const QPointF& position) const;
    void trigger(Action action);
    void startDrag();
    void rearmDismissal();
    const QImage& thumbnail();

    QString m_file;
    QImage m_image;
    bool m_canEdit;
    QSizeF m_bodySize;
    QImage m_thumbnail; // rounded, at the screen's pixel size
    bool m_hovered = false;
    bool m_dragging = false;
    bool m_leaving = false;
    Action m_hoveredAction = Action::none;
    Action m_pressedAction = Action::none;
    std::optional<QPointF> m_pressPosition;
    FloatingLayout::AutoDismiss m_dismissal;
    QTimer m_dismissTimer;
    QVariantAnimation m_fade;
    double m_appearance = 0;
};

} // namespace ui
