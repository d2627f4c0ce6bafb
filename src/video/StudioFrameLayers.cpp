#include "video/StudioFrameLayers.h"

#include "video/StudioScene.h"

QImage StudioFrameLayers::base(QSize frame) const {
    return m_scene.base(frame);
}

QRect StudioFrameLayers::card(QSize frame) const {
    return m_scene.card(frame);
}

QRectF StudioFrameLayers::view(QSize frame, double time, QSize picture) const {
    return m_scene.view(frame, time, picture);
}

QList<QRect> StudioFrameLayers::paintedAreas(QSize frame, double time, bool camera) const {
    return m_scene.paintedAreas(frame, time, camera);
}

void StudioFrameLayers::paintOver(QPainter& painter, QSize frame, double time, const QImage& camera) const {
    m_scene.paintOver(painter, frame, time, camera);
}

void StudioFrameLayers::draw(QImage& target, const QImage& picture, double time, const QImage& camera) const {
    m_scene.render(target, picture, time, camera);
}
