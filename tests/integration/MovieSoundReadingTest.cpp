// The sound of movies and sound files read through FFmpeg: resampled to the asked rate and
// channels, several tracks mixed on the movie's clock with silence where one has nothing, and
// a clear sentence for what cannot be read. The files are made by the ffmpeg command.

#include "ChildProcess.h"

#include "platform/media/FfmpegMovieSound.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace testsupport;

constexpr int rate = 16'000;

// The strength of `hertz` in samples [from, to) seconds of mono sound at `rate` (Goertzel),
// as an amplitude: a full-scale sine of that frequency gives about 1.
double toneAt(const std::vector<float>& samples, double hertz, double from, double to) {
    const auto first = size_t(from * rate), last = std::min(samples.size(), size_t(to * rate));
    if (last <= first) return 0;
    const double w = 2 * M_PI * hertz / rate, coefficient = 2 * std::cos(w);
    double s1 = 0, s2 = 0;
    for (size_t i = first; i < last; ++i) {
        const double s = samples[i] + coefficient * s1 - s2;
        s2 = s1;
        s1 = s;
    }
    const double power = s1 * s1 + s2 * s2 - coefficient * s1 * s2;
    return 2 * std::sqrt(power) / double(last - first);
}

class MovieSoundReadingTest : public ::testing::Test {
protected:
    // Runs ffmpeg to make `name` in the temporary folder; its path.
    std::string make(const std::string& name, const std::vector<std::string>& args) {
        std::vector<std::string> all = {"-v", "error", "-y"};
        all.insert(all.end(), args.begin(), args.end());
        const std::string path = dir.path().toStdString() + "/" + name;
        all.push_back(path);
        const ProcessOutput out = ChildProcess::start("ffmpeg", all, {})->finish(std::chrono::seconds(60));
        EXPECT_EQ(out.exitCode, 0) << out.err;
        return path;
    }
    Result<bool> read(const std::string& file, int track, int channels, std::vector<float>& samples) {
        return sound.readSound(QString::fromStdString(file), track, rate, channels,
                               [&](const float* chunk, qsizetype frames) {
                                   samples.insert(samples.end(), chunk, chunk + frames * channels);
                                   return true;
                               });
    }

    QTemporaryDir dir;
    platform::media::FfmpegMovieSound sound;
};

TEST_F(MovieSoundReadingTest, TracksAreMixedOnTheMovieClockWithSilenceWhereOneHasNone) {
    // A 4 s movie: a 440 Hz track all along and a 1000 Hz track from 1.5 s to 2.5 s, as a
    // microphone that started late would be stored.
    const std::string movie = make("two-tracks.mov", {"-f",         "lavfi",
                                                      "-i",         "color=c=blue:s=64x64:r=10:d=4",
                                                      "-f",         "lavfi",
                                                      "-i",         "sine=f=440:r=48000:d=4",
                                                      "-itsoffset", "1.5",
                                                      "-f",         "lavfi",
                                                      "-i",         "sine=f=1000:r=44100:d=1",
                                                      "-map",       "0:v",
                                                      "-map",       "1:a",
                                                      "-map",       "2:a",
                                                      "-c:v",       "libx264",
                                                      "-c:a",       "aac",
                                                      "-ac:a:0",    "2"});
    ASSERT_EQ(*sound.soundTracks(QString::fromStdString(movie)), 2);

    std::vector<float> mixed;
    ASSERT_TRUE(read(movie, -1, 1, mixed));
    EXPECT_NEAR(double(mixed.size()) / rate, 4.0, 0.15);
    EXPECT_GT(toneAt(mixed, 440, 0.2, 1.3), 0.05);
    EXPECT_LT(toneAt(mixed, 1000, 0.2, 1.3), 0.01);
    EXPECT_GT(toneAt(mixed, 1000, 1.7, 2.3), 0.05);
    EXPECT_GT(toneAt(mixed, 440, 1.7, 2.3), 0.05);
    EXPECT_LT(toneAt(mixed, 1000, 2.7, 3.8), 0.01);

    // The late track alone: silent until it starts, at its time.
    std::vector<float> late;
    ASSERT_TRUE(read(movie, 1, 1, late));
    EXPECT_LT(toneAt(late, 1000, 0.0, 1.4), 0.01);
    EXPECT_GT(toneAt(late, 1000, 1.55, 1.65), 0.05);
    EXPECT_GT(toneAt(late, 1000, 2.35, 2.45), 0.05);
    EXPECT_LT(toneAt(late, 1000, 2.6, double(late.size()) / rate), 0.01);
    EXPECT_LT(toneAt(late, 440, 1.6, 2.4), 0.01);

    // Two channels, interleaved: both carry the tone.
    std::vector<float> stereo;
    ASSERT_TRUE(read(movie, 0, 2, stereo));
    std::vector<float> left, right;
    for (size_t i = 0; i + 1 < stereo.size(); i += 2) {
        left.push_back(stereo[i]);
        right.push_back(stereo[i + 1]);
    }
    EXPECT_GT(toneAt(left, 440, 0.5, 3.5), 0.05);
    EXPECT_GT(toneAt(right, 440, 0.5, 3.5), 0.05);
}

