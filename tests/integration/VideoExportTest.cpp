// Exporting recordings with the real media stack: short numbered movies with a tone, made by
// the movie writer, trimmed, drawn on, scaled and re-encoded, their sound changed, sampled
// for GIFs; and `pictavia video export` delivering into the history. Results are read back
// with the ffmpeg and ffprobe programs, independently of the code under test.

#include "ChildProcess.h"
#include "MovieFrames.h"

#include "platform/Platform.h"
#include "platform/media/FfmpegMediaReader.h"
#include "platform/media/FfmpegMovieExporter.h"
#include "platform/media/FfmpegMovieWriter.h"
#include "platform/media/GiflibWriter.h"
#include "video/RecordingTimeline.h"
#include "video/VideoExport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <cmath>
#include <optional>
#include <vector>

namespace {

using namespace testsupport;

constexpr int fps = 30;
constexpr int bars = 8;
constexpr double toneAmplitude = 0.4;

// Frame n carries n in binary as eight bars, white for a one, which survive compression.
QImage numberedFrame(int number, QSize size) {
    QImage frame(size, QImage::Format_RGB32);
    const int width = size.width() / bars;
    for (int bar = 0; bar < bars; ++bar)
        for (int y = 0; y < size.height(); ++y)
            for (int x = bar * width; x < (bar + 1) * width; ++x)
                frame.setPixel(x, y, (number >> bar) & 1 ? 0xffffffff : 0xff000000);
    return frame;
}

// The number a frame of `frame`'s picture carries, found within `area` of it.
int numberIn(const QImage& frame, QRect area) {
    int number = 0;
    const int width = area.width() / bars;
    for (int bar = 0; bar < bars; ++bar)
        if (qGray(frame.pixel(area.x() + bar * width + width / 2, area.center().y())) > 128)
            number |= 1 << bar;
    return number;
}

std::string run(const std::string& program, const std::vector<std::string>& args) {
    return ChildProcess::start(program, args, {.err = ChildProcess::Stream::Discard})->finish(60s).out;
}

int soundChannels(const QString& movie) {
    const std::string out = run("ffprobe", {"-v", "error", "-select_streams", "a:0", "-show_entries",
                                            "stream=channels", "-of", "csv=p=0", movie.toStdString()});
    return out.empty() ? 0 : std::stoi(out);
}

QString videoCodec(const QString& movie) {
    return QString::fromStdString(
               run("ffprobe", {"-v", "error", "-select_streams", "v:0", "-show_entries", "stream=codec_name",
                               "-of", "csv=p=0", movie.toStdString()}))
        .trimmed();
}

// The root mean square of the sound's samples (every channel's) away from its ends, decoded by
// ffmpeg.
double soundLevel(const QString& movie) {
    const std::string raw =
        run("ffmpeg", {"-v", "error", "-i", movie.toStdString(), "-map", "0:a:0", "-f", "f32le", "-"});
    const size_t count = raw.size() / sizeof(float);
    const auto* samples = reinterpret_cast<const float*>(raw.data());
    double sum = 0;
    size_t used = 0;
    for (size_t i = count / 5; i < count * 4 / 5; ++i, ++used)
        sum += double(samples[i]) * samples[i];
    return used > 0 ? std::sqrt(sum / double(used)) : 0;
}

class VideoExportTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir.isValid());
        platform::Services services;
        services.media = std::make_unique<platform::media::FfmpegMediaReader>();
        services.gifs = std::make_unique<platform::media::GiflibWriter>();
        services.movieExporter = std::make_unique<platform::media::FfmpegMovieExporter>();
        platform::install(std::move(services));
    }
    void TearDown() override {
        for (const QString& file : leftovers())
            QFile::remove(file);
    }

    // `seconds` of numbered frames at 30 a second, key frames one second apart, with a
    // 440 Hz tone on both channels.
    QString numberedMovie(const QString& name, QSize size, double seconds, bool sound = true) {
        const QString path = dir.filePath(name);
        platform::MovieSettings settings;
        settings.size = size;
        settings.fps = fps;
        settings.bitRate = 2'000'000;
        settings.keyFrameInterval = fps;
        settings.audioTracks = sound ? 1 : 0;
        auto file = writer.create(path, settings);
        EXPECT_TRUE(file) << file.error().message.toStdString();
        if (!file) return {};
        const int frames = int(seconds * fps);
        std::vector<float> tone(1600 * 2);
        for (int n = 0; n < frames; ++n) {
            if (sound) {
                for (int i = 0; i < 1600; ++i)
                    tone[size_t(2 * i)] = tone[size_t(2 * i + 1)] =
                        float(toneAmplitude * std::sin(2 * M_PI * 440 * (n * 1600 + i) / 48000.0));
                EXPECT_TRUE((*file)->addAudio(0, tone.data(), 1600, qint64(n) * 1'000'000 / fps));
            }
            EXPECT_TRUE((*file)->addVideo(numberedFrame(n, size), qint64(n) * 1'000'000 / fps));
        }
        EXPECT_TRUE((*file)->finish());
        return path;
    }

    // Exports left in the temporary folder, which a failed or cancelled export must not add to.
    static QStringList leftovers() {
        QStringList files;
        for (const QString& name : QDir::temp().entryList({QStringLiteral("pictavia-export-*")}, QDir::Files))
            files << QDir::temp().filePath(name);
        return files;
    }

    QTemporaryDir dir;
    platform::media::FfmpegMovieWriter writer;
    platform::media::FfmpegMediaReader reader;
    platform::media::FfmpegMovieExporter exporter;
};

