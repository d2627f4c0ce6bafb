#pragma once

// A short synthetic studio recording for the compositor's tests: a screen-like picture, a
// camera picture, and a timeline with a pointer track, two clicks, camera places, a zoom and
// a caption line.

#include "video/StudioScene.h"

#include <QBuffer>
#include <QPainter>
#include <QUuid>

namespace studiosamples {

inline const QSize videoSize(320, 180);

// A screen-like picture: soft colour bands, a grid, a title bar and a few blocks, no pure black.
inline QImage samplePicture() {
    QImage image(videoSize, QImage::Format_RGB32);
    QPainter p(&image);
    QLinearGradient sky(0, 0, videoSize.width(), videoSize.height());
    sky.setColorAt(0, QColor(70, 110, 190));
    sky.setColorAt(1, QColor(230, 170, 90));
    p.fillRect(image.rect(), sky);
    p.setPen(QColor(255, 255, 255, 90));
    for (int x = 0; x < videoSize.width(); x += 20)
        p.drawLine(x, 0, x, videoSize.height());
    for (int y = 0; y < videoSize.height(); y += 20)
        p.drawLine(0, y, videoSize.width(), y);
    p.fillRect(0, 0, videoSize.width(), 14, QColor(230, 232, 238));
    p.fillRect(20, 40, 90, 50, QColor(40, 160, 90));
    p.fillRect(200, 110, 80, 40, QColor(150, 60, 170));
    return image;
}

// A camera picture: a face-like disc on a room-like background.
inline QImage sampleCamera() {
    QImage image(160, 120, QImage::Format_RGB32);
    image.fill(QColor(120, 130, 110));
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.fillRect(0, 0, 50, 120, QColor(200, 190, 160));
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(230, 190, 160));
    p.drawEllipse(QPointF(80, 60), 28, 34);
    p.setBrush(QColor(40, 40, 60));
    p.drawEllipse(QPointF(70, 52), 4, 4);
    return image;
}

// A pointer image with a green block centred on its hot spot, so tests can find where it points.
inline CursorShape markedPointer() {
    QImage image(12, 12, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.fillRect(0, 0, 12, 2, Qt::black);
    p.fillRect(0, 0, 2, 12, Qt::black);
    p.fillRect(3, 3, 3, 3, QColor(0, 255, 0));
    p.end();
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return {png, 12, 12, 4.5, 4.5};
}

inline RecordingTimeline sampleTimeline() {
    RecordingTimeline t;
    t.studio = true;
    t.areaWidth = videoSize.width();
    t.areaHeight = videoSize.height();
    t.cursor = {{0, 0.2, 0.3, 0}, {2.0, 0.7, 0.6, 0}, {4.0, 0.7, 0.6, 0}};
    t.cursorShapes = {markedPointer()};
    t.clicks = {{1.0, 0.45, 0.45}, {2.5, 0.7, 0.6}};
    t.webcam = WebcamInfo{{{0, 0.7, 0.55, 0.22}, {2.0, 0.04, 0.08, 0.25}}, true};
    return t;
}

inline StudioInputs sampleInputs() {
    StudioInputs inputs;
    inputs.videoSize = videoSize;
    inputs.duration = 4.0;
    ZoomKeyframe zoom;
    zoom.time = 1.0;
    zoom.hold = 1.0;
    zoom.level = 2.0;
    zoom.center = {0.7, 0.3};
    inputs.zoom.keyframes = {zoom};
    inputs.timeline = sampleTimeline();
    inputs.captions = {CaptionLine{QUuid::createUuid(), 0.3, 3.5, QStringLiteral("Click the green panel")}};
    inputs.hasCamera = true;
    return inputs;
}

// The look every case starts from: nothing but what the case turns on.
inline StudioStyle bare() {
    StudioStyle style;
    style.shadow = false;
    style.followPointer = false;
    style.camera = false;
    style.pointerSmoothing = 0;
    return style;
}

inline StudioStyle framed() {
    StudioStyle style = bare();
    style.background = BackgroundStyle::Ocean;
    style.padding = 0.08;
    style.cornerRadius = 0.08;
    style.shadow = true;
    return style;
}

} // namespace studiosamples
