#include "platform/media/FfmpegMovieWriter.h"
#include "platform/media/FfmpegMediaReader.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QPainter>
#include <QTemporaryDir>

#include <cmath>
#include <vector>

namespace {

using platform::MovieSettings;

class FfmpegMovieWriterTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    QString movie = dir.filePath("movie.mov");
    platform::media::FfmpegMovieWriter writer;
    platform::media::FfmpegMediaReader reader;

    static MovieSettings settings() {
        MovieSettings s;
        s.size = {320, 240};
        s.fps = 30;
        s.bitRate = 1'500'000;
        s.keyFrameInterval = 30;
        return s;
    }
    // A dark frame with a white square that walks right with the frame number.
    static QImage frame(int number, QSize size = {320, 240}) {
        QImage image(size, QImage::Format_RGB32);
        image.fill(QColor(20, 30, 40));
        QPainter(&image).fillRect(QRect(number * 2 % (size.width() - 40), 100, 40, 40), Qt::white);
        return image;
    }
};

TEST_F(FfmpegMovieWriterTest, PicturesAndSoundMakeAPlayableMovie) {
    MovieSettings s = settings();
    s.audioTracks = 2;
    auto created = writer.create(movie, s);
    ASSERT_TRUE(created) << created.error().message.toStdString();
    auto file = std::move(created.value());
    std::vector<float> tone(480 * 2);
    for (int block = 0; block < 200; ++block) { // 2 s in blocks of 10 ms, on both tracks
        for (int i = 0; i < 480; ++i)
            tone[size_t(i * 2)] = tone[size_t(i * 2 + 1)] =
                float(0.5 * std::sin(2 * M_PI * 440 * (block * 480 + i) / 48000.0));
        for (int track : {0, 1})
            ASSERT_TRUE(file->addAudio(track, tone.data(), 480, block * 10'000));
        if (block % 10 < 3) { // 30 frames a second of a larger picture, scaled down
            const int number = block / 10 * 3 + block % 10;
            ASSERT_TRUE(file->addVideo(frame(number, {640, 480}), number * 33'333));
        }
    }
    ASSERT_TRUE(file->finish());
    file.reset();

    const auto info = reader.info(movie);
    ASSERT_TRUE(info) << info.error().message.toStdString();
    EXPECT_EQ(info->size, QSize(320, 240));
    EXPECT_EQ(info->videoCodec, "h264");
    EXPECT_NEAR(info->duration, 2.0, 0.15);
    EXPECT_NEAR(info->frameRate, 30, 1);
    EXPECT_TRUE(info->hasAudio);
    EXPECT_EQ(info->audioCodec, "aac");
    const auto middle = reader.frameAt(movie, 1.0);
    ASSERT_TRUE(middle);
    EXPECT_GT(qGray(middle->pixel(40, 60)), 200) << "frame 30's square, at 60,100 before scaling to half";
    EXPECT_LT(qGray(middle->pixel(200, 60)), 60);
}

// A recording cut off by a crash: the writer goes without finishing, as in a killed process.
TEST_F(FfmpegMovieWriterTest, AFileNeverFinishedStillPlaysUpToItsLastFragment) {
    MovieSettings s = settings();
    s.fps = 10;
    s.keyFrameInterval = 10;
    s.fragmentSeconds = 1;
    auto file = std::move(writer.create(movie, s).value());
    for (int i = 0; i < 45; ++i)
        ASSERT_TRUE(file->addVideo(frame(i), i * 100'000));
    file.reset();
    const auto info = reader.info(movie);
    ASSERT_TRUE(info) << info.error().message.toStdString();
    EXPECT_GE(info->duration, 3.0);
    EXPECT_TRUE(reader.frameAt(movie, 2.5));
}

TEST_F(FfmpegMovieWriterTest, ImpossibleMoviesAreRefusedWithoutAFile) {
    MovieSettings s = settings();
    s.size = {321, 240};
    EXPECT_FALSE(writer.create(movie, s));
    s = settings();
    s.audioTracks = 1;
    s.audioChannels = 3;
    EXPECT_FALSE(writer.create(movie, s));
    const auto unwritable = writer.create(dir.filePath("no/such/folder/movie.mov"), settings());
    ASSERT_FALSE(unwritable);
    EXPECT_TRUE(unwritable.error().message.startsWith("Cannot write the movie"));
    EXPECT_FALSE(QFile::exists(movie));
}

} // namespace
