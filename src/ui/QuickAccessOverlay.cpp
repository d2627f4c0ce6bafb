#include "ui/QuickAccessOverlay.h"

#include "app/FloatingLayout.h"
#include "capture/ScreenCaptureService.h"
#include "ui/PinWindow.h"
#include "ui/QuickAccessCard.h"
#include "ui/RecordedArea.h"
#include "ui/WindowPlacement.h"

#include <QCursor>
#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>

#include <algorithm>

namespace ui {

namespace {

struct Entry {
    QPointer<QuickAccessCard> card;
    QPointer<QScreen> screen;
};

struct State {
    QList<Entry> cards; // oldest first
    QList<std::pair<QPointer<QScreen>, QPointer<QuickAccessOverlay>>> overlays;
    std::function<void(const QString&)> opener;
};

State& state() {
    static State s;
    return s;
}

// How far a card's window area reaches beyond its thumbnail: the shadow, and the close
// button at the top-left corner.
QMarginsF cardReach() {
    const QMarginsF shadow = chrome::shadowReach(QuickAccessCard::shadowStyle);
    return {std::max(shadow.left(), QuickAccessCard::overhang),
            std::max(shadow.top(), QuickAccessCard::overhang), shadow.right(), shadow.bottom()};
}

QScreen* screenUnderPointer() {
    if (const auto display = ScreenCaptureService::shared().displayUnderPointer())
        if (QScreen* screen = chrome::screenFor(*display)) return screen;
    if (QScreen* screen = QGuiApplication::screenAt(QCursor::pos())) return screen;
    return QGuiApplication::primaryScreen();
}

QuickAccessOverlay* overlayFor(QScreen* screen) {
    auto& overlays = state().overlays;
    overlays.removeIf([](const auto& entry) {
        if (!entry.first && entry.second) entry.second->deleteLater(); // its display is gone
        return !entry.first || !entry.second;
    });
    for (const auto& [s, overlay] : std::as_const(overlays))
        if (s == screen) return overlay;
    auto* overlay = new QuickAccessOverlay(screen);
    overlays.append({screen, overlay});
    return overlay;
}

void arrangeAll() {
    auto& cards = state().cards;
    cards.removeIf([](const Entry& entry) {
        if (entry.card && !entry.screen) entry.card->deleteLater();
        return !entry.card || !entry.screen;
    });
    QList<FloatingLayout::card::Placed> placed;
    for (const Entry& entry : std::as_const(cards))
        placed.append({QRectF(entry.screen->availableGeometry()), entry.card->bodySize()});
    const auto stack = FloatingLayout::card::stack(placed);
    for (int i = 0; i < stack.dropped; ++i) {
        cards[i].card->hide();
        cards[i].card->deleteLater();
    }
    cards.remove(0, stack.dropped);

    for (const auto& [screen, overlay] : std::as_const(state().overlays)) {
        if (!screen || !overlay) continue;
        QList<std::pair<QuickAccessCard*, QPointF>> here;
        for (qsizetype i = 0; i < cards.size(); ++i)
            if (cards[i].screen == screen) here.append({cards[i].card, stack.positions[i]});
        overlay->arrange(here);
    }
}

void remove(QuickAccessCard* card) {
    state().cards.removeIf([card](const Entry& entry) { return entry.card == card; });
    card->hide();
    card->deleteLater();
    arrangeAll();
}

void pin(QuickAccessCard* card) {
    QScreen* screen = card->screen();
    const auto display = chrome::displayFor(screen);
    const double scale = display ? display->scale : (screen ? screen->devicePixelRatio() : 1.0);
    const QRect area = display ? display->geometry : chrome::rootRect(screen, screen->geometry());
    // A large capture starts smaller than its display, so the desktop stays in view.
    PinWindow* pinned = PinWindow::show(card->image(), scale, area);
    const QSizeF points = QSizeF(card->image().size()) / scale;
    const QSizeF room = QSizeF(area.size()) / scale * 0.7;
    pinned->zoomTo(FloatingLayout::pin::fitting(points, room));
}

} // namespace

namespace QuickAccess {

void show(const QString& file, const QImage& image) {
    if (image.isNull()) return;
    QScreen* screen = screenUnderPointer();
    QuickAccessOverlay* overlay = overlayFor(screen);
    auto* card = new QuickAccessCard(file, image, bool(state().opener), overlay);
    card->hide();
    QObject::connect(card, &QuickAccessCard::closeRequested, card, [card] { remove(card); });
    QObject::connect(card, &QuickAccessCard::pinRequested, card, [card] {
        pin(card);
        remove(card);
    });
    QObject::connect(card, &QuickAccessCard::editRequested, card, [card] {
        if (state().opener) state().opener(card->file());
        card->dismiss();
    });
    state().cards.append({card, screen});
    arrangeAll();
}

void setEditorOpener(std::function<void(const QString& file)> opener) {
    state().opener = std::move(opener);
}

} // namespace QuickAccess

QuickAccessOverlay::QuickAccessOverlay(QScreen* screen)
    : QWidget(nullptr, placement::floating(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                                           Qt::WindowDoesNotAcceptFocus)) {
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFocusPolicy(Qt::NoFocus);
    setWindowTitle(QStringLiteral("Pictavia Quick Access"));
    setScreen(screen);
}

void QuickAccessOverlay::arrange(const QList<std::pair<QuickAccessCard*, QPointF>>& cards) {
    m_cards.clear();
    if (cards.isEmpty()) {
        recordedArea::letGo(this);
        hide();
        m_behind.release();
        return;
    }
    const QMarginsF reach = cardReach();
    QRectF bounds;
    for (const auto& [card, position] : cards)
        bounds |= QRectF(position, card->bodySize()).marginsAdded(reach);
    const QRect window = bounds.toAlignedRect();
    m_behind.track(chrome::rootRect(screen(), window));
    setGeometry(window);

    // The window's shape: each card with its shadow, so the desktop shows between them.
    const QMarginsF shadow = chrome::shadowReach(QuickAccessCard::shadowStyle);
    QRegion shape;
    for (const auto& [card, position] : cards) {
        const QPointF body = position - QPointF(window.topLeft());
        card->move((body - QPointF(QuickAccessCard::overhang, QuickAccessCard::overhang)).toPoint());
        card->show();
        connect(card, &QuickAccessCard::looksChanged, this, &QuickAccessOverlay::cardChanged,
                Qt::UniqueConnection);
        m_cards.append(card);
        QPainterPath outline;
        const double corner = QuickAccessCard::shadowStyle.radius + shadow.left();
        outline.addRoundedRect(QRectF(body, card->bodySize()).marginsAdded(shadow), corner, corner);
        shape += QRegion(outline.toFillPolygon().toPolygon());
        const QRectF close = card->closeButtonRect().translated(QPointF(card->pos())).adjusted(-1, -1, 1, 1);
        shape += QRegion(close.toAlignedRect(), QRegion::Ellipse);
    }
    setMask(shape);
    // Out of a running recording's picture: the cards show when it ends.
    if (recordedArea::holds(this)) return;
    if (!isVisible() && recordedArea::covers(chrome::rootRect(screen(), window)))
        return recordedArea::hold(this);
    if (!isVisible()) show();
    bringToFront();
}

void QuickAccessOverlay::bringToFront() {
    raise();
    m_behind.raise();
}

void QuickAccessOverlay::cardChanged() {
    update();
    m_behind.changed();
}

void QuickAccessOverlay::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const double ratio = devicePixelRatioF();
    m_behind.paint(painter, ratio);
    for (const auto& card : std::as_const(m_cards))
        if (card && card->isVisible())
            chrome::paintShadow(painter, card->bodyRect().translated(card->pos()),
                                QuickAccessCard::shadowStyle, ratio, card->appearance());
}

} // namespace ui
