#pragma once

#include "platform/ScreenBackend.h"

#include <QByteArray>
#include <QImage>
#include <QSize>
#include <QString>

#include <optional>

// Image operations every capture passes through before delivery, and pixel utilities for
// the editor. Pure functions, safe on any thread.
namespace ImageUtils {

// Removes the strip behind a camera housing at the top of a notched display, when the
// "cropNotch" preference is on.
QImage croppingNotch(const QImage& image, const std::optional<platform::DisplayInfo>& screen);

// A larger image: the input on a transparent canvas with a soft shadow below it.
QImage withDropShadow(const QImage& image, double scale);

// File bytes in "png", "jpg", "heic" or "webp" with the quality preference; an unknown
// format, or a lossy encoder that produces nothing, gives PNG bytes.
QByteArray data(const QImage& image, const QString& format, double scale = 1.0);

// "png", "jpg", "heic" or "webp" from the ways people write them ("JPEG", "heif", " png");
// none for anything else.
std::optional<QString> formatNamed(const QString& name);

// Like data(), also saying which format the bytes are in ("png" after a fallback).
struct Encoded {
    QByteArray bytes;
    QString format;
};
Encoded encode(const QImage& image, const QString& format, double scale = 1.0);

QByteArray jpegData(const QImage& image, double quality);
// Bytes of any image type identifier; empty on failure.
QByteArray encoded(const QImage& image, const QString& type, double quality, double scale = 1.0);
bool canEncode(const QString& type);

// An image from file bytes, through our own decoders first (HEIC, WebP), then Qt's; a null
// image when neither reads it.
QImage decoded(const QByteArray& bytes);
// decoded() of a file's bytes; a null image when the file cannot be read.
QImage readFile(const QString& path);

QImage convertedToSRGB(const QImage& image);
QImage scaled(const QImage& image, const QSize& size);
// Square blocks of `scale` pixels, each one colour.
QImage pixelate(const QImage& image, double scale);
QImage gaussianBlur(const QImage& image, double radius);
QImage rotated90(const QImage& image, bool clockwise);
QImage flipped(const QImage& image, bool horizontal);

} // namespace ImageUtils
