#pragma once

#include <QColor>
#include <QFont>
#include <QImage>
#include <QPainter>

#include <cmath>
#include <cstdint>

// Pictures for the codec tests: a screenshot-like frame (gradient with grain, a window of
// text) and a translucent overlay with every alpha value, both deterministic.
namespace codec_test {

inline uint32_t nextRandom(uint32_t& state) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
}

inline QImage screenshotLike(int width, int height) {
    QImage image(width, height, QImage::Format_RGB32);
    uint32_t state = 0x2545f491u;
    for (int y = 0; y < height; ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const int grain = int(nextRandom(state) % 7) - 3;
            const int r = 40 + (160 * x) / std::max(1, width) + grain;
            const int g = 90 + (120 * y) / std::max(1, height) + grain;
            const int b = 150 + int(40 * std::sin(x * 0.05 + y * 0.03)) + grain;
            row[x] = qRgb(std::clamp(r, 0, 255), std::clamp(g, 0, 255), std::clamp(b, 0, 255));
        }
    }
    if (width >= 40 && height >= 30) {
        QPainter painter(&image);
        const QRect window(width / 8, height / 8, width * 3 / 4, height * 3 / 4);
        painter.fillRect(window, QColor(250, 250, 248));
        painter.fillRect(window.x(), window.y(), window.width(), 14, QColor(60, 64, 72));
        QFont font(QStringLiteral("DejaVu Sans Mono"));
        font.setPixelSize(11);
        painter.setFont(font);
        painter.setPen(QColor(30, 30, 30));
        int line = 0;
        for (int y = window.y() + 28; y < window.bottom(); y += 14, ++line)
            painter.drawText(
                window.x() + 6, y,
                QStringLiteral("%1  for (int i = 0; i < count; ++i) total += weights[i] * value;").arg(line));
    }
    return image;
}

// Straight (non-premultiplied) alpha covering 0...255, over varied colour.
inline QImage translucent(int width, int height) {
    QImage image(width, height, QImage::Format_ARGB32);
    for (int y = 0; y < height; ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < width; ++x)
            row[x] = qRgba((x * 7) & 255, (y * 5) & 255, ((x + y) * 3) & 255, (x + 3 * y) & 255);
    }
    return image;
}

// Straight alpha in smooth ramps, for lossy formats.
inline QImage smoothTranslucent(int width, int height) {
    QImage image(width, height, QImage::Format_ARGB32);
    for (int y = 0; y < height; ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < width; ++x)
            row[x] = qRgba(255 * x / width, 255 * y / height, 128, 255 * (x + y) / (width + height));
    }
    return image;
}

} // namespace codec_test
