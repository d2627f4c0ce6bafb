#include "platform/media/FfmpegMediaReader.h"
#include "support/DamagedBytes.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtConcurrent>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

using platform::media::FfmpegMediaReader;

namespace {

// Every test movie is three seconds at 10 frames a second: red, green, blue, and one white
// frame last. Key frames come every 1.5 s, so most times need decoding on from a key frame.
const QColor red(255, 0, 0), green(0, 255, 0), blue(0, 0, 255), white(255, 255, 255);

struct Movie {
    QString name;
    QString videoCodec;
    QString audioCodec; // empty without sound
};

const std::vector<Movie> movies{{QStringLiteral("movie.mp4"), QStringLiteral("h264"), {}},
                                {QStringLiteral("movie.mov"), QStringLiteral("h264"), QStringLiteral("aac")},
                                {QStringLiteral("movie.webm"), QStringLiteral("vp9"), QStringLiteral("opus")},
                                {QStringLiteral("movie.gif"), QStringLiteral("gif"), {}}};

QStringList colourInputs() {
    QStringList arguments;
    const char* colours[][2] = {{"red", "1"}, {"lime", "1"}, {"blue", "0.9"}, {"white", "0.1"}};
    for (const auto& [colour, seconds] : colours)
        arguments << "-f"
                  << "lavfi"
                  << "-i" << QStringLiteral("color=c=%1:s=64x48:r=10:d=%2").arg(colour, seconds);
    return arguments;
}

// The four colours one after the other, as the output's video.
const QStringList joined{"-filter_complex", "[0][1][2][3]concat=n=4:v=1:a=0[v]", "-map", "[v]"};
// The same for a GIF, with a palette made for them: the default one has no pure blue.
const QStringList joinedWithPalette{
    "-filter_complex", "[0][1][2][3]concat=n=4:v=1:a=0,split[a][b];[a]palettegen[p];[b][p]paletteuse[v]",
    "-map", "[v]"};

// Runs the ffmpeg tool; the empty string on success, else what it said.
QString ffmpeg(const QStringList& arguments) {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral("ffmpeg"), QStringList{"-nostdin", "-v", "error", "-y"} + arguments);
    if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0)
        return QStringLiteral("ffmpeg %1: %2")
            .arg(arguments.join(u' '), process.errorString() + process.readAll());
    return {};
}

// The movies, made once for all tests in a folder removed at exit.
struct Fixtures {
    QTemporaryDir folder;
    QString problem;

    Fixtures() {
        const QStringList sine{"-f", "lavfi", "-i", "sine=frequency=440:duration=3"};
        const QStringList h264{"-c:v", "libx264", "-pix_fmt", "yuv420p", "-g", "15", "-sc_threshold", "0"};
        const QStringList withSound{"-map", "4:a"};
        const std::vector<QStringList> commands{
            colourInputs() + joined + h264 + QStringList{path("movie.mp4")},
            colourInputs() + sine + joined + withSound + h264 + QStringList{"-c:a", "aac", path("movie.mov")},
            colourInputs() + sine + joined + withSound +
                QStringList{"-c:v", "libvpx-vp9", "-deadline", "realtime", "-cpu-used", "8", "-g", "15",
                            "-c:a", "libopus", path("movie.webm")},
            colourInputs() + joinedWithPalette + QStringList{path("movie.gif")},
            // Moov atom first, so that a cut-off copy still has its index.
            colourInputs() + joined + h264 + QStringList{"-movflags", "+faststart", path("faststart.mp4")},
            sine + QStringList{"-c:a", "aac", path("sound.m4a")},
        };
        for (const QStringList& command : commands)
            if (problem.isEmpty()) problem = ffmpeg(command);
    }

    QString path(const QString& name) const { return folder.filePath(name); }
};

const Fixtures& fixtures() {
    static const Fixtures made;
    return made;
}

QString path(const QString& name) {
    return fixtures().path(name);
}

