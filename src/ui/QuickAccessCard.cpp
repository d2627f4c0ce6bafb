#include "ui/QuickAccessCard.h"

#include "app/Prefs.h"
#include "app/QuickActions.h"

#include <QApplication>
#include <QDrag>
#include <QElapsedTimer>
#include <QEnterEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QUrl>

namespace ui {

namespace {

constexpr double cornerRadius = 10;
constexpr double closeDiameter = 20;
constexpr int fadeInMilliseconds = 180;
constexpr int fadeOutMilliseconds = 140;

qint64 clock() {
    static QElapsedTimer timer;
    if (!timer.isValid()) timer.start();
    return timer.elapsed();
}

QFont labelFont(const QFont& base) {
    QFont font = base;
    font.setPixelSize(12);
    font.setWeight(QFont::DemiBold);
    return font;
}

} // namespace

QuickAccessCard::QuickAccessCard(const QString& file, const QImage& image, bool canEdit, QWidget* parent)
    : QWidget(parent), m_file(file), m_image(image), m_canEdit(canEdit),
      m_bodySize(FloatingLayout::card::size(image.size(), Prefs::qaoSize())),
      m_dismissal(Prefs::integer(QStringLiteral("qaoAutoDismiss")), clock()) {
    resize((m_bodySize + QSizeF(overhang, overhang)).toSize());
    setMouseTracking(true);
    setCursor(Qt::PointingHandCursor);

    m_dismissTimer.setSingleShot(true);
    connect(&m_dismissTimer, &QTimer::timeout, this, [this] {
        // Never while the pointer is over the card or it is being dragged out.
        if (m_hovered || m_dragging) return;
        dismiss();
    });
    rearmDismissal();

    m_fade.setStartValue(0.0);
    m_fade.setEndValue(1.0);
    m_fade.setDuration(fadeInMilliseconds);
    m_fade.setEasingCurve(QEasingCurve::OutCubic);
    connect(&m_fade, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        m_appearance = value.toDouble();
        update();
        emit looksChanged();
    });
    connect(&m_fade, &QVariantAnimation::finished, this, [this] {
        if (m_leaving) emit closeRequested();
    });
    m_fade.start();
}

QRectF QuickAccessCard::bodyRect() const {
    return {QPointF(overhang, overhang), m_bodySize};
}

void QuickAccessCard::dismiss() {
    if (m_leaving) return;
    m_leaving = true;
    m_dismissTimer.stop();
    m_fade.stop();
    m_fade.setStartValue(m_appearance);
    m_fade.setEndValue(0.0);
    m_fade.setDuration(fadeOutMilliseconds);
    m_fade.setEasingCurve(QEasingCurve::InCubic);
    m_fade.start();
}

QList<QuickAccessCard::Button> QuickAccessCard::buttons() const {
    QList<Button> list{{Action::copy, QStringLiteral("Copy"), {}},
                       {Action::save, QStringLiteral("Save"), {}}};
    if (m_canEdit) list.append({Action::edit, QStringLiteral("Edit"), {}});
    list.append({Action::pin, QStringLiteral("Pin"), {}});
    const auto rects = FloatingLayout::card::buttonRects(m_bodySize, static_cast<int>(list.size()));
    for (qsizetype i = 0; i < list.size(); ++i)
        list[i].rect = rects[i].translated(bodyRect().topLeft());
    return list;
}

QRectF QuickAccessCard::closeButtonRect() const {
    QRectF rect(0, 0, closeDiameter, closeDiameter);
    rect.moveCenter(bodyRect().topLeft() + QPointF(3, 3));
    return rect;
}

QuickAccessCard::Action QuickAccessCard::actionAt(const QPointF& position) const {
    if (!m_hovered) return Action::none;
    if (closeButtonRect().adjusted(-2, -2, 2, 2).contains(position)) return Action::close;
    for (const Button& button : buttons())
        if (button.rect.contains(position)) return button.action;
    return Action::none;
}

