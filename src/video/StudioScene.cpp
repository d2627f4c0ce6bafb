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
    bool drawsPointer() const { return style.drawPointer && !pointer.isEmpty(); }
    bool drawsRipples() const { return style.clickRipples && inputs.timeline; }

    // The recording's size, or the picture's where the inputs do not tell it.
    QSize videoFor(QSize picture) const { return inputs.videoSize.isEmpty() ? picture : inputs.videoSize; }

    // The part of the recording (in its pixels) shown in the card at `time`: panning with the
    // pointer in a filled frame, zooming toward the keyframe's centre (or the pointer, when the
    // look follows it).
    QRectF viewAt(double time, QSize video, QRect card) const {
        const ZoomTrack::State zoom = inputs.zoom.state(time);
        const std::optional<QPointF> calm = pointer.calmPosition(time);
        QPointF aim(zoom.center.x() * video.width(), zoom.center.y() * video.height());
        if (style.followPointer && zoom.progress > 0) {
            if (const auto followed = follower.aim(time))
                aim = *followed;
            else if (calm)
                aim = *calm;
        }
        return StudioLayout::view(style, video, QSizeF(card.size()), zoom, calm, aim);
    }

    QRect cameraPlace(double time, QRect card, QSize target) const {
        const auto& webcam = inputs.timeline ? inputs.timeline->webcam : std::nullopt;
        return StudioCamera::bubbleRect(style, webcam, time, card, target);
    }

    // What goes over the picture: ripples and pointer (within the card), the card's rounded
    // corners, the caption and the camera bubble.
    void paintOver(QPainter& painter, const StudioBackdrop& backdrop, QSize target, double time,
                   const QImage& camera, QSize video, const QRectF& view) const {
        const QRect card = backdrop.card;
        if (!video.isEmpty() && (drawsPointer() || drawsRipples())) {
            const QTransform toFrame = StudioLayout::pictureToFrame(view, card);
            const double zoomFactor = toFrame.m11();
            painter.save();
            painter.setClipRect(card);
            if (drawsRipples()) pointer.drawRipples(painter, time, toFrame, zoomFactor);
            if (drawsPointer()) pointer.drawPointer(painter, time, toFrame, zoomFactor, style.pointerSize);
            painter.restore();
        }
        backdrop.drawCorners(painter);

        if (showsCaptions())
            if (const CaptionLine* line = captionAt(time)) captions.draw(painter, *line, target);

        if (showsCamera() && !camera.isNull()) {
            const auto& webcam = inputs.timeline ? inputs.timeline->webcam : std::nullopt;
            StudioCamera::draw(painter, camera, cameraPlace(time, card, target), style.cameraShape,
                               webcam && webcam->mirrored, style.cameraBlur);
        }
    }
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
    const QSize video = parts.videoFor(picture.size());
    if (target.isNull() || video.isEmpty()) return;

    const auto backdrop = parts.backdrop(target.size(), target.format());
    const QRect card = backdrop->card;
    backdrop->drawBase(target);
    const QRectF view = parts.viewAt(time, video, card);

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
    parts.paintOver(painter, *backdrop, target.size(), time, camera, video, view);
}

QImage StudioScene::base(QSize target, QImage::Format format) const {
    return m_parts->backdrop(target, format)->base;
}

QRect StudioScene::card(QSize target) const {
    return m_parts->backdrop(target, QImage::Format_RGB32)->card;
}

QRectF StudioScene::view(QSize target, double time, QSize picture) const {
    const Parts& parts = *m_parts;
    const QSize video = parts.videoFor(picture);
    if (video.isEmpty() || picture.isEmpty()) return {};
    const QRectF view = parts.viewAt(time, video, card(target));
    const double sx = double(picture.width()) / video.width();
    const double sy = double(picture.height()) / video.height();
    return {view.left() * sx, view.top() * sy, view.width() * sx, view.height() * sy};
}

QList<QRect> StudioScene::paintedAreas(QSize target, double time, bool camera) const {
    const Parts& parts = *m_parts;
    const StudioStyle& style = parts.style;
    const QSize video = parts.inputs.videoSize;
    const auto backdrop = parts.backdrop(target, QImage::Format_RGB32);
    const QRect card = backdrop->card;
    const QRect frame(QPoint(0, 0), target);
    QList<QRect> areas;
    const auto add = [&](const QRectF& area, const QRect& within) {
        const QRect whole = area.toAlignedRect() & within;
        if (!whole.isEmpty()) areas.append(whole);
    };
    if (!video.isEmpty()) {
        const QRectF view = parts.viewAt(time, video, card);
        const QTransform toFrame = StudioLayout::pictureToFrame(view, card);
        if (parts.drawsRipples()) add(parts.pointer.rippleBounds(time, toFrame, toFrame.m11()), card);
        if (parts.drawsPointer())
            add(parts.pointer.pointerBounds(time, toFrame, toFrame.m11(), style.pointerSize), card);
    }
    if (!backdrop->corners[0].isNull())
        for (size_t i = 0; i < 4; ++i)
            add(QRectF(QRect(backdrop->cornerPlaces[i], backdrop->corners[i].size())), frame);
    if (parts.showsCaptions())
        if (const CaptionLine* line = parts.captionAt(time)) {
            const QImage drawn = parts.captions.image(*line, target);
            if (!drawn.isNull())
                add(QRectF(QRect(parts.captions.place(drawn.size(), target), drawn.size())), frame);
        }
    if (parts.showsCamera() && camera)
        add(QRectF(parts.cameraPlace(time, card, target)).adjusted(-1, -1, 1, 1), frame);
    return areas;
}

void StudioScene::paintOver(QPainter& painter, QSize target, double time, const QImage& camera) const {
    const Parts& parts = *m_parts;
    const auto backdrop = parts.backdrop(target, QImage::Format_RGB32);
    const QSize video = parts.inputs.videoSize;
    const QRectF view = video.isEmpty() ? QRectF() : parts.viewAt(time, video, backdrop->card);
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    parts.paintOver(painter, *backdrop, target, time, camera, video, view);
    painter.restore();
}
