#include "recording/ScreenRecorder.h"

#include "capture/HistoryManager.h"
#include "platform/media/FfmpegMediaReader.h"
#include "platform/media/FfmpegMovieWriter.h"
#include "platform/media/GiflibWriter.h"
#include "recording/RecoveryMarker.h"
#include "support/EventLoop.h"
#include "support/FakeFrameStreams.h"
#include "support/FakePlatform.h"
#include "video/RecordingTimeline.h"

#include <QDir>
#include <QImageReader>
#include <QPainter>

namespace {

using testsupport::FakeFrameStreams;

class ScreenRecorderTest : public testsupport::PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        auto streamFactory = std::make_unique<FakeFrameStreams>();
        streams = streamFactory.get();
        platform::Services services;
        services.frameStreams = std::move(streamFactory);
        services.movies = std::make_unique<platform::media::FfmpegMovieWriter>();
        services.gifs = std::make_unique<platform::media::GiflibWriter>();
        services.media = std::make_unique<platform::media::FfmpegMediaReader>();
        platform::install(std::move(services));
        Prefs::setValue("copyToClipboard", false);
        Prefs::setValue("showQuickAccess", false);
        options.fps = 10;
        options.gifFPS = 10;
    }
    void TearDown() override {
        platform::services().movies.reset();
        platform::services().gifs.reset();
        platform::services().frameStreams.reset();
    }

    static QImage frame(int number) {
        QImage image(200, 100, QImage::Format_RGB32);
        image.fill(QColor(30, 30, 60));
        QPainter(&image).fillRect(QRect(number * 4 % 160, 30, 40, 40), Qt::yellow);
        return image;
    }
    // `count` frames a tenth of a second apart from `from` seconds on.
    void send(int first, int count, double from) {
        for (int i = 0; i < count; ++i)
            streams->last->onFrame(frame(first + i), qint64((from + i * 0.1) * 1e6));
    }
    std::optional<QString> stopAndWait(ScreenRecorder& recorder) {
        std::optional<QString> file;
        bool done = false;
        recorder.stopAndWait([&](const std::optional<QString>& result) {
            file = result;
            done = true;
        });
        EXPECT_TRUE(testsupport::waitUntil([&] { return done; }, 20000));
        return file;
    }

    FakeFrameStreams* streams = nullptr;
    RecordingOptions options;
    platform::media::FfmpegMediaReader reader;
};

TEST_F(ScreenRecorderTest, APausedStretchLeavesNoGapAndTheMovieReachesTheHistory) {
    ScreenRecorder recorder(1000); // every frame the test sends is kept
    QList<ScreenRecorder::State> states;
    QObject::connect(&recorder, &ScreenRecorder::stateChanged,
                     [&](ScreenRecorder::State s) { states.append(s); });
    ASSERT_TRUE(recorder.start({QRect(0, 0, 201, 100), std::nullopt}, {201, 100}, false, options));
    EXPECT_FALSE(recorder.start({QRect(0, 0, 10, 10), std::nullopt}, {10, 10}, false, options))
        << "one at a time";
    EXPECT_TRUE(RecoveryMarker::read()) << "a crash now would leave a note";

    send(0, 20, 0.0); // 2 s
    recorder.pause();
    send(20, 30, 2.0); // 3 s while paused: dropped
    recorder.resume();
    send(50, 20, 5.0); // 2 s more
    const auto file = stopAndWait(recorder);
    ASSERT_TRUE(file);
    EXPECT_EQ(QFileInfo(*file).absolutePath(), QFileInfo(HistoryManager::directory()).absoluteFilePath());
    const auto info = reader.info(*file);
    ASSERT_TRUE(info) << info.error().message.toStdString();
    EXPECT_EQ(info->size, QSize(200, 100)) << "odd sizes become even";
    EXPECT_NEAR(info->duration, 4.0, 0.25) << "the paused 3 s are gone";
    // Just after the pause, the frame after it: the first one sent after resuming.
    const auto after = reader.frameAt(*file, 2.05);
    ASSERT_TRUE(after);
    EXPECT_GT(qRed(after->pixel(50 * 4 % 160 + 20, 50)), 180) << "the square of frame 50";

    EXPECT_EQ(states,
              (QList<ScreenRecorder::State>{ScreenRecorder::State::recording, ScreenRecorder::State::paused,
                                            ScreenRecorder::State::recording, ScreenRecorder::State::stopping,
                                            ScreenRecorder::State::idle}));
    EXPECT_FALSE(RecoveryMarker::read());
    EXPECT_TRUE(QDir(RecoveryMarker::inProgressDir()).isEmpty());
}

