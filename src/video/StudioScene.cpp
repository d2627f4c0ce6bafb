#include "video/StudioScene.h"

#include <QPainter>

struct StudioScene::Parts {
    StudioStyle style;
    StudioInputs inputs;
};

StudioScene::StudioScene(StudioStyle style, StudioInputs inputs)
    : m_parts(std::make_unique<Parts>(Parts{std::move(style), std::move(inputs)})) {}

StudioScene::~StudioScene() = default;

const StudioStyle& StudioScene::style() const {
    return m_parts->style;
}

const StudioInputs& StudioScene::inputs() const {
    return m_parts->inputs;
}

bool StudioScene::isStyled() const {
    return m_parts->style.isStyled() || !m_parts->inputs.zoom.keyframes.isEmpty();
}

QSize StudioScene::frameSize() const {
    return m_parts->inputs.videoSize;
}

void StudioScene::render(QImage& target, const QImage& picture, double /*time*/,
                         const QImage& /*camera*/) const {
    QPainter painter(&target);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(target.rect(), picture);
}
