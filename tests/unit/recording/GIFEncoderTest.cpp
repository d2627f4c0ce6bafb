#include "recording/GIFEncoder.h"

#include "platform/Platform.h"
#include "platform/media/GiflibWriter.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QImageReader>
#include <QPainter>
#include <QSet>
#include <QTemporaryDir>

#include <cmath>

namespace {

class GIFEncoderTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    QString frames = dir.filePath("frames");
    QString gif = dir.filePath("out.gif");

    void SetUp() override {
        QDir().mkpath(frames);
        platform::Services services;
        services.gifs = std::make_unique<platform::media::GiflibWriter>();
        platform::install(std::move(services));
    }
    void TearDown() override { platform::services().gifs.reset(); }

    void writeFrame(int index, const QImage& image) const {
        ASSERT_TRUE(
            image.save(frames + '/' + GIFEncoder::frameName(index), "JPEG", GIFEncoder::frameQuality));
    }
    static QImage flat(QColor color, QSize size = {40, 30}) {
        QImage image(size, QImage::Format_RGB32);
        image.fill(color);
        return image;
    }

    struct Decoded {
        QList<QImage> frames;
        QList<int> delays;
        int loops = 0;
    };
    Decoded decode() const {
        Decoded decoded;
        QImageReader reader(gif);
        decoded.loops = reader.loopCount();
        for (QImage frame = reader.read(); !frame.isNull(); frame = reader.read()) {
            decoded.frames.append(frame.convertToFormat(QImage::Format_RGB32));
            decoded.delays.append(reader.nextImageDelay());
        }
        return decoded;
    }
};

double psnr(const QImage& a, const QImage& b) {
    double sum = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y), q = b.pixel(x, y);
            for (const int d : {qRed(p) - qRed(q), qGreen(p) - qGreen(q), qBlue(p) - qBlue(q)})
                sum += d * d;
        }
    const double mse = sum / (3.0 * a.width() * a.height());
    return mse == 0 ? 99 : 10 * std::log10(255.0 * 255.0 / mse);
}

bool near(QColor a, QColor b) {
    return std::abs(a.red() - b.red()) <= 12 && std::abs(a.green() - b.green()) <= 12 &&
           std::abs(a.blue() - b.blue()) <= 12;
}

TEST_F(GIFEncoderTest, FramesGoInNameOrderWithEqualDelaysLoopingForEverSkippingWhatIsNotAFrame) {
    writeFrame(10, flat(Qt::red));
    writeFrame(2, flat(Qt::blue));
    QFile broken(frames + '/' + GIFEncoder::frameName(5));
    ASSERT_TRUE(broken.open(QIODevice::WriteOnly));
    broken.write("not a picture");
    broken.close();
    flat(Qt::green).save(frames + "/notes.png");
    flat(Qt::green).save(frames + "/upper.JPG", "JPEG");

    ASSERT_TRUE(GIFEncoder::encode(frames, 10, gif, GIFQuality::sharp));
    const Decoded decoded = decode();
    ASSERT_EQ(decoded.frames.size(), 2);
    EXPECT_TRUE(near(decoded.frames[0].pixelColor(5, 5), Qt::blue));
    EXPECT_TRUE(near(decoded.frames[1].pixelColor(5, 5), Qt::red));
    EXPECT_EQ(decoded.delays, (QList<int>{100, 100}));
    EXPECT_EQ(decoded.loops, -1) << "repeats for ever";

    for (const int fps : {1, 0}) {
        ASSERT_TRUE(GIFEncoder::encode(frames, fps, gif, GIFQuality::sharp));
        EXPECT_EQ(decode().delays, (QList<int>{1000, 1000})) << fps;
    }
}