TEST_F(VideoExportTest, ATrimKeepsItsRangeFromThePictureAtItsStartWithTheSoundInStep) {
    const QString source = numberedMovie(QStringLiteral("numbers.mov"), {320, 180}, 3);
    ASSERT_FALSE(source.isEmpty());
    // 1.5 s lies between key frames: decoding starts at 1 s and the pictures before 1.5 s go.
    platform::ExportRequest request;
    request.source = source;
    request.destination = dir.filePath(QStringLiteral("plain.mp4"));
    request.start = 1.5;
    request.end = 2.5;
    double reported = 0;
    const auto plain = exporter.exportMovie(request, {}, [&](double done) {
        EXPECT_GE(done, reported);
        reported = done;
        return true;
    });
    ASSERT_TRUE(plain) << plain.error().message.toStdString();
    EXPECT_DOUBLE_EQ(reported, 1.0);
    const auto info = reader.info(request.destination);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->size, QSize(320, 180));
    EXPECT_EQ(info->videoCodec, QStringLiteral("h264"));
    EXPECT_EQ(info->audioCodec, QStringLiteral("aac"));
    EXPECT_NEAR(info->duration, 1.0, 1.5 / fps);
    const QList<QImage> frames = movieFrames(request.destination, {320, 180});
    ASSERT_NEAR(frames.size(), 30, 1);
    EXPECT_EQ(numberIn(frames.first(), {0, 0, 320, 180}), 45) << "the first picture is the one at 1.5 s";
    EXPECT_EQ(numberIn(frames.last(), {0, 0, 320, 180}), 44 + int(frames.size()));
    EXPECT_EQ(soundChannels(request.destination), 2);
    EXPECT_NEAR(soundLevel(request.destination), toneAmplitude / std::sqrt(2.0), 0.03);
    const std::string start =
        run("ffprobe", {"-v", "error", "-select_streams", "v:0", "-show_entries", "stream=start_time", "-of",
                        "csv=p=0", request.destination.toStdString()});
    EXPECT_NEAR(std::stod(start), 0.0, 0.001) << "the new movie starts at 0";

    // Drawn: each picture handed over with its time, in order, the drawing written.
    request.destination = dir.filePath(QStringLiteral("drawn.mov"));
    request.size = {160, 90};
    std::vector<double> times;
    const auto drawn =
        exporter.exportMovie(request,
                             [&](QImage& target, const QImage& picture, double time, const QImage& camera) {
                                 EXPECT_EQ(target.size(), QSize(160, 90));
                                 EXPECT_EQ(picture.size(), QSize(320, 180));
                                 EXPECT_TRUE(camera.isNull());
                                 times.push_back(time);
                                 target.fill(Qt::black);
                                 QImage half = picture.scaled(80, 45);
                                 for (int y = 0; y < 45; ++y)
                                     for (int x = 0; x < 80; ++x)
                                         target.setPixel(x, y, half.pixel(x, y));
                             },
                             {});
    ASSERT_TRUE(drawn) << drawn.error().message.toStdString();
    ASSERT_NEAR(times.size(), 30, 1);
    EXPECT_NEAR(times.front(), 1.5, 1.0 / fps);
    EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
    const QList<QImage> small = movieFrames(request.destination, {160, 90});
    ASSERT_FALSE(small.isEmpty());
    EXPECT_EQ(numberIn(small.first(), {0, 0, 80, 45}), 45);
    EXPECT_LT(qGray(small.first().pixel(120, 70)), 30) << "what the drawing left black";
}

