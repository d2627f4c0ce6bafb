// Styled frames composed in 4:2:0 by the exporter look like the same frames drawn whole in
// RGB (what the preview shows) and then converted for the encoder: every look, still, zooming
// and with the card's edges between chroma samples.

#include "platform/media/LayeredComposer.h"
#include "platform/media/FfmpegHandles.h"
#include "platform/media/PlaneScaler.h"
#include "support/StudioSamples.h"
#include "video/StudioFrameLayers.h"
#include "video/StudioLayout.h"

extern "C" {
#include <libavutil/frame.h>
}

#include <libyuv/convert_argb.h>
#include <libyuv/convert_from_argb.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

namespace {

using namespace studiosamples;
using platform::media::FrameHandle;

FrameHandle planarFrame(QSize size) {
    FrameHandle frame(av_frame_alloc());
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = size.width();
    frame->height = size.height();
    EXPECT_GE(av_frame_get_buffer(frame.get(), 0), 0);
    return frame;
}

FrameHandle toPlanar(const QImage& image) {
    const QImage rgb = image.convertToFormat(QImage::Format_RGB32);
    FrameHandle frame = planarFrame(rgb.size());
    libyuv::ARGBToI420(rgb.constBits(), int(rgb.bytesPerLine()), frame->data[0], frame->linesize[0],
                       frame->data[1], frame->linesize[1], frame->data[2], frame->linesize[2], rgb.width(),
                       rgb.height());
    return frame;
}

QImage toRgb(const AVFrame* frame) {
    QImage image(frame->width, frame->height, QImage::Format_RGB32);
    libyuv::I420ToARGB(frame->data[0], frame->linesize[0], frame->data[1], frame->linesize[1], frame->data[2],
                       frame->linesize[2], image.bits(), int(image.bytesPerLine()), frame->width,
                       frame->height);
    return image;
}

struct Difference {
    double psnr = 0;   // dB over R, G and B
    int worst = 0;     // the largest difference of one channel
    double farOff = 0; // the share of pixels with a channel off by more than 24
};

Difference differenceOf(const QImage& a, const QImage& b) {
    double squared = 0;
    int worst = 0;
    qint64 far = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y);
            const QRgb q = b.pixel(x, y);
            const int d[3] = {qRed(p) - qRed(q), qGreen(p) - qGreen(q), qBlue(p) - qBlue(q)};
            int most = 0;
            for (int c : d) {
                squared += c * c;
                most = std::max(most, std::abs(c));
            }
            worst = std::max(worst, most);
            far += most > 24;
        }
    const double mean = squared / (3.0 * a.width() * a.height());
    return {mean == 0 ? 99 : 10 * std::log10(255.0 * 255.0 / mean), worst,
            double(far) / (a.width() * a.height())};
}

struct Look {
    const char* name;
    double time;
    std::function<void(StudioStyle&)> change;
    QSize target; // empty: the scene's own frame size
};

// What the encoder gets either way: the frame drawn whole in RGB then converted, and the
// frame composed in 4:2:0 (both shown as RGB again).
std::pair<QImage, QImage> bothWays(const Look& look) {
    StudioStyle style = bare();
    look.change(style);
    const StudioScene scene(style, sampleInputs());
    const QSize size = look.target.isEmpty() ? scene.frameSize() : look.target;
    // The recording's picture as its decoder gives it, in 4:2:0.
    const FrameHandle picture = toPlanar(samplePicture());
    QImage drawn(size, QImage::Format_RGB32);
    scene.render(drawn, toRgb(picture.get()), look.time, sampleCamera());
    const QImage expected = toRgb(toPlanar(drawn).get());

    const StudioFrameLayers layers(scene);
    platform::media::LayeredComposer composer(layers, size);
    const FrameHandle target = planarFrame(size);
    composer.compose(target.get(), picture.get(), look.time, sampleCamera());
    return {toRgb(target.get()), expected};
}

