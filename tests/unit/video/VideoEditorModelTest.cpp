#include "video/VideoEditorModel.h"
#include "video/StudioScene.h"

#include "../support/EventLoop.h"
#include "../support/FakePlatform.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

using namespace testsupport;

class VideoEditorModelTest : public PlatformTest {
protected:
    // A movie file (its pictures come from the fake reader: 10 s, 64×48) with `clicks`
    // recorded beside it.
    QString movie(const QList<ClickMark>& clicks, bool studio = false,
                  const QString& name = QStringLiteral("clip.mov")) {
        media->mediaInfo.duration = 10;
        const QString file = home.filePath(name);
        QFile out(file);
        EXPECT_TRUE(out.open(QIODevice::WriteOnly));
        out.write(QByteArray(1234, 'x'));
        out.close();
        if (!clicks.isEmpty() || studio) {
            RecordingTimeline timeline;
            timeline.clicks = clicks;
            timeline.clicksTracked = true;
            timeline.studio = studio;
            if (studio) timeline.cursor = {{0, 0.5, 0.5, 0}, {1, 0.6, 0.5, 0}};
            EXPECT_TRUE(TimelineStore::save(timeline, file));
        }
        return file;
    }
};

TEST_F(VideoEditorModelTest, LoadsTheMovieAndWhatWasRecordedWithIt) {
    VideoEditorModel model(movie({{2, 0.25, 0.75}}, true), false);
    EXPECT_TRUE(model.loadError().isEmpty());
    EXPECT_EQ(model.duration(), 10);
    EXPECT_EQ(model.trimEnd(), 10);
    EXPECT_EQ(model.videoSize(), QSize(64, 48));
    EXPECT_EQ(model.sourceBytes(), 1234);
    EXPECT_TRUE(model.hasTimeline());
    EXPECT_TRUE(model.clicksTracked());
    EXPECT_EQ(model.clicks().size(), 1);
    // Initial values: zoom off at level 2 holding 1.6 s, the track made ready from the clicks.
    EXPECT_FALSE(model.zoomEnabled());
    EXPECT_FALSE(model.zoomActive());
    EXPECT_EQ(model.zoomLevel(), 2.0);
    EXPECT_EQ(model.zoomHold(), 1.6);
    EXPECT_EQ(model.zoomTrack().keyframes.size(), 1);
    EXPECT_EQ(model.volume(), 1.0);
    EXPECT_FALSE(model.exportedBytes().has_value());
    // A studio recording has no system pointer in its pictures, so it gets a drawn one.
    EXPECT_TRUE(model.style().drawPointer);
    EXPECT_TRUE(model.isStyled());
    EXPECT_FALSE(model.hasWebcam());
}

TEST_F(VideoEditorModelTest, AMissingOrUnreadableMovieSaysWhy) {
    VideoEditorModel missing(home.filePath(QStringLiteral("gone.mov")), false);
    EXPECT_EQ(missing.loadError(), QStringLiteral("“gone.mov” does not exist."));

    // A damaged timeline costs the extras, not the movie.
    const QString file = movie({});
    QFile damaged(TimelineStore::path(file));
    ASSERT_TRUE(damaged.open(QIODevice::WriteOnly));
    damaged.write("{not json");
    damaged.close();
    VideoEditorModel model(file, false);
    EXPECT_TRUE(model.loadError().isEmpty());
    EXPECT_FALSE(model.hasTimeline());
    EXPECT_EQ(model.duration(), 10);
}

TEST_F(VideoEditorModelTest, ZoomMovesFollowTheClicksThePlayheadAndTheSettings) {
    VideoEditorModel model(movie({{1.0, 0.2, 0.2}, {1.5, 0.4, 0.6}, {6, 0.9, 0.1}, {6.5, 0.5, 0.5}}), false);
    ASSERT_EQ(model.zoomTrack().keyframes.size(), 2);
    EXPECT_NEAR(model.zoomTrack().keyframes[0].hold, 2.01, 1e-9);

    // A new level rebuilds the automatic track.
    model.setZoomLevel(2.5);
    EXPECT_EQ(model.zoomTrack().keyframes[0].level, 2.5);
    model.setZoomLevel(9);
    EXPECT_EQ(model.zoomLevel(), 3.0);

    // At the playhead: aimed at the nearest click; of two as near, the earlier.
    model.setPlayhead(6.25);
    model.addZoomAtPlayhead();
    ASSERT_EQ(model.zoomTrack().keyframes.size(), 3);
    const ZoomKeyframe added = model.zoomTrack().keyframes[2];
    EXPECT_NEAR(added.time, 6.05, 1e-9);
    EXPECT_EQ(added.center, QPointF(0.9, 0.1));
    EXPECT_EQ(added.level, 3.0);
    EXPECT_EQ(added.hold, 1.6);
    EXPECT_LT(model.zoomTrack().keyframes[1].time, added.time); // kept in time order

    model.setPlayhead(0.1);
    model.addZoomAtPlayhead();
    EXPECT_EQ(model.zoomTrack().keyframes[0].time, 0);

    model.removeZoom(added.id);
    EXPECT_EQ(model.zoomTrack().keyframes.size(), 3);
    for (const ZoomKeyframe& frame : model.zoomTrack().keyframes)
        EXPECT_NE(frame.id, added.id);

    // Without clicks a move at the playhead aims at the middle.
    VideoEditorModel plain(movie({}, false, QStringLiteral("plain.mov")), false);
    EXPECT_TRUE(plain.zoomTrack().keyframes.isEmpty());
    plain.addZoomAtPlayhead();
    EXPECT_EQ(plain.zoomTrack().keyframes[0].center, QPointF(0.5, 0.5));
}

TEST_F(VideoEditorModelTest, SettingsStayInRangeAndTheSceneFollowsThemAfterAQuietMoment) {
    VideoEditorModel model(movie({{2, 0.5, 0.5}}), false);
    model.setTrim(-3, 99);
    EXPECT_EQ(model.trimStart(), 0);
    EXPECT_EQ(model.trimEnd(), 10);
    model.setTrim(5, 5);
    EXPECT_EQ(model.trimStart(), 5);
    EXPECT_NEAR(model.trimEnd(), 5.1, 1e-9);
    model.setVolume(7);
    EXPECT_EQ(model.volume(), 2.0);
    model.setZoomHold(0);
    EXPECT_EQ(model.zoomHold(), 0.3);

    EXPECT_FALSE(model.scene()->isStyled());
    int rebuilt = 0;
    QObject::connect(&model, &VideoEditorModel::sceneChanged, [&] { ++rebuilt; });
    StudioStyle style = model.style();
    style.background = BackgroundStyle::Ocean;
    model.setStyle(style);
    model.setZoomEnabled(true);
    EXPECT_EQ(rebuilt, 0); // not at once for every change
    ASSERT_TRUE(waitUntil([&] { return rebuilt > 0; }));
    EXPECT_EQ(rebuilt, 1);
    EXPECT_TRUE(model.scene()->isStyled());
    EXPECT_EQ(model.scene()->style().background, BackgroundStyle::Ocean);
    EXPECT_EQ(model.scene()->inputs().zoom.keyframes.size(), 1);
}

} // namespace
