#include "video/RecordingTimeline.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

TEST(RecordingTimelineTest, EveryFieldReadsBackAndSideFilesStayHiddenBesideTheMovie) {
    QTemporaryDir dir;
    const QString movie = dir.filePath(QStringLiteral("clip one.mov"));
    RecordingTimeline t;
    t.clicks = {{1.5, 0.25, 0.75}};
    t.clicksTracked = true;
    t.cursor = {{0, 0.1, 0.2, 0}, {0.5, 0.3, 0.4, 1}};
    t.cursorShapes = {{QByteArray("\x89PNG", 4), 16, 24, 1, 2}};
    t.studio = true;
    t.areaWidth = 1280;
    t.areaHeight = 720;
    t.captions = {CaptionLine{QUuid::createUuid(), 1, 2.5, QStringLiteral("Hello there")}};
    t.captionsLanguage = QStringLiteral("en-US");
    t.microphone = true;
    t.webcam = WebcamInfo{{{0, 0.7, 0.6, 0.2}, {3, 0.1, 0.1, 0.25}}, true};
    ASSERT_TRUE(TimelineStore::save(t, movie));
    EXPECT_EQ(TimelineStore::path(movie), dir.filePath(QStringLiteral("clip one.json")));

    const auto loaded = TimelineStore::load(movie);
    ASSERT_TRUE(loaded && loaded->has_value());
    const RecordingTimeline& r = **loaded;
    EXPECT_EQ(r.version, RecordingTimeline::currentVersion);
    EXPECT_EQ(r.clicks, t.clicks);
    EXPECT_TRUE(r.clicksTracked);
    EXPECT_EQ(r.cursor, t.cursor);
    EXPECT_EQ(r.cursorShapes, t.cursorShapes);
    EXPECT_TRUE(r.studio);
    EXPECT_EQ(r.areaWidth, 1280);
    EXPECT_EQ(r.areaHeight, 720);
    EXPECT_EQ(r.captions, t.captions);
    EXPECT_EQ(r.captionsLanguage, t.captionsLanguage);
    EXPECT_EQ(r.microphone, true);
    ASSERT_TRUE(r.webcam);
    EXPECT_EQ(r.webcam->placements.size(), 2);
    EXPECT_TRUE(r.webcam->mirrored);

    // Optional fields stay out when absent.
    const QJsonObject plain = RecordingTimeline{}.toJson();
    EXPECT_FALSE(plain.contains(QStringLiteral("webcam")));
    EXPECT_FALSE(plain.contains(QStringLiteral("microphone")));
    EXPECT_FALSE(plain.contains(QStringLiteral("captionsLanguage")));

    QFile camera(dir.filePath(QStringLiteral("in-progress.mov")));
    ASSERT_TRUE(camera.open(QIODevice::WriteOnly));
    camera.close();
    const auto kept = TimelineStore::keep(camera.fileName(), QStringLiteral("camera"), movie);
    ASSERT_TRUE(kept);
    EXPECT_EQ(*kept, dir.filePath(QStringLiteral(".clip one.camera.mov")));
    EXPECT_TRUE(QFile::exists(*kept));
    TimelineStore::remove(movie);
    EXPECT_FALSE(QFile::exists(*kept));
    EXPECT_FALSE(QFile::exists(TimelineStore::path(movie)));
}

TEST(RecordingTimelineTest, NoTimelineIsNoneAndADamagedOneIsAnError) {
    QTemporaryDir dir;
    const QString movie = dir.filePath(QStringLiteral("clip.mov"));
    const auto none = TimelineStore::load(movie);
    ASSERT_TRUE(none);
    EXPECT_FALSE(none->has_value());
    QFile file(TimelineStore::path(movie));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("{\"clicks\": [");
    file.close();
    const auto damaged = TimelineStore::load(movie);
    ASSERT_FALSE(damaged);
    EXPECT_TRUE(damaged.error().message.contains(QStringLiteral("damaged")));
}

} // namespace