TEST_F(VideoExportTest, TheSoundIsDroppedMadeSofterOrMixedDownAsAsked) {
    const QString source = numberedMovie(QStringLiteral("tone.mov"), {320, 180}, 2);
    ASSERT_FALSE(source.isEmpty());
    const double level = toneAmplitude / std::sqrt(2.0);

    VideoExport::TrimOptions options;
    options.mute = true;
    const auto muted = VideoExport::exportTrimmed(source, options);
    ASSERT_TRUE(muted) << muted.error().message.toStdString();
    EXPECT_TRUE(QFileInfo(*muted).fileName().startsWith(QStringLiteral("pictavia-export-")));
    EXPECT_TRUE(muted->endsWith(QStringLiteral(".mp4")));
    const auto mutedInfo = reader.info(*muted);
    ASSERT_TRUE(mutedInfo);
    EXPECT_FALSE(mutedInfo->hasAudio);
    EXPECT_NEAR(mutedInfo->duration, 2.0, 1.5 / fps);

    options.mute = false;
    options.volume = 0.5;
    const auto softer = VideoExport::exportTrimmed(source, options);
    ASSERT_TRUE(softer) << softer.error().message.toStdString();
    EXPECT_EQ(soundChannels(*softer), 2);
    EXPECT_NEAR(soundLevel(*softer) / level, 0.5, 0.05);

    options.volume = 1.0;
    options.mono = true;
    const auto mono = VideoExport::exportTrimmed(source, options);
    ASSERT_TRUE(mono) << mono.error().message.toStdString();
    EXPECT_EQ(soundChannels(*mono), 1);
    EXPECT_NEAR(soundLevel(*mono) / level, 1.0, 0.08) << "two equal channels mix down to the same loudness";

    // An exported file's sound mixed down in place, its pictures untouched.
    const auto stereo = VideoExport::exportTrimmed(source, {});
    ASSERT_TRUE(stereo);
    const qint64 frameCount = movieFrames(*stereo, {320, 180}).size();
    ASSERT_TRUE(VideoExport::downmixToMono(*stereo));
    EXPECT_EQ(soundChannels(*stereo), 1);
    EXPECT_EQ(movieFrames(*stereo, {320, 180}).size(), frameCount);
    EXPECT_TRUE(QDir(QFileInfo(*stereo).path())
                    .entryList({QStringLiteral(".pictavia-mono-*")}, QDir::Files | QDir::Hidden)
                    .isEmpty());
    for (const QString& file : {*muted, *softer, *mono, *stereo})
        QFile::remove(file);
}

TEST_F(VideoExportTest, ThePresetSetsSizeAndCodecAndHevcBelow1080pIsH264) {
    const QString source = numberedMovie(QStringLiteral("large.mov"), {1600, 900}, 0.5, false);
    ASSERT_FALSE(source.isEmpty());
    VideoExport::TrimOptions options;
    options.preset = ExportResolutions::preset(ExportResolution::r720, RecordingCodec::hevc);
    const auto small = VideoExport::exportTrimmed(source, options);
    ASSERT_TRUE(small) << small.error().message.toStdString();
    auto info = reader.info(*small);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->size, QSize(1280, 720));
    EXPECT_EQ(info->videoCodec, QStringLiteral("h264"));
    EXPECT_EQ(numberIn(movieFrames(*small, {1280, 720}).first(), {0, 0, 1280, 720}), 0);

    options.preset = ExportResolutions::preset(ExportResolution::original, RecordingCodec::hevc);
    const auto hevc = VideoExport::exportTrimmed(source, options);
    ASSERT_TRUE(hevc) << hevc.error().message.toStdString();
    info = reader.info(*hevc);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->size, QSize(1600, 900));
    EXPECT_EQ(videoCodec(*hevc), QStringLiteral("hevc"));
    QFile::remove(*small);
    QFile::remove(*hevc);
}

