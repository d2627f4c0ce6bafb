#include "recording/GIFEncoder.h"

#include "platform/Platform.h"

#include <QDir>
#include <QImageReader>

#include <array>
#include <cmath>

namespace GIFEncoder {

int levels(GIFQuality quality) {
    switch (quality) {
    case GIFQuality::small:
        return 12;
    case GIFQuality::balanced:
        return 24;
    case GIFQuality::sharp:
        break;
    }
    return 0; // unchanged
}

QString frameName(int index) {
    return QStringLiteral("frame_%1.jpg").arg(index, 6, 10, QLatin1Char('0'));
}

QImage posterized(const QImage& image, int levels) {
    if (levels < 2 || image.isNull()) return image;
    std::array<uchar, 256> table{};
    for (int value = 0; value < 256; ++value)
        table[size_t(value)] =
            uchar(std::lround(std::round(value / 255.0 * (levels - 1)) * 255.0 / (levels - 1)));
    QImage result =
        image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32 : QImage::Format_RGB32);
    for (int y = 0; y < result.height(); ++y) {
        auto* pixel = reinterpret_cast<QRgb*>(result.scanLine(y));
        for (int x = 0; x < result.width(); ++x) {
            const QRgb p = pixel[x];
            pixel[x] =
                qRgba(table[size_t(qRed(p))], table[size_t(qGreen(p))], table[size_t(qBlue(p))], qAlpha(p));
        }
    }
    return result;
}

bool encode(const QString& framesDir, int fps, const QString& destination, GIFQuality quality,
            const Progress& progress) {
    // Six-digit names sort in the order they were taken; the filter is case-sensitive, so
    // only "jpg" files count.
    QDir folder(framesDir);
    folder.setNameFilters({QStringLiteral("*.jpg")});
    folder.setFilter(QDir::Files | QDir::CaseSensitive);
    folder.setSorting(QDir::Name);
    const QStringList frames = folder.entryList();
    auto& writer = platform::services().gifs;
    if (frames.isEmpty() || !writer) return false;

    const int delay = int(std::lround(100.0 / (fps < 2 ? 1 : fps)));
    const int kept = levels(quality);
    std::unique_ptr<platform::GifFile> file; // removes what it wrote unless finished
    for (int i = 0; i < frames.size(); ++i) {
        if (progress && !progress(i, int(frames.size()))) return false;
        QImage frame(folder.filePath(frames[i]));
        if (frame.isNull()) continue;
        if (kept > 0) frame = posterized(frame, kept);
        if (!file) {
            auto created = writer->create(destination, frame.size());
            if (!created) return false;
            file = std::move(created.value());
        }
        if (!file->add(frame, delay)) return false;
    }
    if (!file || !file->finish()) return false;
    if (progress) progress(int(frames.size()), int(frames.size()));
    return true;
}

} // namespace GIFEncoder
