#pragma once

#include <QImage>
#include <QPainter>

#include <random>

namespace testsupport {

// A page of "text": lines of dark word-shaped blocks of random widths and shades on white,
// no two lines alike.
inline QImage textPage(int width, int height, unsigned seed = 7) {
    QImage page(width, height, QImage::Format_RGB32);
    page.fill(Qt::white);
    QPainter painter(&page);
    std::mt19937 random(seed);
    for (int y = 6; y + 16 < height; y += 21) {
        for (int x = 10 + int(random() % 20); x < width - 50;) {
            const int w = 6 + int(random() % 48);
            const int shade = int(random() % 140);
            painter.fillRect(QRect(x, y + int(random() % 3), w, 10 + int(random() % 4)),
                             QColor(shade, shade, shade));
            x += w + 5 + int(random() % 9);
        }
    }
    return page;
}

// A list of identical items, `period` pixels apart: every multiple of it matches.
inline QImage repeatedRows(int width, int height, int period) {
    const QImage item = textPage(width, period, 3).copy(0, 0, width, period);
    QImage page(width, height, QImage::Format_RGB32);
    QPainter painter(&page);
    for (int y = 0; y < height; y += period)
        painter.drawImage(0, y, item);
    painter.fillRect(QRect(0, 0, width, 1), Qt::white);
    return page;
}

// `frameHeight` lines of `page` from `top`, under a fixed header and over a fixed footer.
inline QImage framed(const QImage& page, int top, int frameHeight, const QImage& header = {},
                     const QImage& footer = {}) {
    QImage frame(page.width(), frameHeight, QImage::Format_RGB32);
    QPainter painter(&frame);
    painter.drawImage(QPoint(0, 0), page, QRect(0, top, page.width(), frameHeight));
    if (!header.isNull()) painter.drawImage(0, 0, header);
    if (!footer.isNull()) painter.drawImage(0, frameHeight - footer.height(), footer);
    return frame;
}

inline QImage band(int width, int height, QColor color) {
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(color);
    QPainter painter(&image);
    painter.setPen(Qt::white);
    painter.fillRect(QRect(8, height / 3, width / 3, height / 3), QColor(250, 250, 250));
    return image;
}

// Whether two images have the same size and no pixel differs by more than `tolerance` in
// any channel.
inline bool alike(const QImage& a, const QImage& b, int tolerance = 2) {
    if (a.size() != b.size()) return false;
    const QImage x = a.convertToFormat(QImage::Format_RGB32), y = b.convertToFormat(QImage::Format_RGB32);
    for (int row = 0; row < x.height(); ++row) {
        const auto* p = reinterpret_cast<const QRgb*>(x.constScanLine(row));
        const auto* q = reinterpret_cast<const QRgb*>(y.constScanLine(row));
        for (int col = 0; col < x.width(); ++col)
            if (std::abs(qRed(p[col]) - qRed(q[col])) > tolerance ||
                std::abs(qGreen(p[col]) - qGreen(q[col])) > tolerance ||
                std::abs(qBlue(p[col]) - qBlue(q[col])) > tolerance)
                return false;
    }
    return true;
}

} // namespace testsupport
