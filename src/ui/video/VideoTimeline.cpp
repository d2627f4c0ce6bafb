#include "ui/video/VideoTimeline.h"

#include "video/VideoEditorModel.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace ui::video {

namespace {

constexpr int sideMargin = 14;
constexpr int rulerHeight = 20;
constexpr int clipHeight = 44;
constexpr int zoomHeight = 24;
constexpr int rowGap = 8;
constexpr int handleWidth = 10;
constexpr int grabDistance = 8;

const QColor ground(0x1C, 0x1D, 0x21);
const QColor rulerInk(0x8A, 0x8F, 0x98);
const QColor clipFill(0x2F, 0x4E, 0x86);
const QColor clipOutside(0x2A, 0x2C, 0x31);
const QColor handleFill(0xF5, 0xC5, 0x42);
const QColor clickMark(0xFF, 0xFF, 0xFF, 200);
const QColor zoomFill(0x7C, 0x5C, 0xE0);
const QColor zoomSelected(0xA8, 0x8B, 0xFF);
const QColor playheadInk(0xFF, 0x4D, 0x4D);

QString clockText(double seconds) {
    const int whole = int(std::floor(seconds));
    return QStringLiteral("%1:%2").arg(whole / 60).arg(whole % 60, 2, 10, QLatin1Char('0'));
}

// A step between ruler labels that leaves them at least `room` pixels apart.
double rulerStep(double pixelsPerSecond, double room) {
    for (double step : {0.5, 1.0, 2.0, 5.0, 10.0, 15.0, 30.0, 60.0, 120.0, 300.0, 600.0})
        if (step * pixelsPerSecond >= room) return step;
    return 1200.0;
}

} // namespace

VideoTimeline::VideoTimeline(VideoEditorModel* model, QWidget* parent) : QWidget(parent), m_model(model) {
    setObjectName(QStringLiteral("videoTimeline"));
    setAccessibleName(tr("Timeline"));
    setFocusPolicy(Qt::ClickFocus);
    setMouseTracking(true);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setFixedHeight(sizeHint().height());
    connect(m_model, &VideoEditorModel::changed, this, [this] {
        const auto& keyframes = m_model->zoomTrack().keyframes;
        if (m_selected && std::none_of(keyframes.begin(), keyframes.end(),
                                       [this](const ZoomKeyframe& k) { return k.id == *m_selected; })) {
            m_selected.reset();
            emit selectionChanged();
        }
        update();
    });
    connect(m_model, &VideoEditorModel::playheadChanged, this, qOverload<>(&QWidget::update));
}

QRect VideoTimeline::track() const {
    return rect().adjusted(sideMargin, 0, -sideMargin, 0);
}

QRect VideoTimeline::clipRow() const {
    const QRect t = track();
    return {t.left(), rulerHeight, t.width(), clipHeight};
}

QRect VideoTimeline::zoomRow() const {
    const QRect t = track();
    return {t.left(), rulerHeight + clipHeight + rowGap, t.width(), zoomHeight};
}

int VideoTimeline::xOf(double seconds) const {
    const QRect t = track();
    const double duration = m_model->duration();
    if (duration <= 0) return t.left();
    return t.left() + int(std::lround(std::clamp(seconds / duration, 0.0, 1.0) * t.width()));
}

double VideoTimeline::timeAt(double x) const {
    const QRect t = track();
    if (t.width() <= 0) return 0;
    return std::clamp((x - t.left()) / t.width(), 0.0, 1.0) * m_model->duration();
}

QRectF VideoTimeline::zoomSpan(double time, double hold) const {
    const QRect row = zoomRow();
    const double left = xOf(time);
    const double right = xOf(time + 2 * ZoomTrack::ramp + hold);
    return QRectF(left, row.top() + 2, std::max(6.0, right - left), row.height() - 4);
}

std::optional<QUuid> VideoTimeline::zoomAt(QPoint point) const {
    if (!zoomRow().contains(point)) return std::nullopt;
    const auto& keyframes = m_model->zoomTrack().keyframes;
    // The latest start wins where spans overlap, as it is drawn on top.
    for (auto it = keyframes.rbegin(); it != keyframes.rend(); ++it)
        if (zoomSpan(it->time, it->hold).contains(point)) return it->id;
    return std::nullopt;
}