TEST_F(VideoExportTest, ACancelOrADamagedMovieLeavesNothingAndSaysWhy) {
    const QString source = numberedMovie(QStringLiteral("cancel.mov"), {320, 180}, 2);
    ASSERT_FALSE(source.isEmpty());
    const QStringList before = leftovers();
    int calls = 0;
    const auto cancelled = VideoExport::exportTrimmed(source, {}, [&](double) { return ++calls < 10; });
    ASSERT_FALSE(cancelled);
    EXPECT_EQ(cancelled.error().code, VideoExport::Cancelled);
    EXPECT_EQ(leftovers(), before);

    const auto gif = VideoExport::gifFrom(source, 0, -1, 10, 200, GIFQuality::sharp, {},
                                          [](double done) { return done < 0.3; });
    ASSERT_FALSE(gif);
    EXPECT_EQ(gif.error().code, VideoExport::Cancelled);
    EXPECT_EQ(leftovers(), before);

    const QString damaged = dir.filePath(QStringLiteral("damaged.mp4"));
    QFile file(damaged);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(4096, '\x5a'));
    file.close();
    const auto broken = VideoExport::exportTrimmed(damaged, {});
    ASSERT_FALSE(broken);
    EXPECT_EQ(broken.error().message, QStringLiteral("“damaged.mp4” is not a video Pictavia can read."));
    EXPECT_EQ(leftovers(), before);
    platform::ExportRequest gone;
    gone.source = dir.filePath(QStringLiteral("gone.mov"));
    gone.destination = dir.filePath(QStringLiteral("out.mp4"));
    const auto missing = exporter.exportMovie(gone, {}, {});
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().message, QStringLiteral("“gone.mov” does not exist."));
    EXPECT_FALSE(QFile::exists(dir.filePath(QStringLiteral("out.mp4"))));
}

TEST_F(VideoExportTest, SampledFramesAreThePicturesShownAtTheirTimesAndMakeAGif) {
    const QString source = numberedMovie(QStringLiteral("sampled.mov"), {320, 180}, 3);
    ASSERT_FALSE(source.isEmpty());
    std::vector<std::pair<double, int>> samples;
    // Times a little into each frame: the movie writer's pictures come a few milliseconds
    // after their nominal times.
    const auto sampled =
        exporter.sampleFrames(source, 1.027, 2.027, 10, [&](const QImage& picture, double time) {
            samples.emplace_back(time, numberIn(picture, picture.rect()));
            return true;
        });
    ASSERT_TRUE(sampled) << sampled.error().message.toStdString();
    ASSERT_EQ(samples.size(), 10u);
    for (size_t i = 0; i < samples.size(); ++i) {
        EXPECT_NEAR(samples[i].first, 1.027 + 0.1 * double(i), 1e-6);
        EXPECT_EQ(samples[i].second, 30 + 3 * int(i));
    }

    const auto gif = VideoExport::gifFrom(source, 0.5, 1.5, 10, 160, GIFQuality::balanced);
    ASSERT_TRUE(gif) << gif.error().message.toStdString();
    const auto info = reader.info(*gif);
    ASSERT_TRUE(info) << info.error().message.toStdString();
    EXPECT_EQ(info->size, QSize(160, 90));
    EXPECT_EQ(info->videoCodec, QStringLiteral("gif"));
    EXPECT_NEAR(info->duration, 1.0, 0.15);
    QFile::remove(*gif);
}

// `pictavia video export` in a home of its own, with no display.
class VideoCommandTest : public VideoExportTest {
protected:
    void SetUp() override {
        VideoExportTest::SetUp();
        ASSERT_TRUE(home.isValid());
        QDir().mkpath(home.path() + "/config/pictavia");
        QFile file(home.path() + "/config/pictavia/pictavia.conf");
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("copyToClipboard = false\ncaptureSound = false\nautoSaveToDisk = false\n"
                   "showQuickAccess = false\ngifFPS = 10\ngifMaxWidth = 160\n");
    }
    ProcessOutput pictavia(const std::vector<std::string>& args) {
        const std::string path = home.path().toStdString();
        auto process = ChildProcess::start(PICTAVIA_BIN, args,
                                           {.environment = {{"XDG_CONFIG_HOME", path + "/config"},
                                                            {"XDG_DATA_HOME", path + "/data"},
                                                            {"XDG_RUNTIME_DIR", path},
                                                            {"HOME", path},
                                                            {"DISPLAY", ""}},
                                            .err = ChildProcess::Stream::Pipe});
        return process->finish(60s);
    }
    QString history() const { return home.path() + "/data/Pictavia/History"; }

