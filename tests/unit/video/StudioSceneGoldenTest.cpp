// Reference renderings of the studio look, one per option, compared with the PNGs in
// golden/ within a tolerance (fonts and antialiasing differ a little between library
// versions), and checks of where the zoom, the pointer and the frame land.
//
// After an intended change of the look, rewrite the references and review them:
//     PICTAVIA_UPDATE_GOLDEN=1 build/tests/unit_tests --gtest_filter='StudioScene*'

#include "support/GoldenImages.h"
#include "support/StudioSamples.h"
#include "video/StudioLayout.h"
#include "video/StudioScene.h"

#include <QBuffer>
#include <QDir>
#include <QPainter>
#include <QtConcurrent>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace {

using namespace studiosamples;

QString goldenDir() {
    return QDir::cleanPath(QStringLiteral(GOLDEN_DIR "/../../video/golden"));
}

QImage render(const StudioStyle& style, double time, StudioInputs inputs = sampleInputs(),
              QSize target = {}) {
    const StudioScene scene(style, std::move(inputs));
    QImage frame(target.isEmpty() ? scene.frameSize() : target, QImage::Format_RGB32);
    frame.fill(Qt::magenta); // anything left undrawn shows
    scene.render(frame, samplePicture(), time, sampleCamera());
    return frame;
}

void expectMatchesGolden(const QImage& rendered, const QString& name) {
    testsupport::expectMatchesGolden(rendered, goldenDir(), name, "pictavia-studio-" + name);
}

struct Case {
    const char* name;
    double time;
    std::function<void(StudioStyle&)> look;
};

void expectCases(const QList<Case>& cases) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        StudioStyle style = bare();
        c.look(style);
        expectMatchesGolden(render(style, c.time), QString::fromLatin1(c.name));
    }
}

// The middle of the pixels close to `color`; (-1, -1) when there are none.
QPointF centroidOf(const QImage& image, QColor color, int tolerance = 40) {
    double sx = 0, sy = 0, n = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QColor c = image.pixelColor(x, y);
            if (std::abs(c.red() - color.red()) <= tolerance &&
                std::abs(c.green() - color.green()) <= tolerance &&
                std::abs(c.blue() - color.blue()) <= tolerance) {
                sx += x + 0.5;
                sy += y + 0.5;
                ++n;
            }
        }
    return n == 0 ? QPointF(-1, -1) : QPointF(sx / n, sy / n);
}

TEST(StudioSceneGolden, BackgroundPaddingCornersAndShadow) {
    expectCases({
        {"framed", 0.2, [](StudioStyle& s) { s = framed(); }},
        {"framed_no_shadow", 0.2,
         [](StudioStyle& s) {
             s = framed();
             s.shadow = false;
         }},
        {"framed_square_corners", 0.2,
         [](StudioStyle& s) {
             s = framed();
             s.background = BackgroundStyle::GlassSunset;
             s.cornerRadius = 0;
             s.padding = 0.15;
         }},
    });
}

TEST(StudioSceneGolden, EveryShapeFittedAndFollowingThePointer) {
    QList<Case> cases;
    for (StudioShape shape : {StudioShape::vertical, StudioShape::square})
        for (StudioFraming framing : {StudioFraming::fit, StudioFraming::follow})
            for (double time : {0.2, 3.0}) {
                static QList<QByteArray> names;
                names.append("shape_" + studioShapeValues.raw(shape).toLatin1() + "_" +
                             studioFramingValues.raw(framing).toLatin1() + (time < 1 ? "_start" : "_end"));
                cases.append({names.constLast().constData(), time, [=](StudioStyle& s) {
                                  s = framed();
                                  s.shape = shape;
                                  s.framing = framing;
                              }});
            }
    cases.append({"shape_square_plain", 0.2, [](StudioStyle& s) { s.shape = StudioShape::square; }});
    expectCases(cases);
}