TEST_F(MovieSoundReadingTest, SoundFilesAreResampled) {
    const std::string wav = make("tone.wav", {"-f", "lavfi", "-i", "sine=f=600:r=44100:d=2", "-ac", "2"});
    const std::string m4a = make("tone.m4a", {"-f", "lavfi", "-i", "sine=f=600:r=48000:d=2", "-c:a", "aac"});
    for (const std::string& file : {wav, m4a}) {
        std::vector<float> samples;
        ASSERT_TRUE(read(file, -1, 1, samples)) << file;
        EXPECT_NEAR(double(samples.size()) / rate, 2.0, 0.1) << file;
        EXPECT_GT(toneAt(samples, 600, 0.2, 1.8), 0.05) << file;
        EXPECT_LT(toneAt(samples, 900, 0.2, 1.8), 0.01) << file;
    }
}

TEST_F(MovieSoundReadingTest, WhatCannotBeReadIsSaidPlainly) {
    std::vector<float> samples;
    const auto missing = read(dir.path().toStdString() + "/nowhere.mov", -1, 1, samples);
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().message, QStringLiteral("“nowhere.mov” does not exist."));

    QFile text(dir.path() + QStringLiteral("/notes.mov"));
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    text.write("these are notes, not a movie\n");
    text.close();
    const auto notMovie = read(text.fileName().toStdString(), -1, 1, samples);
    ASSERT_FALSE(notMovie);
    EXPECT_EQ(notMovie.error().message,
              QStringLiteral("“notes.mov” is not a movie or sound file Pictavia can read."));
    EXPECT_FALSE(sound.soundTracks(text.fileName()));

    const std::string silent =
        make("silent.mp4", {"-f", "lavfi", "-i", "color=c=red:s=64x64:r=10:d=1", "-c:v", "libx264"});
    EXPECT_EQ(*sound.soundTracks(QString::fromStdString(silent)), 0);
    const auto noSound = read(silent, -1, 1, samples);
    ASSERT_FALSE(noSound);
    EXPECT_EQ(noSound.error().message, QStringLiteral("“silent.mp4” has no sound."));

    const std::string tone = make("one-track.m4a", {"-f", "lavfi", "-i", "sine=f=600:d=1", "-c:a", "aac"});
    const auto noTrack = read(tone, 1, 1, samples);
    ASSERT_FALSE(noTrack);
    EXPECT_EQ(noTrack.error().message, QStringLiteral("“one-track.m4a” has no sound track 2."));

    // A damaged file: the start kept, the rest garbage. Whatever comes of it is a result or a
    // sentence, never a crash.
    QFile original(QString::fromStdString(tone));
    ASSERT_TRUE(original.open(QIODevice::ReadOnly));
    QByteArray bytes = original.readAll();
    for (qsizetype i = bytes.size() / 2; i < bytes.size(); ++i)
        bytes[i] = char(i * 7919);
    QFile broken(dir.path() + QStringLiteral("/broken.m4a"));
    ASSERT_TRUE(broken.open(QIODevice::WriteOnly));
    broken.write(bytes);
    broken.close();
    samples.clear();
    const auto damaged = read(broken.fileName().toStdString(), -1, 1, samples);
    if (!damaged) {
        EXPECT_TRUE(damaged.error().message.startsWith(QStringLiteral("“broken.m4a”")));
    }
}

TEST_F(MovieSoundReadingTest, ReadingStopsWhenTheReaderAsks) {
    const std::string tone = make("long.m4a", {"-f", "lavfi", "-i", "sine=f=600:d=5", "-c:a", "aac"});
    int chunks = 0;
    const auto read = sound.readSound(QString::fromStdString(tone), -1, rate, 1,
                                      [&](const float*, qsizetype) { return ++chunks < 2; });
    ASSERT_FALSE(read);
    EXPECT_EQ(read.error().code, platform::MovieSound::Cancelled);
    EXPECT_EQ(chunks, 2);
}

} // namespace
