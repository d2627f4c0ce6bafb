#include "recording/WebcamOverlay.h"

#include "app/Prefs.h"

#include <QFuture>
#include <QtConcurrent>

#include <algorithm>
#include <cmath>

void CameraFeed::setHandler(Handler handler) {
    const std::lock_guard lock(m_lock);
    m_handler = std::move(handler);
}

void CameraFeed::deliver(const QImage& frame, qint64 time) {
    const std::lock_guard lock(m_lock);
    if (m_handler) m_handler(frame, time);
}

WebcamOverlay::WebcamOverlay(platform::Cameras& cameras, const QRect& screen, double scale, QObject* parent)
    : QObject(parent), m_cameras(cameras), m_scale(scale > 0 ? scale : 1) {
    m_mirrored = Prefs::flag(QStringLiteral("recMirrorCamera"));
    const int side = int(std::lround(defaultSide * m_scale));
    const int margin = int(std::lround(screenMargin * m_scale));
    m_bubble = QRect(screen.right() + 1 - margin - side, screen.bottom() + 1 - margin - side, side, side);
    m_placementTimer.setInterval(placementInterval);
    connect(&m_placementTimer, &QTimer::timeout, this, &WebcamOverlay::recordPlacement);
}

WebcamOverlay::~WebcamOverlay() {
    stop();
}

QList<platform::CameraInfo> WebcamOverlay::availableCameras(platform::Cameras& cameras) {
    return cameras.list();
}

void WebcamOverlay::start() {
    if (m_camera || m_opening.isRunning()) return;
    const QString id = Prefs::text(QStringLiteral("recCameraID"));
    // Opening a camera can take a good part of a second: not on the GUI thread. The camera
    // hands pictures to this object from then on, so stop() waits for an opening in flight.
    auto outcome = std::make_shared<Opened>(Error{});
    m_outcome = outcome;
    platform::Cameras* cameras = &m_cameras;
    m_opening = QtConcurrent::run([cameras, id, outcome, this] {
        auto camera = cameras->open(id);
        if (!camera) {
            *outcome = camera.error();
            return;
        }
        std::shared_ptr<platform::Camera> running(std::move(camera).value());
        const auto started = running->start(
            platform::CameraSettings{}, [this](const QImage& frame, qint64 time) { take(frame, time); },
            [this](const Error& error) {
                QMetaObject::invokeMethod(
                    this, [this, error] { emit failed(error.message); }, Qt::QueuedConnection);
            });
        if (!started)
            *outcome = started.error();
        else
            *outcome = running;
    });
    m_opening.then(this, [this, outcome] {
        if (m_outcome != outcome) return; // stopped meanwhile
        m_outcome.reset();
        if (!*outcome) {
            emit failed(outcome->error().message);
            return;
        }
        m_camera = outcome->value();
    });
}

void WebcamOverlay::stop() {
    m_placementTimer.stop();
    if (m_outcome) {
        m_opening.waitForFinished();
        if (*m_outcome) m_camera = m_outcome->value();
        m_outcome.reset();
    }
    if (!m_camera) return;
    m_camera->stop();
    m_camera.reset();
}

void WebcamOverlay::take(const QImage& frame, qint64 time) {
    m_feed.deliver(frame, time);
    {
        const std::lock_guard lock(m_frameLock);
        m_latest = frame;
    }
    // One queued notice at a time: a busy GUI thread draws the newest picture, not a backlog.
    if (m_framePending.exchange(true)) return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_framePending = false;
            if (!m_ready) {
                m_ready = true;
                emit ready();
            }
            emit frameArrived();
        },
        Qt::QueuedConnection);
}

QImage WebcamOverlay::latestFrame() const {
    const std::lock_guard lock(m_frameLock);
    return m_latest;
}

void WebcamOverlay::resize(double points) {
    const int side = int(std::lround(std::clamp(points, smallestSide, largestSide) * m_scale));
    const QPointF centre = QRectF(m_bubble).center();
    const QRect resized(int(std::lround(centre.x() - side / 2.0)), int(std::lround(centre.y() - side / 2.0)),
                        side, side);
    if (resized == m_bubble) return;
    m_bubble = resized;
    emit bubbleChanged(m_bubble);
}

void WebcamOverlay::moveTo(const QPoint& topLeft) {
    if (topLeft == m_bubble.topLeft()) return;
    m_bubble.moveTopLeft(topLeft);
    emit bubbleChanged(m_bubble);
}

void WebcamOverlay::follow(std::function<QRect()> region, std::function<double()> elapsed) {
    m_region = std::move(region);
    m_elapsed = std::move(elapsed);
    m_placements.clear();
    recordPlacement();
    m_placementTimer.start();
}

void WebcamOverlay::recordPlacement() {
    if (!m_region || !m_elapsed) return;
    const QRect region = m_region();
    if (region.width() <= m_scale || region.height() <= m_scale) return;
    WebcamPlacement placement;
    placement.time = std::max(0.0, m_elapsed());
    placement.x = double(m_bubble.left() - region.left()) / region.width();
    placement.y = double(m_bubble.top() - region.top()) / region.height();
    placement.size = double(m_bubble.width()) / region.width();
    if (!m_placements.isEmpty()) {
        const WebcamPlacement& last = m_placements.last();
        if (std::abs(placement.x - last.x) < placementStep &&
            std::abs(placement.y - last.y) < placementStep &&
            std::abs(placement.size - last.size) < placementStep)
            return;
    }
    m_placements.append(placement);
}
