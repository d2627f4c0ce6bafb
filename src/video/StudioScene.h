#pragma once

#include "video/CaptionLine.h"
#include "video/RecordingTimeline.h"
#include "video/StudioStyle.h"
#include "video/ZoomTrack.h"

#include <QImage>
#include <QList>
#include <QRect>
#include <QRectF>
#include <QSize>

#include <memory>
#include <optional>

class QPainter;

// What a movie's styled frames are composed from besides its pictures and the look.
struct StudioInputs {
    QSize videoSize;                           // the recording's pictures
    double duration = 0;                       // seconds
    ZoomTrack zoom;                            // empty for no zoom
    std::optional<RecordingTimeline> timeline; // pointer track and images, clicks, camera places
    QList<CaptionLine> captions;
    bool hasCamera = false; // a camera movie comes with the recording
};

// Composes the frames of a styled movie: the background, the recording framed with padding,
// rounded corners and a shadow, the zoom easing toward its keyframes' centres, the drawn
// pointer, click ripples, captions and the camera bubble. The preview and the export both
// draw through it, so what the user sees is what is written. Rendering does not change the
// scene and may run on several threads at once.
class StudioScene {
public:
    StudioScene(StudioStyle style, StudioInputs inputs);
    ~StudioScene();
    StudioScene(const StudioScene&) = delete;
    StudioScene& operator=(const StudioScene&) = delete;

    const StudioStyle& style() const;
    const StudioInputs& inputs() const;

    // Whether frames differ from the recording as it is.
    bool isStyled() const;
    // The composed frame's size at the recording's own resolution: for the original shape the
    // recording's size, grown by the padding when there is a background; else the shape's
    // proportions around the recording's longer side.
    QSize frameSize() const;
    // Draws the frame shown at `time` (seconds of the original movie) into `target`, which
    // may be any size of frameSize()'s proportions; `picture` is the recording's frame at
    // that time and `camera` the camera movie's (null without one).
    void render(QImage& target, const QImage& picture, double time, const QImage& camera = {}) const;

    // The frame's parts as render() puts them together, for composing it another way. A frame
    // is the base (target's size and format; null: black), the `picture`'s view scaled into
    // the card, then what paintOver() draws, which stays within paintedAreas().
    QImage base(QSize target, QImage::Format format = QImage::Format_RGB32) const;
    QRect card(QSize target) const;
    // In the pixels of a picture of `picture`'s size.
    QRectF view(QSize target, double time, QSize picture) const;
    QList<QRect> paintedAreas(QSize target, double time, bool camera) const;
    void paintOver(QPainter& painter, QSize target, double time, const QImage& camera) const;

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
};