::testing::AssertionResult showsColour(const Result<QImage>& frame, const QColor& expected) {
    if (!frame) return ::testing::AssertionFailure() << frame.error().message.toStdString();
    if (frame->size() != QSize(64, 48) || frame->format() != QImage::Format_ARGB32)
        return ::testing::AssertionFailure() << "frame of " << frame->width() << "x" << frame->height()
                                             << " in format " << int(frame->format());
    // Lossy coding smears colour near the edges; the middle and a corner are steady.
    for (const QPoint at : {QPoint(32, 24), QPoint(4, 4)}) {
        const QColor seen = frame->pixelColor(at);
        const int distance =
            std::max({std::abs(seen.red() - expected.red()), std::abs(seen.green() - expected.green()),
                      std::abs(seen.blue() - expected.blue())});
        if (distance > 40 || seen.alpha() != 255)
            return ::testing::AssertionFailure()
                   << "pixel " << at.x() << "," << at.y() << " is "
                   << seen.name(QColor::HexArgb).toStdString() << ", not " << expected.name().toStdString();
    }
    return ::testing::AssertionSuccess();
}

std::string message(const Result<QImage>& result) {
    return result ? std::string("a frame") : result.error().message.toStdString();
}

} // namespace

class FfmpegMediaReaderTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(fixtures().problem.isEmpty()) << fixtures().problem.toStdString(); }

    FfmpegMediaReader reader;
};

TEST_F(FfmpegMediaReaderTest, InfoDescribesEachKindOfMovie) {
    for (const Movie& movie : movies) {
        SCOPED_TRACE(movie.name.toStdString());
        const Result<platform::MediaInfo> info = reader.info(path(movie.name));
        ASSERT_TRUE(info) << info.error().message.toStdString();
        EXPECT_NEAR(info->duration, 3.0, 0.05);
        EXPECT_EQ(info->size, QSize(64, 48));
        EXPECT_NEAR(info->frameRate, 10.0, 0.01);
        EXPECT_EQ(info->videoCodec, movie.videoCodec);
        EXPECT_EQ(info->hasAudio, !movie.audioCodec.isEmpty());
        EXPECT_EQ(info->audioCodec, movie.audioCodec);
    }
}

TEST_F(FfmpegMediaReaderTest, EachTimeShowsTheFrameStartedLast) {
    // 0.95 s is still the last red frame; 1.2 s lies between key frames at 0 and 1.5 s.
    const std::vector<std::pair<double, QColor>> times{
        {0, red},     {0.2, red},   {0.95, red},   {1.0, green}, {1.05, green},
        {1.2, green}, {1.6, green}, {1.99, green}, {2.5, blue},  {2.95, white}};
    for (const Movie& movie : movies)
        for (const auto& [seconds, colour] : times)
            EXPECT_TRUE(showsColour(reader.frameAt(path(movie.name), seconds), colour))
                << movie.name.toStdString() << " at " << seconds << " s";
}

TEST_F(FfmpegMediaReaderTest, TimesOutsideTheMovieGiveItsFirstOrLastFrame) {
    for (const Movie& movie : movies) {
        SCOPED_TRACE(movie.name.toStdString());
        EXPECT_TRUE(showsColour(reader.frameAt(path(movie.name), -4), red));
        EXPECT_TRUE(
            showsColour(reader.frameAt(path(movie.name), std::numeric_limits<double>::quiet_NaN()), red));
        EXPECT_TRUE(showsColour(reader.frameAt(path(movie.name), 3.0), white));
        EXPECT_TRUE(showsColour(reader.frameAt(path(movie.name), 60), white));
        EXPECT_TRUE(
            showsColour(reader.frameAt(path(movie.name), std::numeric_limits<double>::infinity()), white));
    }
}