TEST_F(ScreenRecorderTest, ACancelKeepsNothingAndAGIFIsAssembledWhenItStops) {
    ScreenRecorder recorder(1000); // every frame the test sends is kept
    ASSERT_TRUE(recorder.start({QRect(0, 0, 200, 100), std::nullopt}, {200, 100}, false, options));
    send(0, 5, 0);
    bool done = false;
    recorder.waitForFinish([&](const std::optional<QString>& file) { done = !file; });
    recorder.cancel();
    ASSERT_TRUE(testsupport::waitUntil([&] { return done; }));
    EXPECT_EQ(toasts->shown.last(), "Recording discarded");
    EXPECT_TRUE(QDir(HistoryManager::directory()).entryList(QDir::Files).isEmpty());

    int gifFrames = 0;
    QObject::connect(&recorder, &ScreenRecorder::gifFramesChanged, [&](int count) { gifFrames = count; });
    ASSERT_TRUE(recorder.start({QRect(0, 0, 200, 100), std::nullopt}, {200, 100}, true, options));
    send(0, 8, 0);
    const auto gif = stopAndWait(recorder);
    ASSERT_TRUE(gif);
    EXPECT_TRUE(gif->endsWith(".gif"));
    EXPECT_EQ(gifFrames, 8);
    EXPECT_EQ(QImageReader(*gif).imageCount(), 8);
    EXPECT_EQ(toasts->shown.last(), "GIF saved to history");
}

// The stream ends by itself (the window closed): what was recorded is kept.
TEST_F(ScreenRecorderTest, AStreamThatEndsStopsTheRecordingAndKeepsIt) {
    ScreenRecorder recorder(1000); // every frame the test sends is kept
    ASSERT_TRUE(recorder.start({std::nullopt, 42u}, {200, 100}, false, options));
    send(0, 10, 0);
    std::optional<QString> file;
    bool done = false;
    recorder.waitForFinish([&](const std::optional<QString>& result) {
        file = result;
        done = true;
    });
    streams->last->onError(Error{"The window being recorded is gone"});
    ASSERT_TRUE(testsupport::waitUntil([&] { return done; }, 20000));
    ASSERT_TRUE(file);
    EXPECT_EQ(streams->stops, 1);
}

TEST_F(ScreenRecorderTest, ARecordingCutOffByACrashIsDeliveredAtTheNextStart) {
    // What a killed recorder leaves: a movie written up to a fragment, and the marker.
    const QString movie = RecoveryMarker::inProgressDir() + "/pictavia-crashed.mov";
    {
        platform::MovieSettings settings;
        settings.size = {200, 100};
        settings.fps = 10;
        settings.bitRate = 1'500'000;
        settings.keyFrameInterval = 10;
        settings.fragmentSeconds = 1;
        auto file = std::move(platform::services().movies->create(movie, settings).value());
        for (int i = 0; i < 25; ++i)
            ASSERT_TRUE(file->addVideo(frame(i), i * 100'000));
        file.release(); // never finished nor closed, as in a process killed mid-recording
    }
    ASSERT_TRUE((RecoveryMarker{"movie", movie, 10}.write()));
    QFile stray(RecoveryMarker::inProgressDir() + "/stray.tmp");
    ASSERT_TRUE(stray.open(QIODevice::WriteOnly));
    stray.close();

    ScreenRecorder::recoverIfNeeded();
    const QStringList history = QDir(HistoryManager::directory()).entryList(QDir::Files);
    ASSERT_EQ(history.size(), 1);
    const auto info = reader.info(HistoryManager::directory() + '/' + history[0]);
    ASSERT_TRUE(info);
    EXPECT_GE(info->duration, 1.0);
    EXPECT_FALSE(RecoveryMarker::read());
    EXPECT_TRUE(QDir(RecoveryMarker::inProgressDir()).isEmpty());
}

TEST_F(ScreenRecorderTest, AStudioRecordingOpensForEditingWhenItsOptionsAskForIt) {
    options.studio = true;
    for (const bool wanted : {true, false}) {
        ScreenRecorder recorder(1000);
        QStringList opened;
        recorder.setStudioEditor([&opened](const QString& movie) { opened << movie; });
        options.openEditorAfterStudio = wanted;
        ASSERT_TRUE(recorder.start({QRect(0, 0, 200, 100), std::nullopt}, {200, 100}, false, options));
        send(0, 10, 0.0);
        const auto file = stopAndWait(recorder);
        ASSERT_TRUE(file);
        if (!wanted) {
            EXPECT_TRUE(opened.isEmpty());
            continue;
        }
        // The history's copy, with its timeline beside it for the editor to read.
        ASSERT_EQ(opened, QStringList{*file});
        EXPECT_TRUE(QFileInfo::exists(TimelineStore::path(*file)));
    }
}

} // namespace
