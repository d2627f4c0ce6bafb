#pragma once

#include "platform/LayeredExport.h"

class StudioScene;

// A studio scene's frames told as layers, for exporters that compose them themselves.
class StudioFrameLayers final : public platform::FrameLayers {
public:
    explicit StudioFrameLayers(const StudioScene& scene) : m_scene(scene) {}

    QImage base(QSize frame) const override;
    QRect card(QSize frame) const override;
    QRectF view(QSize frame, double time, QSize picture) const override;
    QList<QRect> paintedAreas(QSize frame, double time, bool camera) const override;
    void paintOver(QPainter& painter, QSize frame, double time, const QImage& camera) const override;
    void draw(QImage& target, const QImage& picture, double time, const QImage& camera) const override;

private:
    const StudioScene& m_scene;
};