void VideoTimeline::removeSelectedZoom() {
    if (!m_selected) return;
    const QUuid id = *m_selected;
    m_selected.reset();
    m_model->removeZoom(id);
    emit selectionChanged();
}

void VideoTimeline::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(rect(), ground);
    paintRuler(painter);
    paintClip(painter);
    paintZooms(painter);
    paintPlayhead(painter);
}

void VideoTimeline::paintRuler(QPainter& painter) const {
    const double duration = m_model->duration();
    if (duration <= 0) return;
    const QRect t = track();
    QFont font = painter.font();
    font.setPointSizeF(font.pointSizeF() * 0.8);
    painter.setFont(font);
    painter.setPen(rulerInk);
    const double step = rulerStep(t.width() / duration, 64);
    for (double at = 0; at <= duration + 1e-6; at += step) {
        const int x = xOf(at);
        painter.drawLine(x, rulerHeight - 5, x, rulerHeight - 1);
        if (x + 28 > width()) break; // no room for the label at the very end
        painter.drawText(QRect(x + 3, 0, 60, rulerHeight - 3), Qt::AlignLeft | Qt::AlignVCenter,
                         step < 1 ? QString::number(at, 'f', 1) : clockText(at));
    }
}

void VideoTimeline::paintClip(QPainter& painter) const {
    const QRect row = clipRow();
    QPainterPath whole;
    whole.addRoundedRect(row, 6, 6);
    painter.fillPath(whole, clipOutside);
    const int from = xOf(m_model->trimStart());
    const int to = xOf(m_model->trimEnd());
    QPainterPath kept;
    kept.addRoundedRect(QRectF(from, row.top(), std::max(1, to - from), row.height()), 6, 6);
    QLinearGradient fill(0, row.top(), 0, row.bottom());
    fill.setColorAt(0, clipFill.lighter(125));
    fill.setColorAt(1, clipFill);
    painter.fillPath(kept, fill);

    painter.setPen(Qt::NoPen);
    painter.setBrush(clickMark);
    for (const ClickMark& click : m_model->clicks())
        painter.drawEllipse(QPointF(xOf(click.time), row.bottom() - 8), 3, 3);

    // Handles as brackets around what is kept.
    painter.setBrush(handleFill);
    for (const auto& [x, left] : {std::pair{from, true}, std::pair{to, false}}) {
        const QRectF handle(left ? x : x - handleWidth, row.top(), handleWidth, row.height());
        painter.drawRoundedRect(handle, 3, 3);
        painter.setPen(QPen(QColor(0x3A, 0x2E, 0x05), 1.5));
        const double mid = handle.center().x();
        painter.drawLine(QPointF(mid, row.top() + 14), QPointF(mid, row.bottom() - 14));
        painter.setPen(Qt::NoPen);
    }
}

void VideoTimeline::paintZooms(QPainter& painter) const {
    const QRect row = zoomRow();
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(255, 255, 255, 10));
    painter.drawRoundedRect(row, 5, 5);
    const auto& keyframes = m_model->zoomTrack().keyframes;
    if (keyframes.isEmpty()) {
        painter.setPen(rulerInk);
        painter.drawText(row.adjusted(8, 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter,
                         m_model->zoomEnabled() ? tr("No zooms: add one at the playhead")
                                                : tr("Zoom is off"));
        return;
    }
    QFont font = painter.font();
    font.setWeight(QFont::DemiBold);
    painter.setFont(font);
    for (const ZoomKeyframe& keyframe : keyframes) {
        const QRectF span = zoomSpan(keyframe.time, keyframe.hold);
        const bool selected = m_selected == keyframe.id;
        QColor fill = selected ? zoomSelected : zoomFill;
        if (!m_model->zoomEnabled()) fill.setAlpha(90);
        painter.setPen(selected ? QPen(Qt::white, 1.5) : Qt::NoPen);
        painter.setBrush(fill);
        painter.drawRoundedRect(span, 4, 4);
        painter.setPen(Qt::white);
        painter.drawText(span.adjusted(6, 0, -4, 0), Qt::AlignLeft | Qt::AlignVCenter,
                         QStringLiteral("%1×").arg(keyframe.level, 0, 'f', 1));
    }
}

