#pragma once

#include <QBuffer>
#include <QByteArray>
#include <QImage>

// `image` as PNG file bytes, through Qt's own encoder: for small images and the clipboard,
// where the fast encoder of the codecs is not worth loading.
inline QByteArray pngBytes(const QImage& image) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}