TEST(StudioSceneGolden, ZoomEasesTowardItsCentre) {
    expectCases({
        {"zoom_ramp", 1.0 + ZoomTrack::ramp / 2, [](StudioStyle&) {}},
        {"zoom_full", 1.6, [](StudioStyle&) {}},
        {"zoom_full_framed", 1.6, [](StudioStyle& s) { s = framed(); }},
        {"zoom_following_pointer", 1.6, [](StudioStyle& s) { s.followPointer = true; }},
    });
}

TEST(StudioSceneGolden, PointerAndRipples) {
    expectCases({
        {"pointer", 0.5, [](StudioStyle& s) { s.drawPointer = true; }},
        {"pointer_large", 0.5,
         [](StudioStyle& s) {
             s.drawPointer = true;
             s.pointerSize = 2.5;
         }},
        {"pointer_zoomed", 1.6, [](StudioStyle& s) { s.drawPointer = true; }},
        {"ripple", 1.15,
         [](StudioStyle& s) {
             s.clickRipples = true;
             s.drawPointer = true;
         }},
        {"ripple_late", 2.85, [](StudioStyle& s) { s.clickRipples = true; }},
    });
}

TEST(StudioSceneGolden, CaptionLooks) {
    expectCases({
        {"caption_box_bottom", 0.5, [](StudioStyle& s) { s.captions = true; }},
        {"caption_outline_top_yellow", 0.5,
         [](StudioStyle& s) {
             s.captions = true;
             s.captionLook = CaptionLook::outline;
             s.captionPosition = CaptionPosition::top;
             s.captionColor = CaptionColor::yellow;
         }},
        {"caption_box_top_yellow_large", 0.5,
         [](StudioStyle& s) {
             s.captions = true;
             s.captionPosition = CaptionPosition::top;
             s.captionColor = CaptionColor::yellow;
             s.captionScale = 1.6;
         }},
        {"caption_framed_vertical", 0.5,
         [](StudioStyle& s) {
             s = framed();
             s.shape = StudioShape::vertical;
             s.captions = true;
         }},
    });
}

TEST(StudioSceneGolden, CameraBubble) {
    expectCases({
        {"camera_recorded_start", 0.5, [](StudioStyle& s) { s.camera = true; }},
        {"camera_recorded_moved_larger", 2.5,
         [](StudioStyle& s) {
             s.camera = true;
             s.cameraSize = 1.5;
         }},
        {"camera_bottom_right_circle", 0.5,
         [](StudioStyle& s) {
             s = framed();
             s.camera = true;
             s.cameraPosition = CameraPosition::bottomRight;
         }},
        {"camera_top_left_rounded", 0.5,
         [](StudioStyle& s) {
             s.camera = true;
             s.cameraPosition = CameraPosition::topLeft;
             s.cameraShape = CameraShape::rounded;
         }},
        {"camera_top_right_blur", 0.5,
         [](StudioStyle& s) {
             s.camera = true;
             s.cameraPosition = CameraPosition::topRight;
             s.cameraSize = 2.0;
             s.cameraBlur = true;
         }},
    });
}

TEST(StudioSceneTest, FrameSizesFollowTheShapeAndStayEven) {
    StudioStyle style;
    EXPECT_EQ(StudioLayout::frameSize(style, {1280, 720}), QSize(1280, 720));
    style.background = BackgroundStyle::Ocean;
    style.padding = 0.1;
    // The padding is a tenth of the grown frame's shorter side: 720 + 2p = 900.
    EXPECT_EQ(StudioLayout::frameSize(style, {1280, 720}), QSize(1460, 900));
    style.shape = StudioShape::vertical;
    EXPECT_EQ(StudioLayout::frameSize(style, {1280, 720}), QSize(720, 1280));
    style.shape = StudioShape::wide;
    EXPECT_EQ(StudioLayout::frameSize(style, {1080, 1920}), QSize(1920, 1080));
    style.shape = StudioShape::square;
    EXPECT_EQ(StudioLayout::frameSize(style, {1001, 333}), QSize(1002, 1002));
}

