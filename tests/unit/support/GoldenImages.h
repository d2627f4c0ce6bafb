#pragma once

#include <QDir>
#include <QImage>
#include <QString>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace testsupport {

// Compares a rendering with the reference `name`.png in `directory`, or with
// PICTAVIA_UPDATE_GOLDEN=1 in the environment writes it as the new reference. The measure is
// the peak signal-to-noise ratio over all four channels and the share of pixels with a
// channel off by more than 64: together they pass font hinting changes but not a missing
// shape or a wrong colour. A failing rendering is kept in the temporary folder as
// `savedAs`.png for a look.
inline void expectMatchesGolden(const QImage& rendered, const QString& directory, const QString& name,
                                const QString& savedAs) {
    const QImage actual = rendered.convertToFormat(QImage::Format_ARGB32);
    const QString path = QDir(directory).filePath(name + ".png");
    if (qEnvironmentVariableIntValue("PICTAVIA_UPDATE_GOLDEN") == 1) {
        QDir().mkpath(directory);
        ASSERT_TRUE(actual.save(path)) << path.toStdString();
        return;
    }
    const QImage expected = QImage(path).convertToFormat(QImage::Format_ARGB32);
    ASSERT_FALSE(expected.isNull()) << "no reference " << path.toStdString()
                                    << "; run with PICTAVIA_UPDATE_GOLDEN=1 to create it";
    ASSERT_EQ(actual.size(), expected.size()) << name.toStdString();

    double squared = 0;
    qint64 farOff = 0;
    for (int y = 0; y < actual.height(); ++y) {
        const auto* a = reinterpret_cast<const QRgb*>(actual.constScanLine(y));
        const auto* e = reinterpret_cast<const QRgb*>(expected.constScanLine(y));
        for (int x = 0; x < actual.width(); ++x) {
            int worst = 0;
            for (int shift : {0, 8, 16, 24}) {
                const int d = int((a[x] >> shift) & 0xFF) - int((e[x] >> shift) & 0xFF);
                squared += d * d;
                worst = std::max(worst, std::abs(d));
            }
            farOff += worst > 64;
        }
    }
    const qint64 pixels = qint64(actual.width()) * actual.height();
    const double mse = squared / double(pixels * 4);
    const double psnr = mse == 0 ? 99 : 10 * std::log10(255.0 * 255.0 / mse);
    EXPECT_GE(psnr, 30.0) << name.toStdString();
    EXPECT_LE(double(farOff) / double(pixels), 0.01) << name.toStdString();
    if (::testing::Test::HasFailure()) actual.save(QDir::temp().filePath(savedAs + ".png"));
}

} // namespace testsupport