void VideoTimeline::paintPlayhead(QPainter& painter) const {
    const double x = xOf(m_model->playhead());
    painter.setPen(QPen(playheadInk, 2));
    painter.drawLine(QPointF(x, 4), QPointF(x, height() - 2));
    painter.setPen(Qt::NoPen);
    painter.setBrush(playheadInk);
    QPainterPath knob;
    knob.moveTo(x - 6, 2);
    knob.lineTo(x + 6, 2);
    knob.lineTo(x + 6, 9);
    knob.lineTo(x, 15);
    knob.lineTo(x - 6, 9);
    knob.closeSubpath();
    painter.drawPath(knob);
}

void VideoTimeline::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    const QPoint at = event->position().toPoint();
    const int startX = xOf(m_model->trimStart());
    const int endX = xOf(m_model->trimEnd());
    const bool inClip = clipRow().contains(at);
    const std::optional<QUuid> zoom = zoomAt(at);
    if (m_selected != zoom) {
        m_selected = zoom;
        emit selectionChanged();
        update();
    }
    if (inClip && std::abs(at.x() - (startX + handleWidth / 2)) <= grabDistance) {
        m_drag = Drag::trimStart;
    } else if (inClip && std::abs(at.x() - (endX - handleWidth / 2)) <= grabDistance) {
        m_drag = Drag::trimEnd;
    } else if (zoom) {
        m_drag = Drag::zoom;
        for (const ZoomKeyframe& keyframe : m_model->zoomTrack().keyframes)
            if (keyframe.id == *zoom) m_grabOffset = timeAt(at.x()) - keyframe.time;
    } else {
        m_drag = Drag::playhead;
        m_model->setPlayhead(timeAt(at.x()));
    }
}

void VideoTimeline::mouseMoveEvent(QMouseEvent* event) {
    const QPoint at = event->position().toPoint();
    const double time = timeAt(at.x());
    switch (m_drag) {
    case Drag::none: {
        const bool inClip = clipRow().contains(at);
        const bool onHandle = inClip && (std::abs(at.x() - xOf(m_model->trimStart())) <= grabDistance + 5 ||
                                         std::abs(at.x() - xOf(m_model->trimEnd())) <= grabDistance + 5);
        setCursor(onHandle ? Qt::SizeHorCursor : zoomAt(at) ? Qt::OpenHandCursor : Qt::ArrowCursor);
        return;
    }
    case Drag::playhead:
        m_model->setPlayhead(time);
        return;
    case Drag::trimStart:
        m_model->setTrim(std::min(time, m_model->trimEnd() - 0.1), m_model->trimEnd());
        m_model->setPlayhead(m_model->trimStart());
        return;
    case Drag::trimEnd:
        m_model->setTrim(m_model->trimStart(), std::max(time, m_model->trimStart() + 0.1));
        m_model->setPlayhead(m_model->trimEnd());
        return;
    case Drag::zoom: {
        ZoomTrack track = m_model->zoomTrack();
        for (ZoomKeyframe& keyframe : track.keyframes)
            if (m_selected && keyframe.id == *m_selected)
                keyframe.time =
                    std::clamp(time - m_grabOffset, 0.0,
                               std::max(0.0, m_model->duration() - 2 * ZoomTrack::ramp - keyframe.hold));
        track.sort();
        m_model->setZoomTrack(std::move(track));
        return;
    }
    }
}

void VideoTimeline::mouseReleaseEvent(QMouseEvent*) {
    m_drag = Drag::none;
}

void VideoTimeline::keyPressEvent(QKeyEvent* event) {
    if ((event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace) && m_selected) {
        removeSelectedZoom();
        return;
    }
    QWidget::keyPressEvent(event);
}

} // namespace ui::video