void expectLooksAlike(const QList<Look>& looks) {
    for (const Look& look : looks) {
        SCOPED_TRACE(look.name);
        const auto [composed, expected] = bothWays(look);
        const Difference difference = differenceOf(composed, expected);
        EXPECT_GE(difference.psnr, 42.0);
        EXPECT_LE(difference.farOff, 0.002);
        if (qEnvironmentVariableIntValue("PICTAVIA_SHOW_DIFFERENCES") == 1)
            std::printf("%-28s PSNR %.1f dB, worst %d, far off %.4f%%\n", look.name, difference.psnr,
                        difference.worst, difference.farOff * 100);
    }
}

StudioStyle withPointer(StudioStyle style) {
    style.drawPointer = true;
    style.clickRipples = true;
    return style;
}

TEST(LayeredComposerTest, StillLooksMatchTheWholeFrameDrawing) {
    expectLooksAlike({
        {"framed", 0.2, [](StudioStyle& s) { s = framed(); }, {}},
        {"framed_square_corners",
         0.2,
         [](StudioStyle& s) {
             s = framed();
             s.background = BackgroundStyle::GlassSunset;
             s.cornerRadius = 0;
             s.padding = 0.15;
         },
         {}},
        {"square_black_bars", 0.2, [](StudioStyle& s) { s.shape = StudioShape::square; }, {}},
        {"vertical_following",
         3.0,
         [](StudioStyle& s) {
             s = framed();
             s.shape = StudioShape::vertical;
             s.framing = StudioFraming::follow;
         },
         {}},
    });
}

TEST(LayeredComposerTest, ZoomPointerRipplesCaptionsAndCameraMatchTheWholeFrameDrawing) {
    expectLooksAlike({
        {"zoom_ramp", 1.0 + ZoomTrack::ramp / 2, [](StudioStyle& s) { s = withPointer(framed()); }, {}},
        {"zoom_full", 1.6, [](StudioStyle& s) { s = withPointer(s); }, {}},
        {"ripple", 1.15, [](StudioStyle& s) { s = withPointer(framed()); }, {}},
        {"caption",
         0.5,
         [](StudioStyle& s) {
             s = framed();
             s.captions = true;
         },
         {}},
        {"camera_circle",
         0.5,
         [](StudioStyle& s) {
             s = framed();
             s.camera = true;
             s.cameraPosition = CameraPosition::bottomRight;
         },
         {}},
        {"camera_blur",
         0.5,
         [](StudioStyle& s) {
             s.camera = true;
             s.cameraPosition = CameraPosition::topRight;
             s.cameraSize = 2.0;
             s.cameraBlur = true;
         },
         {}},
    });
}

TEST(LayeredComposerTest, ACardOnOddPixelsKeepsTheBackgroundsColourBesideIt) {
    StudioStyle style = framed();
    style.background = BackgroundStyle::GlassSunset;
    style.cornerRadius = 0;
    // Frames whose card starts on an odd column and row and ends on an even one.
    QSize odd;
    for (int w = 400; w < 440 && odd.isEmpty(); w += 2) {
        const QSize size(w, w * 9 / 16 & ~1);
        const QRect card = StudioLayout::card(style, videoSize, size);
        if (card.left() % 2 && card.top() % 2 && card.right() % 2 == 0 && card.bottom() % 2 == 0) odd = size;
    }
    ASSERT_FALSE(odd.isEmpty());
    expectLooksAlike({{"odd_card", 0.2, [&](StudioStyle& s) { s = style; }, odd},
                      {"odd_card_zoomed", 1.3, [&](StudioStyle& s) { s = withPointer(style); }, odd}});
}