const QImage& QuickAccessCard::thumbnail() {
    const double ratio = devicePixelRatioF();
    const QSize pixels = (m_bodySize * ratio).toSize();
    if (m_thumbnail.size() == pixels) return m_thumbnail;
    // The image fills the card, cut evenly at the sides that do not fit.
    const QImage filled = m_image.scaled(pixels, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    QImage rounded(pixels, QImage::Format_ARGB32_Premultiplied);
    rounded.fill(Qt::transparent);
    QPainter painter(&rounded);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath shape;
    shape.addRoundedRect(QRectF(rounded.rect()), cornerRadius * ratio, cornerRadius * ratio);
    painter.fillPath(shape, QColor(0x1E, 0x1E, 0x1E)); // under transparent captures
    // Only where the rounded shape is, keeping its antialiased edge.
    painter.setCompositionMode(QPainter::CompositionMode_SourceAtop);
    painter.drawImage(
        QPointF((pixels.width() - filled.width()) / 2.0, (pixels.height() - filled.height()) / 2.0), filled);
    painter.end();
    m_thumbnail = rounded;
    return m_thumbnail;
}

void QuickAccessCard::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setOpacity(m_appearance);
    const QRectF body = bodyRect();
    const QImage& picture = thumbnail();
    painter.drawImage(body, picture, QRectF(picture.rect()));

    QPainterPath outline;
    outline.addRoundedRect(body.adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius - 0.5, cornerRadius - 0.5);
    if (m_hovered) painter.fillPath(outline, QColor(0, 0, 0, 96));
    painter.setPen(QPen(QColor(255, 255, 255, 235), 1));
    painter.drawPath(outline);
    if (!m_hovered) return;

    const QFont font = labelFont(this->font());
    for (const Button& button : buttons())
        chrome::paintPill(painter, button.rect, button.label, font, button.action == m_hoveredAction);

    const QRectF close = closeButtonRect();
    painter.setPen(QPen(QColor(255, 255, 255, 220), 1));
    painter.setBrush(m_hoveredAction == Action::close ? chrome::accent : chrome::pillFill);
    painter.drawEllipse(close.adjusted(0.5, 0.5, -0.5, -0.5));
    const double arm = 3.5;
    const QPointF centre = close.center();
    painter.setPen(QPen(Qt::white, 1.6, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(centre + QPointF(-arm, -arm), centre + QPointF(arm, arm));
    painter.drawLine(centre + QPointF(-arm, arm), centre + QPointF(arm, -arm));
}

void QuickAccessCard::enterEvent(QEnterEvent* event) {
    m_hovered = true;
    m_hoveredAction = actionAt(event->position());
    m_dismissal.setHovered(true, clock());
    rearmDismissal();
    update();
    emit looksChanged();
}

void QuickAccessCard::leaveEvent(QEvent*) {
    m_hovered = false;
    m_hoveredAction = Action::none;
    m_dismissal.setHovered(false, clock());
    rearmDismissal();
    update();
    emit looksChanged();
}

void QuickAccessCard::rearmDismissal() {
    if (const auto deadline = m_dismissal.deadline())
        m_dismissTimer.start(static_cast<int>(std::max<qint64>(0, *deadline - clock())));
    else
        m_dismissTimer.stop();
}

void QuickAccessCard::mousePressEvent(QMouseEvent* event) {
    emit pressed();
    if (event->button() != Qt::LeftButton) return;
    m_pressedAction = actionAt(event->position());
    m_pressPosition = event->position();
}

void QuickAccessCard::mouseMoveEvent(QMouseEvent* event) {
    const Action hovered = actionAt(event->position());
    if (hovered != m_hoveredAction) {
        m_hoveredAction = hovered;
        update();
        emit looksChanged();
    }
    if (m_pressPosition && m_pressedAction == Action::none && (event->buttons() & Qt::LeftButton) &&
        (event->position() - *m_pressPosition).manhattanLength() >= QApplication::startDragDistance()) {
        m_pressPosition.reset();
        startDrag();
    }
}

void QuickAccessCard::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    const Action pressed = m_pressedAction;
    m_pressedAction = Action::none;
    m_pressPosition.reset();
    if (pressed != Action::none && pressed == actionAt(event->position())) trigger(pressed);
}

void QuickAccessCard::trigger(Action action) {
    switch (action) {
    case Action::copy:
        QuickActions::copy(m_file, m_image);
        break;
    case Action::save:
        QuickActions::save(m_file);
        break;
    case Action::edit:
        emit editRequested();
        break;
    case Action::pin:
        emit pinRequested();
        break;
    case Action::close:
        dismiss();
        break;
    case Action::none:
        break;
    }
}

void QuickAccessCard::startDrag() {
    auto* data = new QMimeData;
    data->setUrls({QUrl::fromLocalFile(m_file)});
    data->setImageData(m_image);
    auto* drag = new QDrag(this);
    drag->setMimeData(data);
    // A smaller copy of the card follows the pointer.
    const QImage& picture = thumbnail();
    QPixmap preview = QPixmap::fromImage(
        picture.scaled(picture.size() * 0.6, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    preview.setDevicePixelRatio(devicePixelRatioF());
    drag->setPixmap(preview);
    drag->setHotSpot(QPoint(qRound(preview.deviceIndependentSize().width() / 2),
                            qRound(preview.deviceIndependentSize().height() / 2)));
    const QPointer<QuickAccessCard> self(this);
    m_dragging = true;
    drag->exec(Qt::CopyAction);
    if (!self) return;
    m_dragging = false;
    rearmDismissal();
}

} // namespace ui
