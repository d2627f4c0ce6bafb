#include "capture/ImageUtils.h"
#include "common/PngBytes.h"

#include "app/Prefs.h"
#include "capture/GaussianBlur.h"
#include "platform/Platform.h"

#include <QBuffer>
#include <QColorSpace>
#include <QFile>
#include <QPainter>
#include <QTransform>

#include <cmath>

namespace ImageUtils {

namespace {

// Shadow geometry at scale 1, in pixels.
constexpr double shadowMargin = 48.0;
constexpr double shadowOffsetDown = 8.0;
constexpr double shadowBlur = 32.0;
constexpr double shadowOpacity = 0.4;

// The notch strip is cut only when this many pixels remain below it.
constexpr int minimumHeightBelowNotch = 40;

QByteArray png(const QImage& image, double scale) {
    QByteArray bytes = encoded(image, platform::ImageType::png, 1.0, scale);
    return bytes.isEmpty() ? pngBytes(image) : bytes;
}

double jpegQuality() {
    return Prefs::real(QStringLiteral("jpegQuality"));
}

// A blur radius is twice the standard deviation, as in the shadow and blur settings
// people know from design tools.
double sigmaForRadius(double radius) {
    return radius / 2.0;
}

} // namespace

QImage croppingNotch(const QImage& image, const std::optional<platform::DisplayInfo>& screen) {
    if (!Prefs::flag(QStringLiteral("cropNotch")) || !screen) return image;
    const double top = screen->topInset;
    if (top <= 0) return image;
    const double frameHeight = screen->geometry.height() / screen->scale;
    const int strip = static_cast<int>(std::lround(top * image.height() / frameHeight));
    if (strip > 0 && image.height() - strip > minimumHeightBelowNotch)
        return image.copy(0, strip, image.width(), image.height() - strip);
    return image;
}

QImage withDropShadow(const QImage& image, double scale) {
    if (image.isNull() || scale <= 0) return image;
    const int margin = static_cast<int>(std::lround(shadowMargin * scale));
    const QSize canvasSize(image.width() + 2 * margin, image.height() + 2 * margin);

    // The shadow is the picture's outline in black, moved down and blurred.
    QImage mask(canvasSize, QImage::Format_Alpha8);
    mask.fill(Qt::transparent);
    {
        QPainter p(&mask);
        p.setOpacity(shadowOpacity);
        p.drawImage(QPointF(margin, margin + shadowOffsetDown * scale), image);
    }
    mask = GaussianBlur::blurred(mask, sigmaForRadius(shadowBlur * scale));

    QImage canvas(canvasSize, QImage::Format_ARGB32_Premultiplied);
    canvas.fill(Qt::transparent);
    QPainter p(&canvas);
    p.drawImage(0, 0, mask.convertToFormat(QImage::Format_ARGB32_Premultiplied));
    p.drawImage(margin, margin, image);
    p.end();
    canvas.setColorSpace(QColorSpace::SRgb);
    return canvas;
}

Encoded encode(const QImage& image, const QString& format, double scale) {
    const QImage source = Prefs::flag(QStringLiteral("convertToSRGB")) ? convertedToSRGB(image) : image;
    QByteArray bytes;
    if (format == u"jpg")
        bytes = encoded(source, platform::ImageType::jpeg, jpegQuality(), scale);
    else if (format == u"heic")
        bytes = encoded(source, platform::ImageType::heic, jpegQuality(), scale);
    else if (format == u"webp" && canEncode(platform::ImageType::webp))
        bytes = encoded(source, platform::ImageType::webp, jpegQuality(), scale);
    if (!bytes.isEmpty()) return {bytes, format};
    return {png(source, scale), QStringLiteral("png")};
}

QByteArray data(const QImage& image, const QString& format, double scale) {
    return encode(image, format, scale).bytes;
}

QByteArray jpegData(const QImage& image, double quality) {
    return encoded(image, platform::ImageType::jpeg, quality);
}

std::optional<QString> formatNamed(const QString& name) {
    const QString lower = name.trimmed().toLower();
    if (lower == u"png") return QStringLiteral("png");
    if (lower == u"jpg" || lower == u"jpeg") return QStringLiteral("jpg");
    if (lower == u"heic" || lower == u"heif") return QStringLiteral("heic");
    if (lower == u"webp") return QStringLiteral("webp");
    return std::nullopt;
}

QImage decoded(const QByteArray& bytes) {
    if (bytes.isEmpty()) return {};
    if (const auto& codecs = platform::services().codecs) {
        QImage image = codecs->decode(bytes);
        if (!image.isNull()) return image;
    }
    return QImage::fromData(bytes);
}

QImage readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    return decoded(file.readAll());
}

QByteArray encoded(const QImage& image, const QString& type, double quality, double scale) {
    const auto& codecs = platform::services().codecs;
    if (!codecs || image.isNull()) return {};
    return codecs->encode(image, type, quality, scale);
}

bool canEncode(const QString& type) {
    const auto& codecs = platform::services().codecs;
    return codecs && codecs->canEncode(type);
}

QImage convertedToSRGB(const QImage& image) {
    // Untagged pixels come straight from an X server, which shows them as sRGB.
    if (!image.colorSpace().isValid() || image.colorSpace() == QColorSpace::SRgb) {
        QImage tagged = image;
        tagged.setColorSpace(QColorSpace::SRgb);
        return tagged;
    }
    return image.convertedToColorSpace(QColorSpace::SRgb);
}

QImage scaled(const QImage& image, const QSize& size) {
    return image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

QImage pixelate(const QImage& image, double scale) {
    const int block = std::max(1, static_cast<int>(std::lround(scale)));
    if (image.isNull() || block == 1) return image;
    const QSize blocks((image.width() + block - 1) / block, (image.height() + block - 1) / block);
    const QImage small = image.scaled(blocks, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return small.scaled(blocks * block, Qt::IgnoreAspectRatio, Qt::FastTransformation)
        .copy(0, 0, image.width(), image.height())
        .convertToFormat(image.format());
}

QImage gaussianBlur(const QImage& image, double radius) {
    return GaussianBlur::blurred(image, sigmaForRadius(radius)).convertToFormat(image.format());
}

QImage rotated90(const QImage& image, bool clockwise) {
    return image.transformed(QTransform().rotate(clockwise ? 90 : -90));
}

QImage flipped(const QImage& image, bool horizontal) {
    return image.mirrored(horizontal, !horizontal);
}

} // namespace ImageUtils