    QTemporaryDir home;
};

TEST_F(VideoCommandTest, AnExportIsANewCaptureInTheHistoryAndTheRecordingIsKept) {
    const QString source = numberedMovie(QStringLiteral("clip.mov"), {320, 180}, 3);
    ASSERT_FALSE(source.isEmpty());
    // A studio recording: the look draws through its timeline.
    RecordingTimeline timeline;
    timeline.studio = true;
    timeline.clicksTracked = true;
    timeline.clicks = {{1.0, 0.25, 0.5}};
    timeline.cursor = {{0.0, 0.2, 0.5, 0}, {2.0, 0.6, 0.4, 0}};
    timeline.areaWidth = 320;
    timeline.areaHeight = 180;
    ASSERT_TRUE(TimelineStore::save(timeline, source));

    const ProcessOutput movie =
        pictavia({"video", "export", source.toStdString(), "--trim", "0.5,2", "--studio", "studio"});
    ASSERT_EQ(movie.exitCode, 0) << movie.err;
    const QString file = QString::fromStdString(movie.out).trimmed();
    EXPECT_EQ(QFileInfo(file).absolutePath(), history());
    EXPECT_TRUE(file.endsWith(QStringLiteral(".mp4")));
    const auto info = reader.info(file);
    ASSERT_TRUE(info) << info.error().message.toStdString();
    EXPECT_NEAR(info->duration, 1.5, 1.5 / fps);
    EXPECT_TRUE(QFile::exists(source)) << "the recording is kept";
    const auto styled = reader.frameAt(file, 0.5);
    ASSERT_TRUE(styled);
    EXPECT_GE(styled->width(), 320) << "the scene's frame, the recording at its own size inside";
    EXPECT_GT(QColor(styled->pixel(2, 2)).saturation(), 60)
        << "the corner shows the background, not the bars";
    EXPECT_EQ(movie.err, "") << "no progress line or chatter off a terminal";

    const ProcessOutput gif = pictavia({"video", "export", source.toStdString(), "--gif", "--trim", "0,1"});
    ASSERT_EQ(gif.exitCode, 0) << gif.err;
    const QString animation = QString::fromStdString(gif.out).trimmed();
    EXPECT_EQ(QFileInfo(animation).absolutePath(), history());
    EXPECT_TRUE(animation.endsWith(QStringLiteral(".gif")));
    const auto gifInfo = reader.info(animation);
    ASSERT_TRUE(gifInfo);
    EXPECT_EQ(gifInfo->size, QSize(160, 90));

    const ProcessOutput small =
        pictavia({"video", "export", source.toStdString(), "--resolution", "480p", "--codec", "hevc"});
    ASSERT_EQ(small.exitCode, 0) << small.err;
    EXPECT_EQ(videoCodec(QString::fromStdString(small.out).trimmed()), QStringLiteral("h264"));
}