TEST(StudioSceneTest, APlainLookShowsTheRecordingAsItIs) {
    StudioInputs inputs = sampleInputs();
    inputs.zoom = {};
    inputs.captions.clear();
    inputs.hasCamera = false;
    const StudioScene scene(StudioStyle{}, inputs);
    EXPECT_FALSE(scene.isStyled());
    EXPECT_EQ(scene.frameSize(), videoSize);
    QImage frame(videoSize, QImage::Format_RGB32);
    frame.fill(Qt::magenta);
    scene.render(frame, samplePicture(), 1.0, sampleCamera());
    EXPECT_EQ(frame, samplePicture());

    // What counts as styled: each of these alone.
    StudioStyle captions;
    captions.captions = true;
    EXPECT_FALSE(StudioScene(captions, inputs).isStyled()); // no lines to show
    inputs.captions = sampleInputs().captions;
    EXPECT_TRUE(StudioScene(captions, inputs).isStyled());
    inputs.hasCamera = true;
    EXPECT_TRUE(StudioScene(StudioStyle{}, inputs).isStyled());
    inputs = sampleInputs();
    inputs.captions.clear();
    inputs.hasCamera = false;
    EXPECT_TRUE(StudioScene(bare(), inputs).isStyled()); // the zoom
}

TEST(StudioSceneTest, AFittedRecordingWithoutBackgroundHasBlackBarsAndNothingElse) {
    StudioStyle style = bare();
    style.shape = StudioShape::square;
    const QImage frame = render(style, 0.2);
    ASSERT_EQ(frame.size(), QSize(320, 320));
    // The 320 × 180 picture sits in the middle rows; the rows above and below are black.
    for (int y : {0, 60, 69, 251, 260, 319})
        for (int x : {0, 160, 319})
            EXPECT_EQ(frame.pixel(x, y), qRgb(0, 0, 0)) << x << "," << y;
    EXPECT_EQ(frame.pixel(160, 160), samplePicture().pixel(160, 90));
}

TEST(StudioSceneTest, TheCardsCornersAreRoundedOverTheBackground) {
    for (double time : {0.2, 1.6}) { // still and zoomed
        const QImage frame = render(framed(), time);
        const QRect card = StudioLayout::card(framed(), videoSize, frame.size());
        // The picture's top corners are its light grey title bar; the ocean background is blue.
        for (QPoint corner : {card.topLeft() + QPoint(1, 1), card.topRight() + QPoint(-1, 1)}) {
            const QRgb pixel = frame.pixel(corner);
            EXPECT_GT(qBlue(pixel), qRed(pixel) + 60) << corner.x() << "," << corner.y();
        }
        const QRgb inside = frame.pixel(card.center().x(), card.top() + 3);
        EXPECT_NEAR(qRed(inside), 230, 12);
    }
}

TEST(StudioSceneTest, FullZoomPutsTheKeyframeCentreInTheMiddle) {
    QImage picture = samplePicture();
    {
        QPainter p(&picture);
        p.fillRect(QRectF(0.35 * 320 - 3, 0.6 * 180 - 3, 6, 6), QColor(255, 0, 0));
    }
    StudioInputs inputs = sampleInputs();
    inputs.zoom.keyframes.first().center = {0.35, 0.6};
    for (const StudioStyle& style : {bare(), framed()}) {
        const StudioScene scene(style, inputs);
        QImage frame(scene.frameSize(), QImage::Format_RGB32);
        scene.render(frame, picture, 1.6);
        const QPointF marker = centroidOf(frame, QColor(255, 0, 0));
        const QRect card = StudioLayout::card(style, videoSize, frame.size());
        EXPECT_NEAR(marker.x(), card.center().x() + 0.5, 2.0);
        EXPECT_NEAR(marker.y(), card.center().y() + 0.5, 2.0);
        // Fully in at level 2: the 6-pixel marker is 12 pixels wide (at the card's scale).
        const double scale = double(card.width()) / 320;
        const QImage red = frame.copy(card);
        int wide = 0;
        for (int x = 0; x < red.width(); ++x)
            wide += qRed(red.pixel(x, int(marker.y()) - card.top())) > 230 &&
                    qGreen(red.pixel(x, int(marker.y()) - card.top())) < 40;
        EXPECT_NEAR(wide, 12 * scale, 2.5);
    }
}

