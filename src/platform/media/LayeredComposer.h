#pragma once

#include "platform/LayeredExport.h"
#include "platform/media/PlaneScaler.h"

#include <QImage>
#include <QRect>
#include <QSize>

#include <array>
#include <vector>

struct AVFrame;

namespace platform::media {

// Puts layered frames together in 4:2:0, the encoder's format: the base is converted once,
// the picture is scaled plane by plane straight into the card, and only the small areas
// painted over go through RGB, where QPainter draws them as on any frame.
class LayeredComposer {
public:
    LayeredComposer(const FrameLayers& layers, QSize frame);

    // Composes the frame shown at `time` into `target` (4:2:0 at the frame's size) from
    // `picture` (4:2:0, any size) and the camera's picture (may be null).
    void compose(AVFrame* target, const AVFrame* picture, double time, const QImage& camera);

private:
    void copyBaseAround(AVFrame* target) const;
    void scalePicture(AVFrame* target, const AVFrame* picture, double time);
    QList<QRect> tiles(double time, bool camera) const;
    void paintTile(AVFrame* target, const QRect& tile, double time, const QImage& camera);

    const FrameLayers& m_layers;
    QSize m_size;
    QRect m_card;
    QRect m_chromaCard; // the chroma samples the card touches
    QImage m_baseRgb;
    std::array<std::vector<uint8_t>, 3> m_basePlanes; // the base in 4:2:0
    std::array<int, 3> m_baseStrides{};
    std::array<PlaneScaler, 3> m_scalers;
    QImage m_tile;
};

} // namespace platform::media
