#include "video/StudioScene.h"

#include "video/CaptionCache.h"
#include "video/StudioBackdrop.h"
#include "video/StudioCamera.h"
#include "video/StudioLayout.h"
#include "video/StudioPointer.h"
#include "video/ZoomFollower.h"

#include <QHash>
#include <QPainter>

#include <algorithm>
#include <mutex>

namespace {

struct BackdropKey {
    QSize size;
    QImage::Format format;
    bool operator==(const BackdropKey&) const = default;
};

size_t qHash(const BackdropKey& key, size_t seed = 0) {
    return qHashMulti(seed, key.size.width(), key.size.height(), int(key.format));
}

} // namespace

struct StudioScene::Parts {
    StudioStyle style;
    StudioInputs inputs;
    StudioPointer pointer;
    ZoomFollower follower;
    CaptionCache captions;
    QImage backgroundImage;

    // One backdrop per frame size in use (the preview's and the export's, say).
    mutable std::mutex backdropMutex;
    mutable QHash<BackdropKey, std::shared_ptr<const StudioBackdrop>> backdrops;

    Parts(StudioStyle s, StudioInputs i) : style(std::move(s)), inputs(std::move(i)), captions(style) {
        if (inputs.timeline)
            pointer =
                StudioPointer(*inputs.timeline, inputs.videoSize, inputs.duration, style.pointerSmoothing);
        if (style.followPointer && !pointer.isEmpty())
            follower = ZoomFollower(
                inputs.zoom, [this](double time) { return pointer.calmPosition(time); }, inputs.videoSize,
                inputs.duration);
        if (Backgrounds::isImageBacked(style.background) && !style.backgroundImage.isEmpty())
            backgroundImage = QImage(style.backgroundImage);
    }

    std::shared_ptr<const StudioBackdrop> backdrop(QSize size, QImage::Format format) const {
        const BackdropKey key{size, format};
        const std::lock_guard lock(backdropMutex);
        auto found = backdrops.constFind(key);
        if (found != backdrops.constEnd()) return *found;
        // Made under the lock: frames of one size wait for it rather than each making it.
        auto made = std::make_shared<const StudioBackdrop>(
            StudioBackdrop::make(style, inputs.videoSize, size, format, backgroundImage));
        // A preview being resized asks for many sizes; only the last few are worth keeping.
        if (backdrops.size() >= 4) backdrops.clear();
        backdrops.insert(key, made);
        return made;
    }

    const CaptionLine* captionAt(double time) const {
        for (const CaptionLine& line : inputs.captions)
            if (line.start <= time && time < line.end) return &line;
        return nullptr;
    }

    bool showsCamera() const { return style.camera && inputs.hasCamera; }
    bool showsCaptions() const { return style.captions && !inputs.captions.isEmpty(); }
};

StudioScene::StudioScene(StudioStyle style, StudioInputs inputs)
    : m_parts(std::make_unique<Parts>(std::move(style), std::move(inputs))) {}

StudioScene::~StudioScene() = default;

const StudioStyle& StudioScene::style() const {
    return m_parts->style;
}

const StudioInputs& StudioScene::inputs() const {
    return m_parts->inputs;
}

bool StudioScene::isStyled() const {
    return m_parts->style.isStyled() || !m_parts->inputs.zoom.keyframes.isEmpty() ||
           m_parts->showsCaptions() || m_parts->showsCamera();
}

QSize StudioScene::frameSize() const {
    return StudioLayout::frameSize(m_parts->style, m_parts->inputs.videoSize);
}

void StudioScene::render(QImage& target, const QImage& picture, double time, const QImage& camera) const {
    const Parts& parts = *m_parts;
    const StudioStyle& style = parts.style;
    const QSize video = parts.inputs.videoSize.isEmpty() ? picture.size() : parts.inputs.videoSize;
    if (target.isNull() || video.isEmpty()) return;

    const auto backdrop = parts.backdrop(target.size(), target.format());
    const QRect card = backdrop->card;
    backdrop->drawBase(target);

    // The part of the picture shown: panning with the pointer in a filled frame, zooming
    // toward the keyframe's centre (or the pointer, when the look follows it).
    const ZoomTrack::State zoom = parts.inputs.zoom.state(time);
    const std::optional<QPointF> calm = parts.pointer.calmPosition(time);
    QPointF aim(zoom.center.x() * video.width(), zoom.center.y() * video.height());
    if (style.followPointer && zoom.progress > 0) {
        if (const auto followed = parts.follower.aim(time))
            aim = *followed;
        else if (calm)
            aim = *calm;
    }
    const QRectF view = StudioLayout::view(style, video, QSizeF(card.size()), zoom, calm, aim);

    QPainter painter(&target);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    if (!picture.isNull()) {
        // The picture may come at another resolution than the recording's (a scaled preview).
        const double sx = double(picture.width()) / video.width();
        const double sy = double(picture.height()) / video.height();
        const QRectF source(view.left() * sx, view.top() * sy, view.width() * sx, view.height() * sy);
        // An opaque picture covers the card either way, and Qt scales it about twice as fast
        // blending over than copying; a picture with alpha must replace what was there.
        if (picture.hasAlphaChannel()) painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.drawImage(QRectF(card), picture, source);
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    }

    const bool drawsPointer = style.drawPointer && !parts.pointer.isEmpty();
    const bool drawsRipples = style.clickRipples && parts.inputs.timeline;
    if (drawsPointer || drawsRipples) {
        const QTransform toFrame = StudioLayout::pictureToFrame(view, card);
        const double zoomFactor = toFrame.m11();
        painter.save();
        painter.setClipRect(card);
        if (drawsRipples) parts.pointer.drawRipples(painter, time, toFrame, zoomFactor);
        if (drawsPointer) parts.pointer.drawPointer(painter, time, toFrame, zoomFactor, style.pointerSize);
        painter.restore();
    }
    backdrop->drawCorners(painter);

    if (parts.showsCaptions())
        if (const CaptionLine* line = parts.captionAt(time))
            parts.captions.draw(painter, *line, target.size());

    if (parts.showsCamera() && !camera.isNull()) {
        const auto& webcam = parts.inputs.timeline ? parts.inputs.timeline->webcam : std::nullopt;
        const QRect place = StudioCamera::bubbleRect(style, webcam, time, card, target.size());
        StudioCamera::draw(painter, camera, place, style.cameraShape, webcam && webcam->mirrored,
                           style.cameraBlur);
    }
}
