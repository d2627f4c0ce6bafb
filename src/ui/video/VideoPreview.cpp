#include "ui/video/VideoPreview.h"

#include "video/StudioScene.h"

#include <QMetaObject>
#include <QMouseEvent>
#include <QPainter>

namespace ui::video {

namespace {

const QColor stage(0x15, 0x16, 0x19);
const QColor hint(0x8A, 0x8F, 0x98);
constexpr int stageMargin = 16;

} // namespace

VideoPreview::VideoPreview(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("videoPreview"));
    setAccessibleName(tr("Preview"));
    setMinimumSize(320, 200);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void VideoPreview::setScene(std::shared_ptr<const StudioScene> scene) {
    m_scene = std::move(scene);
    update();
}

void VideoPreview::offerPicture(const QImage& picture, double time) {
    {
        const std::lock_guard lock(m_offerMutex);
        m_offered = picture;
        m_offeredTime = time;
        // One hand-over at a time: pictures that arrive meanwhile replace the waiting one.
        if (m_takePending) return;
        m_takePending = true;
    }
    QMetaObject::invokeMethod(this, &VideoPreview::takeOffered, Qt::QueuedConnection);
}

void VideoPreview::offerCamera(const QImage& picture) {
    {
        const std::lock_guard lock(m_offerMutex);
        m_camera = picture;
    }
    QMetaObject::invokeMethod(this, "update", Qt::QueuedConnection);
}

void VideoPreview::takeOffered() {
    const std::lock_guard lock(m_offerMutex);
    m_picture = std::exchange(m_offered, QImage());
    m_time = m_offeredTime;
    m_takePending = false;
    update();
}

QRect VideoPreview::frameRect() const {
    QSize frame = m_scene ? m_scene->frameSize() : m_picture.size();
    if (frame.isEmpty()) return {};
    const QRect room = rect().adjusted(stageMargin, stageMargin, -stageMargin, -stageMargin);
    frame.scale(room.size(), Qt::KeepAspectRatio);
    QRect placed(QPoint(), frame);
    placed.moveCenter(room.center());
    return placed;
}

void VideoPreview::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), stage);
    const QRect target = frameRect();
    if (m_picture.isNull() || target.isEmpty()) {
        painter.setPen(hint);
        painter.drawText(rect(), Qt::AlignCenter, tr("Loading the movie…"));
        return;
    }
    if (!m_scene) {
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(target, m_picture);
        return;
    }
    const double ratio = devicePixelRatioF();
    QImage composed(target.size() * ratio, QImage::Format_ARGB32_Premultiplied);
    composed.fill(stage);
    QImage camera;
    {
        const std::lock_guard lock(m_offerMutex);
        camera = m_camera;
    }
    m_scene->render(composed, m_picture, m_time, camera);
    composed.setDevicePixelRatio(ratio);
    painter.drawImage(target.topLeft(), composed);
}

void VideoPreview::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && frameRect().contains(event->position().toPoint()))
        emit clicked();
}

} // namespace ui::video