TEST(PlaneScalerTest, AViewMovedByAFractionOfAPixelMovesThePictureByAsMuch) {
    // A plane with one bright column: shown at four times its size from a view that starts a
    // quarter pixel further right, the bright band moves one output pixel left.
    std::vector<uint8_t> plane(64 * 8, 16);
    for (int y = 0; y < 8; ++y)
        plane[size_t(y) * 64 + 32] = 235;
    const platform::media::PlaneView from{plane.data(), 64, 64, 8};
    const auto brightest = [&](double left) {
        std::vector<uint8_t> out(128 * 8);
        platform::media::PlaneScaler scaler;
        scaler.scale(from, QRectF(left, 0, 32, 8), out.data(), 128, QRectF(0, 0, 128, 32),
                     QRect(0, 0, 128, 8));
        double sum = 0, weight = 0;
        for (int x = 0; x < 128; ++x) {
            sum += (x + 0.5) * (out[size_t(x)] - 16);
            weight += out[size_t(x)] - 16;
        }
        return sum / weight;
    };
    EXPECT_NEAR(brightest(16), (32.5 - 16) * 4, 0.1);
    EXPECT_NEAR(brightest(16.25), (32.5 - 16.25) * 4, 0.1);
}

// Bilinear sampling worked out in doubles, clamped to the source area's whole pixels.
double sampled(const std::vector<uint8_t>& plane, int stride, const QRect& bounds, double x, double y) {
    const auto at = [&](int col, int row) {
        col = std::clamp(col, bounds.left(), bounds.right());
        row = std::clamp(row, bounds.top(), bounds.bottom());
        return double(plane[size_t(row) * size_t(stride) + size_t(col)]);
    };
    const double fx = std::floor(x), fy = std::floor(y);
    const double wx = x - fx, wy = y - fy;
    const int cx = int(fx), cy = int(fy);
    return (at(cx, cy) * (1 - wx) + at(cx + 1, cy) * wx) * (1 - wy) +
           (at(cx, cy + 1) * (1 - wx) + at(cx + 1, cy + 1) * wx) * wy;
}

TEST(PlaneScalerTest, EveryScaleAgreesWithBilinearSamplingWorkedOutExactly) {
    const int width = 200, height = 120;
    std::vector<uint8_t> plane(size_t(width) * height);
    uint32_t seed = 7;
    for (uint8_t& value : plane) {
        seed = seed * 1664525 + 1013904223;
        value = uint8_t(seed >> 24);
    }
    const platform::media::PlaneView from{plane.data(), width, width, height};
    struct Case {
        QRectF source;
        QRectF place;
        QRect fill;
    };
    const QList<Case> cases = {
        {{0.3, 0.7, 180.5, 100.2}, {3, 5, 160, 90}, {3, 5, 160, 90}},     // a little smaller
        {{50.25, 30.5, 40, 30}, {0, 0, 97, 70}, {0, 0, 97, 70}},          // zoomed in
        {{0, 0, 200, 120}, {1.5, 0.5, 60, 36}, {2, 1, 59, 35}},           // far smaller
        {{120.6, 10.1, 79.4, 100}, {10, 10, 150, 95}, {10, 10, 150, 95}}, // at the right edge
        {{0, 0, 200, 120}, {0, 0, 200, 120}, {40, 20, 100, 60}},          // one to one, a part
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.place.width());
        std::vector<uint8_t> out(size_t(256) * 160, 0);
        platform::media::PlaneScaler scaler;
        scaler.scale(from, c.source, out.data(), 256, c.place, c.fill);
        const QRect bounds = c.source.toAlignedRect() & QRect(0, 0, width, height);
        int worst = 0;
        for (int y = c.fill.top(); y <= c.fill.bottom(); ++y)
            for (int x = c.fill.left(); x <= c.fill.right(); ++x) {
                const double sx =
                    c.source.left() + (x + 0.5 - c.place.left()) * c.source.width() / c.place.width();
                const double sy =
                    c.source.top() + (y + 0.5 - c.place.top()) * c.source.height() / c.place.height();
                const double expected = sampled(plane, width, bounds, sx - 0.5, sy - 0.5);
                worst =
                    std::max(worst, int(std::lround(std::abs(out[size_t(y) * 256 + size_t(x)] - expected))));
            }
        // Sample positions are kept to 1/64 of a pixel: on noise that is up to 2 levels, and 1 of rounding.
        EXPECT_LE(worst, 3);
    }
}

} // namespace
