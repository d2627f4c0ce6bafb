#include "recording/WebcamOverlay.h"

#include "app/Prefs.h"
#include "platform/TestPatternCamera.h"
#include "support/EventLoop.h"
#include "support/FakePlatform.h"

#include <QJsonDocument>

#include <atomic>

namespace {

// Cameras that fail to open with a given sentence.
class RefusingCameras : public platform::Cameras {
public:
    QList<platform::CameraInfo> list() override {
        return {{QStringLiteral("/dev/video0"), QStringLiteral("Cam")}};
    }
    Result<std::unique_ptr<platform::Camera>> open(const QString&) override {
        return Error{QStringLiteral("The camera “Cam” is in use by another program.")};
    }
};

// The test-pattern camera as the only one.
class PatternCameras : public platform::Cameras {
public:
    QList<platform::CameraInfo> list() override {
        return {{QStringLiteral("pattern"), QStringLiteral("Pattern")}};
    }
    Result<std::unique_ptr<platform::Camera>> open(const QString& id) override {
        opened = id;
        return std::unique_ptr<platform::Camera>(std::make_unique<platform::TestPatternCamera>());
    }
    QString opened;
};

class WebcamOverlayTest : public testsupport::PlatformTest {
protected:
    RefusingCameras refusing;
    const QRect screen{0, 0, 1920, 1080};
};

TEST_F(WebcamOverlayTest, BubbleStartsBottomRightAndResizesWithinLimitsAroundItsCentre) {
    WebcamOverlay overlay(refusing, screen);
    EXPECT_EQ(overlay.bubble(), QRect(1920 - 24 - 200, 1080 - 24 - 200, 200, 200));
    const QPoint centre = overlay.bubble().center();
    overlay.resize(50);
    EXPECT_EQ(overlay.bubble().size(), QSize(96, 96));
    EXPECT_LE((overlay.bubble().center() - centre).manhattanLength(), 1);
    overlay.resize(600);
    EXPECT_EQ(overlay.bubble().size(), QSize(440, 440));
    EXPECT_LE((overlay.bubble().center() - centre).manhattanLength(), 1);

    // Points, not pixels, on a screen of two pixels a point.
    WebcamOverlay sharp(refusing, QRect(0, 0, 3840, 2160), 2);
    EXPECT_EQ(sharp.bubble().size(), QSize(400, 400));
    sharp.resize(50);
    EXPECT_EQ(sharp.bubble().size(), QSize(192, 192));
}

TEST_F(WebcamOverlayTest, PlacementsAreRecordedOnlyWhenTheBubbleMovesEnough) {
    WebcamOverlay overlay(refusing, screen);
    QRect region(100, 50, 1000, 500);
    double clock = -0.05; // a clock that starts a little late reads as 0
    overlay.moveTo({600, 300});
    overlay.follow([&] { return region; }, [&] { return clock; });
    for (int tick = 0; tick < 20; ++tick, clock += 0.1)
        overlay.recordPlacement();
    ASSERT_EQ(overlay.placements().size(), 1) << "a bubble left still gives one placement";
    const WebcamPlacement first = overlay.placements().first();
    EXPECT_DOUBLE_EQ(first.time, 0);
    EXPECT_DOUBLE_EQ(first.x, 0.5);
    EXPECT_DOUBLE_EQ(first.y, 0.5);
    EXPECT_DOUBLE_EQ(first.size, 0.2);

    overlay.moveTo({601, 300}); // 0.001 of the region: not a move worth keeping
    overlay.recordPlacement();
    EXPECT_EQ(overlay.placements().size(), 1);
    overlay.moveTo({610, 300});
    overlay.recordPlacement();
    ASSERT_EQ(overlay.placements().size(), 2);
    EXPECT_NEAR(overlay.placements().last().x, 0.51, 1e-9);
    EXPECT_NEAR(overlay.placements().last().time, clock, 1e-9);

    region = QRect(0, 0, 1, 400); // a window shrunk to nothing: no placement from it
    overlay.moveTo({0, 0});
    overlay.recordPlacement();
    EXPECT_EQ(overlay.placements().size(), 2);
    EXPECT_EQ(overlay.info().placements, overlay.placements());
}

TEST_F(WebcamOverlayTest, PlacementLookupAndJson) {
    WebcamInfo info;
    EXPECT_FALSE(info.placement(3).has_value());
    info.placements = {{1.0, 0.1, 0.2, 0.3}, {2.5, 0.4, 0.5, 0.25}};
    info.mirrored = true;
    EXPECT_EQ(info.placement(0.2), info.placements[0]) << "before the first: the first";
    EXPECT_EQ(info.placement(1.0), info.placements[0]);
    EXPECT_EQ(info.placement(2.49), info.placements[0]);
    EXPECT_EQ(info.placement(2.5), info.placements[1]);
    EXPECT_EQ(info.placement(100), info.placements[1]);

    const QByteArray json = QJsonDocument(info.toJson()).toJson();
    EXPECT_TRUE(json.contains("\"placements\"") && json.contains("\"mirrored\"") &&
                json.contains("\"size\""));
    EXPECT_EQ(WebcamInfo::fromJson(QJsonDocument::fromJson(json).object()), info);
    // Out of order or partly broken, as a hand-edited file may be: sorted, numbers default to 0.
    const auto odd = WebcamInfo::fromJson(
        QJsonDocument::fromJson(R"({"placements":[{"time":5,"x":1},{"time":"x","y":0.5},3]})").object());
    ASSERT_EQ(odd.placements.size(), 2);
    EXPECT_EQ(odd.placements[0], (WebcamPlacement{0, 0, 0.5, 0}));
    EXPECT_EQ(odd.placements[1].time, 5);
    EXPECT_FALSE(odd.mirrored);
}

TEST_F(WebcamOverlayTest, ACameraThatWillNotOpenIsReportedInOneSentence) {
    WebcamOverlay overlay(refusing, screen);
    QStringList failed;
    QObject::connect(&overlay, &WebcamOverlay::failed, [&](const QString& sentence) { failed << sentence; });
    overlay.start();
    ASSERT_TRUE(testsupport::waitUntil([&] { return failed.size() == 1; }));
    EXPECT_EQ(failed.first(), QStringLiteral("The camera “Cam” is in use by another program."));
    EXPECT_FALSE(overlay.running());
}

TEST_F(WebcamOverlayTest, TheChosenCameraFeedsTheBubbleAndTheFeedsHandler) {
    Prefs::setValue(QStringLiteral("recCameraID"), QStringLiteral("pattern"));
    Prefs::setValue(QStringLiteral("recMirrorCamera"), false);
    PatternCameras cameras;
    WebcamOverlay overlay(cameras, screen);
    EXPECT_FALSE(overlay.mirrored());
    int ready = 0;
    QObject::connect(&overlay, &WebcamOverlay::ready, [&] { ++ready; });
    std::atomic<int> handed{0};
    overlay.feed().setHandler([&](const QImage& frame, qint64) {
        if (!frame.isNull()) ++handed;
    });
    overlay.start();
    ASSERT_TRUE(testsupport::waitUntil([&] { return ready == 1 && handed >= 3; }));
    EXPECT_EQ(cameras.opened, QStringLiteral("pattern"));
    EXPECT_TRUE(overlay.running());
    EXPECT_EQ(overlay.latestFrame().size(), QSize(640, 480));
    overlay.feed().setHandler({});
    const int before = handed;
    overlay.stop();
    EXPECT_FALSE(overlay.running());
    EXPECT_EQ(handed, before) << "no picture is handed on after the handler is gone";
}

} // namespace