TEST_F(FfmpegMediaReaderTest, FramesDecodeOnManyThreadsAtOnce) {
    struct Job {
        QString file;
        double seconds;
        QColor colour;
    };
    QList<Job> jobs;
    for (int round = 0; round < 3; ++round)
        for (const Movie& movie : movies)
            jobs << Job{path(movie.name), 0.5, red} << Job{path(movie.name), 1.7, green}
                 << Job{path(movie.name), 2.4, blue};
    // One reader for every thread, as the application shares the installed one.
    const QList<bool> matched = QtConcurrent::blockingMapped(jobs, [this](const Job& job) {
        return bool(showsColour(reader.frameAt(job.file, job.seconds), job.colour));
    });
    EXPECT_EQ(matched.count(true), jobs.size());
}

TEST_F(FfmpegMediaReaderTest, FilesWithoutReadableVideoAreExplained) {
    QTemporaryDir folder;
    QFile text(folder.filePath("notes.mp4"));
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    text.write("Shopping list\n- milk\n- eggs\n- a new monitor cable\n");
    text.close();
    QFile empty(folder.filePath("empty.mov"));
    ASSERT_TRUE(empty.open(QIODevice::WriteOnly));
    empty.close();
    ASSERT_TRUE(QDir(folder.path()).mkdir("folder.webm"));

    const std::vector<std::pair<QString, QString>> cases{
        {folder.filePath("missing.mp4"), "“missing.mp4” does not exist."},
        {text.fileName(), "“notes.mp4” is not a video Pictavia can read."},
        {empty.fileName(), "“empty.mov” is not a video Pictavia can read."},
        {folder.filePath("folder.webm"), "“folder.webm” is not a video Pictavia can read."},
        {path("sound.m4a"), "“sound.m4a” has no video stream."}};
    for (const auto& [file, sentence] : cases) {
        SCOPED_TRACE(file.toStdString());
        const Result<platform::MediaInfo> info = reader.info(file);
        ASSERT_FALSE(info);
        EXPECT_EQ(info.error().message, sentence);
        const Result<QImage> frame = reader.frameAt(file, 1.0);
        ASSERT_FALSE(frame);
        EXPECT_EQ(frame.error().message, sentence);
    }
}

TEST_F(FfmpegMediaReaderTest, DamagedMoviesNeverCrash) {
    QTemporaryDir folder;
    uint32_t seed = 2463534242u;
    for (const QString& name : {QStringLiteral("movie.mp4"), QStringLiteral("faststart.mp4"),
                                QStringLiteral("movie.webm"), QStringLiteral("movie.gif")}) {
        QFile original(path(name));
        ASSERT_TRUE(original.open(QIODevice::ReadOnly));
        const QByteArray bytes = original.readAll();
        const QList<QByteArray> damaged =
            testsupport::damagedCopies(bytes, {8, 200, bytes.size() / 2, bytes.size() - 300}, 12, 6, seed++);
        for (qsizetype i = 0; i < damaged.size(); ++i) {
            const QString file = folder.filePath(QString::number(i) + u'-' + name);
            QFile out(file);
            ASSERT_TRUE(out.open(QIODevice::WriteOnly));
            out.write(damaged[i]);
            out.close();
            SCOPED_TRACE(file.toStdString());
            const Result<platform::MediaInfo> info = reader.info(file);
            EXPECT_TRUE(info || !info.error().message.isEmpty());
            for (const double seconds : {0.0, 1.2, 2.95}) {
                const Result<QImage> frame = reader.frameAt(file, seconds);
                if (frame)
                    EXPECT_FALSE(frame->isNull());
                else
                    EXPECT_FALSE(frame.error().message.isEmpty());
            }
        }
        // With its index up front, a movie missing its last second still plays up to there.
        if (name == QStringLiteral("faststart.mp4")) {
            const QString cut = folder.filePath("3-faststart.mp4");
            const Result<QImage> early = reader.frameAt(cut, 0.2), later = reader.frameAt(cut, 1.2);
            EXPECT_TRUE(showsColour(early, red)) << message(early);
            EXPECT_TRUE(showsColour(later, green)) << message(later);
            // Its key frame at 1.5 s is cut off: the last frame left is the green one before it.
            const Result<QImage> last = reader.frameAt(cut, 2.95);
            EXPECT_TRUE(showsColour(last, green)) << message(last);
        }
    }
}
