// Compares a scrolling capture with the page rendered whole:
//
//   scroll_compare RESULT.png REFERENCE.png [IGNORED_RIGHT_COLUMNS]
//
// Prints the PSNR over the shared rows and columns, the rows whose pixels differ by more
// than 8 levels anywhere, and the height difference (rows doubled when positive, lost when
// negative).

#include <QGuiApplication>
#include <QImage>

#include <cmath>
#include <cstdio>

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: scroll_compare RESULT REFERENCE [IGNORED_RIGHT_COLUMNS]\n");
        return 2;
    }
    const QImage a = QImage(QString::fromLocal8Bit(argv[1])).convertToFormat(QImage::Format_RGB32);
    const QImage b = QImage(QString::fromLocal8Bit(argv[2])).convertToFormat(QImage::Format_RGB32);
    if (a.isNull() || b.isNull()) {
        std::fprintf(stderr, "scroll_compare: cannot read the images\n");
        return 1;
    }
    const int ignored = argc > 3 ? std::atoi(argv[3]) : 0;
    const int width = std::min(a.width(), b.width()) - ignored;
    const int height = std::min(a.height(), b.height());
    double squared = 0;
    int differing = 0;
    for (int y = 0; y < height; ++y) {
        const auto* p = reinterpret_cast<const QRgb*>(a.constScanLine(y));
        const auto* q = reinterpret_cast<const QRgb*>(b.constScanLine(y));
        bool differs = false;
        for (int x = 0; x < width; ++x) {
            const int d[3] = {qRed(p[x]) - qRed(q[x]), qGreen(p[x]) - qGreen(q[x]),
                              qBlue(p[x]) - qBlue(q[x])};
            for (int c : d) {
                squared += c * c;
                if (std::abs(c) > 8) differs = true;
            }
        }
        differing += differs;
    }
    const double mse = squared / (3.0 * width * height);
    const double psnr = mse == 0 ? 99.0 : 10 * std::log10(255.0 * 255.0 / mse);
    std::printf("psnr=%.1f differing_rows=%d height_delta=%d\n", psnr, differing, a.height() - b.height());
    return 0;
}