TEST_F(VideoCommandTest, HelpAndMistakesAreAnsweredInOneSentence) {
    const ProcessOutput video = pictavia({"video", "--help"});
    EXPECT_EQ(video.exitCode, 0);
    EXPECT_NE(video.out.find("export MOVIE"), std::string::npos);
    const ProcessOutput help = pictavia({"video", "export", "--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_NE(help.out.find("--studio"), std::string::npos);
    EXPECT_NE(help.out.find("--trim"), std::string::npos);

    const QString source = numberedMovie(QStringLiteral("short.mov"), {320, 180}, 1, false);
    const ProcessOutput look = pictavia({"video", "export", source.toStdString(), "--studio", "sparkles"});
    EXPECT_EQ(look.exitCode, 2);
    EXPECT_NE(look.err.find("there is no look \"sparkles\""), std::string::npos) << look.err;
    const ProcessOutput trim = pictavia({"video", "export", source.toStdString(), "--trim", "2,1"});
    EXPECT_EQ(trim.exitCode, 2);
    const ProcessOutput missing = pictavia({"video", "export", dir.filePath("none.mov").toStdString()});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(missing.err, "pictavia: “none.mov” does not exist.\n");
    const ProcessOutput beyond = pictavia({"video", "export", source.toStdString(), "--trim", "5,6"});
    EXPECT_EQ(beyond.exitCode, 1);
    EXPECT_EQ(std::count(beyond.err.begin(), beyond.err.end(), '\n'), 1) << beyond.err;
    EXPECT_FALSE(QDir(history()).exists() && !QDir(history()).entryList(QDir::Files).isEmpty());
}

TEST_F(VideoCommandTest, CaptionsAnswerHelpAndMistakesAndFailWithOneSentence) {
    const ProcessOutput video = pictavia({"video", "--help"});
    EXPECT_NE(video.out.find("captions MOVIE"), std::string::npos) << video.out;
    const ProcessOutput help = pictavia({"video", "captions", "--help"});
    EXPECT_EQ(help.exitCode, 0);
    for (const char* option : {"--srt", "--language", "--redo"})
        EXPECT_NE(help.out.find(option), std::string::npos) << option;

    EXPECT_EQ(pictavia({"video", "captions"}).exitCode, 2);
    EXPECT_EQ(pictavia({"video", "captions", "a.mov", "--bogus"}).exitCode, 2);
    const ProcessOutput missing = pictavia({"video", "captions", dir.filePath("none.mov").toStdString()});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(missing.err, "pictavia: “none.mov” does not exist.\n");

    // A movie without sound has no speech to caption: one sentence, and nothing kept.
    const QString silent = numberedMovie(QStringLiteral("silent.mov"), {320, 180}, 1, false);
    const ProcessOutput heard = pictavia({"video", "captions", silent.toStdString()});
    EXPECT_EQ(heard.exitCode, 1);
    EXPECT_EQ(heard.out, "");
    EXPECT_EQ(std::count(heard.err.begin(), heard.err.end(), '\n'), 1) << heard.err;
    EXPECT_FALSE(QFile::exists(TimelineStore::path(silent)));
}

// Speech made here by festival's HTS voice, in a movie: its captions come back as text and
// subtitles and stay with the recording. Runs where a speech model is installed.
TEST_F(VideoCommandTest, CaptionsOfSpokenWordsAreKeptWithTheRecording) {
    const QString text = dir.filePath("voice.txt");
    {
        QFile out(text);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly));
        out.write("please open the settings window and save the file\n");
    }
    const QString voice = dir.filePath("voice.wav");
    run("text2wave",
        {"-eval", "(voice_cmu_us_slt_arctic_hts)", "-o", voice.toStdString(), text.toStdString()});
    ASSERT_TRUE(QFileInfo(voice).size() > 1000) << "festival made no speech";
    const QString movie = dir.filePath("spoken.mov");
    run("ffmpeg", {"-v", "error", "-f", "lavfi", "-i", "color=c=gray:size=160x120:rate=10", "-i",
                   voice.toStdString(), "-shortest", "-c:v", "libx264", "-c:a", "aac", movie.toStdString()});
    ASSERT_TRUE(QFile::exists(movie));

    const ProcessOutput heard = pictavia({"video", "captions", movie.toStdString()});
    if (heard.err.find("There is no on device speech model") != std::string::npos) GTEST_SKIP() << heard.err;
    ASSERT_EQ(heard.exitCode, 0) << heard.err;
    EXPECT_EQ(heard.err, "") << "no progress line or chatter off a terminal";
    const QString transcript = QString::fromStdString(heard.out);
    EXPECT_TRUE(transcript.startsWith("[0:0")) << heard.out;
    int known = 0;
    for (const char* word : {"open", "settings", "window", "save", "file"})
        known += transcript.contains(word, Qt::CaseInsensitive) ? 1 : 0;
    EXPECT_GE(known, 4) << heard.out;

    const auto timeline = TimelineStore::load(movie);
    ASSERT_TRUE(timeline && timeline->has_value());
    EXPECT_FALSE((*timeline)->captions.isEmpty());
    EXPECT_EQ((*timeline)->captionsLanguage, "en-US");

    // Asked again, the kept captions answer; the subtitles are written from them.
    const QString srt = dir.filePath("spoken.srt");
    const ProcessOutput subtitles =
        pictavia({"video", "captions", movie.toStdString(), "--srt", srt.toStdString()});
    ASSERT_EQ(subtitles.exitCode, 0) << subtitles.err;
    QFile written(srt);
    ASSERT_TRUE(written.open(QIODevice::ReadOnly));
    EXPECT_TRUE(written.readAll().startsWith("1\n00:00:0"));
}

} // namespace