TEST_F(GIFEncoderTest, NothingToEncodeOrACancelLeavesNoFile) {
    EXPECT_FALSE(GIFEncoder::encode(dir.filePath("missing"), 10, gif, GIFQuality::balanced));
    flat(Qt::green).save(frames + "/notes.png");
    EXPECT_FALSE(GIFEncoder::encode(frames, 10, gif, GIFQuality::balanced));
    EXPECT_FALSE(QFile::exists(gif));

    for (int i = 0; i < 3; ++i)
        writeFrame(i, flat(QColor(i * 80, 0, 0)));
    QList<std::pair<int, int>> reported;
    const auto cancelAtTwo = [&](int done, int total) {
        reported.append({done, total});
        return done < 2;
    };
    EXPECT_FALSE(GIFEncoder::encode(frames, 10, gif, GIFQuality::balanced, cancelAtTwo));
    EXPECT_FALSE(QFile::exists(gif));
    EXPECT_EQ(reported, (QList<std::pair<int, int>>{{0, 3}, {1, 3}, {2, 3}}));

    EXPECT_FALSE(
        GIFEncoder::encode(frames, 10, dir.filePath("no/such/folder/out.gif"), GIFQuality::balanced));
}

// Each frame carries only what changed, transparent where nothing did: played back, every
// frame must still be the whole picture, and a repeated frame only lengthens the one before.
TEST_F(GIFEncoderTest, PlaybackShowsEveryWholeFrameWhenOnlyChangesAreStored) {
    QImage background(160, 120, QImage::Format_RGB32);
    for (int y = 0; y < background.height(); ++y)
        for (int x = 0; x < background.width(); ++x)
            background.setPixel(x, y, qRgb(x * 255 / 160, y * 255 / 120, (x + y) % 256));
    QList<QImage> sources;
    for (int i = 0; i < 6; ++i) {
        QImage frame = background;
        QPainter painter(&frame);
        const int at = i == 3 ? 2 : i; // frame 3 repeats frame 2
        painter.fillRect(QRect(10 + at * 20, 40, 24, 24), Qt::white);
        painter.end();
        sources.append(frame);
        writeFrame(i, frame);
    }
    ASSERT_TRUE(GIFEncoder::encode(frames, 10, gif, GIFQuality::sharp));
    const Decoded decoded = decode();
    ASSERT_EQ(decoded.frames.size(), 5);
    EXPECT_EQ(decoded.delays, (QList<int>{100, 100, 200, 100, 100}));
    // The first frame is stored whole: the later ones, stored in parts over it, must come
    // as close to their sources as it does (a misplaced part costs over 10 dB).
    const QList<int> shown{0, 1, 2, 4, 5};
    const auto source = [&](int i) {
        return QImage(frames + '/' + GIFEncoder::frameName(shown[i])).convertToFormat(QImage::Format_RGB32);
    };
    const double whole = psnr(decoded.frames[0], source(0));
    EXPECT_GT(whole, 25);
    for (int i = 1; i < decoded.frames.size(); ++i)
        EXPECT_GT(psnr(decoded.frames[i], source(i)), whole - 2) << "frame " << i;
}

TEST_F(GIFEncoderTest, QualitiesPosteriseToTheirLevels) {
    QImage ramp(256, 4, QImage::Format_RGB32);
    for (int x = 0; x < 256; ++x)
        for (int y = 0; y < 4; ++y)
            ramp.setPixel(x, y, qRgb(x, 255 - x, x / 2));
    for (const int levels : {12, 24}) {
        const QImage out = GIFEncoder::posterized(ramp, levels);
        QSet<int> reds;
        for (int x = 0; x < 256; ++x)
            reds.insert(qRed(out.pixel(x, 0)));
        EXPECT_EQ(reds.size(), levels);
        EXPECT_TRUE(reds.contains(0) && reds.contains(255));
        EXPECT_LE(std::abs(qRed(out.pixel(128, 0)) - 128), 256 / levels) << "close to the input";
    }
    EXPECT_EQ(GIFEncoder::posterized(ramp, 0), ramp);
}

} // namespace