TEST(StudioSceneTest, AZoomNearAnEdgeStopsAtThePictureEdge) {
    StudioInputs inputs = sampleInputs();
    inputs.zoom.keyframes.first().center = {0.98, 0.02};
    inputs.zoom.keyframes.first().level = 3.0;
    const QImage frame = render(bare(), 1.6, inputs);
    // The view is the picture's top right third: every pixel comes from the picture, none is
    // left as it was (magenta) or shows black beyond its edge.
    for (int y = 0; y < frame.height(); ++y)
        for (int x = 0; x < frame.width(); ++x) {
            ASSERT_NE(frame.pixel(x, y), qRgb(255, 0, 255)) << x << "," << y;
            ASSERT_NE(frame.pixel(x, y), qRgb(0, 0, 0)) << x << "," << y;
        }
    // The title bar runs along the top.
    EXPECT_EQ(frame.pixel(frame.width() / 2, 2), qRgb(230, 232, 238));
}

TEST(StudioSceneTest, ThePointerPointsWhereTheTrackSays) {
    StudioInputs inputs = sampleInputs();
    inputs.timeline->cursor = {{0, 0.25, 0.5, 0}, {4, 0.25, 0.5, 0}};
    inputs.zoom = {};
    StudioStyle style = bare();
    style.drawPointer = true;
    QPointF tip = centroidOf(render(style, 1.0, inputs), QColor(0, 255, 0));
    EXPECT_NEAR(tip.x(), 80, 1.0);
    EXPECT_NEAR(tip.y(), 90, 1.0);

    // Framed and zoomed, the pointer stays over the same spot of the picture: where a red
    // mark drawn into the picture at the track's place ends up.
    inputs.timeline->cursor = {{0, 0.6, 0.4, 0}, {4, 0.6, 0.4, 0}};
    inputs.zoom = sampleInputs().zoom;
    style = framed();
    style.drawPointer = true;
    style.pointerSize = 2.0;
    style.followPointer = true;
    QImage picture = samplePicture();
    {
        QPainter p(&picture);
        p.fillRect(QRectF(0.6 * 320 - 1, 0.4 * 180 - 1, 2, 2), QColor(255, 0, 0));
    }
    for (double time : {1.2, 1.6}) {
        SCOPED_TRACE(time);
        const StudioScene scene(style, inputs);
        QImage withPointer(scene.frameSize(), QImage::Format_RGB32);
        scene.render(withPointer, picture, time);
        StudioStyle hidden = style;
        hidden.drawPointer = false;
        const StudioScene without(hidden, inputs);
        QImage mark(scene.frameSize(), QImage::Format_RGB32);
        without.render(mark, picture, time);
        const QPointF expected = centroidOf(mark, QColor(255, 0, 0), 60);
        tip = centroidOf(withPointer, QColor(0, 255, 0));
        EXPECT_NEAR(tip.x(), expected.x(), 1.5);
        EXPECT_NEAR(tip.y(), expected.y(), 1.5);
    }
}

TEST(StudioSceneTest, FramesDrawnOnSeveralThreadsAtOnceMatchOnesDrawnAlone) {
    StudioStyle style = framed();
    style.drawPointer = true;
    style.clickRipples = true;
    style.captions = true;
    style.camera = true;
    style.shape = StudioShape::wide;
    const StudioScene scene(style, sampleInputs());
    const QImage picture = samplePicture();
    const QImage camera = sampleCamera();
    QList<double> times;
    for (int i = 0; i < 40; ++i)
        times.append(i * 0.1);
    const auto draw = [&](double time) {
        QImage frame(640, 360, QImage::Format_RGB32);
        scene.render(frame, picture, time, camera);
        return frame;
    };
    const QList<QImage> together = QtConcurrent::blockingMapped(times, draw);
    for (qsizetype i = 0; i < times.size(); ++i)
        EXPECT_EQ(together[i], draw(times[i])) << times[i];
}

} // namespace
