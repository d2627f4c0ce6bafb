// The leveller's arithmetic (blocks, percentile, limits, the soft knee) and its decisions
// about a movie (left alone, rewritten, cleaned first, failing without harm), against a movie
// sound service and a voice isolator that stand in for FFmpeg.

#include "video/VoiceLeveler.h"
#include "platform/Platform.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cmath>

namespace {

// Blocks of one constant level each: a constant's RMS is its size.
std::vector<float> blocks(std::initializer_list<std::pair<int, float>> runs) {
    std::vector<float> samples;
    for (const auto& [count, level] : runs)
        samples.insert(samples.end(), size_t(count * VoiceLeveler::blockSamples), level);
    return samples;
}

class FakeMovieSound : public platform::MovieSound {
public:
    int tracks = 1;
    std::vector<float> sound; // mono, what any file sounds like
    QStringList read;         // the files read, in order
    std::optional<Error> replaceError;
    struct Replacement {
        QString source, soundSource, destination;
        int channels = 0;
        std::vector<float> transformed; // the sound after the transform, interleaved
    };
    std::vector<Replacement> replacements;

    Result<int> soundTracks(const QString&) override { return tracks; }
    Result<bool> readSound(const QString& file, int, int, int channels, const Chunk& chunk) override {
        read << file;
        std::vector<float> interleaved;
        for (const float sample : sound)
            interleaved.insert(interleaved.end(), size_t(channels), sample);
        // In uneven pieces, as a decoder hands them on.
        for (size_t at = 0; at < sound.size();) {
            const size_t frames = std::min<size_t>(1000, sound.size() - at);
            if (!chunk(interleaved.data() + at * size_t(channels), qsizetype(frames))) break;
            at += frames;
        }
        return true;
    }
    Result<bool> replaceSound(const QString& source, const QString& soundSource, const QString& destination,
                              int channels, const Transform& transform, const Progress&) override {
        Replacement replacement{source, soundSource, destination, channels, {}};
        for (const float sample : sound)
            replacement.transformed.insert(replacement.transformed.end(), size_t(channels), sample);
        transform(replacement.transformed.data(), qsizetype(sound.size()));
        replacements.push_back(replacement);
        if (replaceError) return *replaceError;
        QFile file(destination);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("rewritten");
        return true;
    }
};

class FakeIsolator : public platform::VoiceIsolator {
public:
    bool fails = false;
    Result<bool> isolate(const QString&, const QString& destination, const Progress&) override {
        if (fails) return Error{QStringLiteral("no voice here")};
        QFile file(destination);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("cleaned");
        return true;
    }
};

class VoiceLevelerTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(temp.isValid());
        ASSERT_TRUE(folder.isValid());
        qputenv("TMPDIR", temp.path().toUtf8());
        auto s = std::make_unique<FakeMovieSound>();
        auto i = std::make_unique<FakeIsolator>();
        sound = s.get();
        isolator = i.get();
        platform::Services services;
        services.movieSound = std::move(s);
        services.voiceIsolator = std::move(i);
        platform::install(std::move(services));
        movie = folder.filePath(QStringLiteral("clip.mov"));
        QFile file(movie);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("recorded");
    }
    void TearDown() override {
        platform::services().movieSound.reset();
        platform::services().voiceIsolator.reset();
        qunsetenv("TMPDIR");
    }
    QByteArray movieBytes() const {
        QFile file(movie);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    QStringList workFiles() const { return QDir(temp.path()).entryList(QDir::Files); }

    QTemporaryDir temp;
    QTemporaryDir folder;
    QString movie;
    FakeMovieSound* sound = nullptr;
    FakeIsolator* isolator = nullptr;
};

TEST(VoiceLevelerGain, SilenceAndTooLittleSpeechStayAtOne) {
    EXPECT_EQ(VoiceLeveler::gainFor(std::vector<float>(500, 0.0018f)), 1.0f); // at the threshold: silence
    EXPECT_EQ(VoiceLeveler::gainFor(std::vector<float>(9, 0.01f)), 1.0f);     // nine blocks: too few
    EXPECT_FLOAT_EQ(VoiceLeveler::gainFor(std::vector<float>(10, 0.01f)), 12.5f);
    EXPECT_EQ(VoiceLeveler::gainFor({}), 1.0f);
}

TEST(VoiceLevelerGain, AimsTheNinetiethPercentileAtTheTargetWithinOneToSixteen) {
    EXPECT_FLOAT_EQ(VoiceLeveler::gainFor(std::vector<float>(100, 0.05f)), 2.5f);
    EXPECT_FLOAT_EQ(VoiceLeveler::gainFor(std::vector<float>(100, 0.002f)), 16.0f); // not 62.5
    EXPECT_FLOAT_EQ(VoiceLeveler::gainFor(std::vector<float>(100, 0.3f)), 1.0f);    // never quieter
    // Ten blocks: the value at index floor(9 × 0.9) = 8 of the sorted ones; one loud shout and
    // the room noise below the threshold do not move it.
    std::vector<float> levels(9, 0.025f);
    levels.push_back(0.5f);
    levels.insert(levels.begin(), 20, 0.001f);
    EXPECT_FLOAT_EQ(VoiceLeveler::gainFor(levels), 5.0f);
}

TEST(VoiceLevelerGain, BlocksAreFiftyMillisecondsWhateverThePiecesTheyComeIn) {
    VoiceLeveler::BlockLevels levels;
    const std::vector<float> samples = blocks({{2, 0.1f}, {1, -0.2f}});
    levels.add(samples.data(), 1000);
    levels.add(samples.data() + 1000, 4000);
    levels.add(samples.data() + 5000, qsizetype(samples.size()) - 5000);
    const float tail[100] = {};
    levels.add(tail, 100); // an incomplete last block is not counted
    ASSERT_EQ(levels.levels().size(), 3u);
    EXPECT_NEAR(levels.levels()[0], 0.1, 1e-6);
    EXPECT_NEAR(levels.levels()[2], 0.2, 1e-6);
}

TEST(VoiceLevelerLimit, BendsPeaksSmoothlyBelowFullScale) {
    float samples[] = {1.0f, -1.0f, 0.5f, -0.7f, 40.0f};
    VoiceLeveler::limit(samples, 5);
    EXPECT_NEAR(samples[0], 0.7 + 0.29 * std::tanh(0.3 / 0.29), 1e-6);
    EXPECT_NEAR(samples[0], 0.925, 0.001);
    EXPECT_NEAR(samples[1], -samples[0], 1e-7);
    EXPECT_EQ(samples[2], 0.5f);
    EXPECT_EQ(samples[3], -0.7f);
    EXPECT_LE(samples[4], 0.99f); // where tanh saturates, exactly the ceiling
}

TEST_F(VoiceLevelerTest, ASingleTrackNeedingLittleGainIsLeftUntouched) {
    sound->sound = blocks({{40, 0.125f / 1.1f}});
    const auto levelled = VoiceLeveler::process(movie, false, false);
    ASSERT_TRUE(levelled) << levelled.error().message.toStdString();
    EXPECT_FALSE(levelled->has_value());
    EXPECT_TRUE(sound->replacements.empty());
    EXPECT_EQ(movieBytes(), "recorded");
    // Mono alone does not force a rewrite: the recorder writes mono tracks when asked.
    ASSERT_TRUE(VoiceLeveler::process(movie, true, false));
    EXPECT_TRUE(sound->replacements.empty());
    EXPECT_TRUE(workFiles().isEmpty());
}

TEST_F(VoiceLevelerTest, QuietSpeechIsRewrittenInPlaceThroughAWorkFile) {
    sound->sound = blocks({{40, 0.01f}, {20, 0.0f}});
    const auto levelled = VoiceLeveler::process(movie, false, false);
    ASSERT_TRUE(levelled) << levelled.error().message.toStdString();
    EXPECT_FALSE(levelled->has_value());
    ASSERT_EQ(sound->replacements.size(), 1u);
    const auto& replacement = sound->replacements[0];
    EXPECT_EQ(replacement.source, movie);
    EXPECT_EQ(replacement.soundSource, movie);
    EXPECT_EQ(replacement.channels, 2);
    EXPECT_TRUE(QFileInfo(replacement.destination).fileName().startsWith(QStringLiteral("pictavia-voice-")));
    EXPECT_NEAR(replacement.transformed.front(), 0.125, 1e-5); // gain 12.5, on both channels
    EXPECT_NEAR(replacement.transformed[1], 0.125, 1e-5);
    EXPECT_EQ(movieBytes(), "rewritten");
    EXPECT_TRUE(workFiles().isEmpty());
}

TEST_F(VoiceLevelerTest, TheGainAndTheLimiterAreWhatTheRewriteApplies) {
    sound->tracks = 1;
    sound->sound = blocks({{100, 0.05f}, {1, 0.9f}});
    ASSERT_TRUE(VoiceLeveler::process(movie, true, false));
    ASSERT_EQ(sound->replacements.size(), 1u);
    const auto& out = sound->replacements[0].transformed;
    EXPECT_EQ(sound->replacements[0].channels, 1);
    EXPECT_NEAR(out.front(), 0.125, 1e-5); // 0.05 × 2.5
    EXPECT_LT(out.back(), 0.99f);          // 0.9 × 2.5 limited
    EXPECT_GT(out.back(), 0.95f);
    EXPECT_EQ(movieBytes(), "rewritten");
}

TEST_F(VoiceLevelerTest, TwoTracksAreAlwaysMixedIntoOne) {
    sound->tracks = 2;
    sound->sound = blocks({{40, 0.2f}});
    ASSERT_TRUE(VoiceLeveler::process(movie, false, false));
    ASSERT_EQ(sound->replacements.size(), 1u);
    EXPECT_NEAR(sound->replacements[0].transformed.front(), 0.2, 1e-6); // gain 1
    EXPECT_EQ(movieBytes(), "rewritten");
}

TEST_F(VoiceLevelerTest, ACleanedVoiceIsMeasuredAndPutInAndHandedBack) {
    sound->sound = blocks({{40, 0.125f}});
    const auto levelled = VoiceLeveler::process(movie, false, true);
    ASSERT_TRUE(levelled) << levelled.error().message.toStdString();
    ASSERT_TRUE(levelled->has_value());
    const QString cleaned = **levelled;
    EXPECT_TRUE(QFileInfo(cleaned).fileName().startsWith(QStringLiteral("pictavia-clean-")));
    EXPECT_TRUE(QFile::exists(cleaned));
    EXPECT_EQ(sound->read.value(0), cleaned);  // the gain comes from the cleaned sound
    ASSERT_EQ(sound->replacements.size(), 1u); // at gain 1, put in all the same
    EXPECT_EQ(sound->replacements[0].soundSource, cleaned);
    EXPECT_EQ(movieBytes(), "rewritten");
    EXPECT_EQ(workFiles(), QStringList{QFileInfo(cleaned).fileName()});
}

TEST_F(VoiceLevelerTest, AFailedCleaningFallsBackToTheRecordedSound) {
    isolator->fails = true;
    sound->sound = blocks({{40, 0.05f}});
    const auto levelled = VoiceLeveler::process(movie, false, true);
    ASSERT_TRUE(levelled);
    EXPECT_FALSE(levelled->has_value());
    ASSERT_EQ(sound->replacements.size(), 1u);
    EXPECT_EQ(sound->replacements[0].soundSource, movie);
}

TEST_F(VoiceLevelerTest, AFailedRewriteLeavesTheMovieAndNoWorkFiles) {
    sound->sound = blocks({{40, 0.01f}});
    sound->replaceError = Error{QStringLiteral("Cannot write the movie")};
    const auto levelled = VoiceLeveler::process(movie, false, true);
    ASSERT_FALSE(levelled);
    EXPECT_EQ(levelled.error().message, QStringLiteral("Cannot write the movie"));
    EXPECT_EQ(movieBytes(), "recorded");
    EXPECT_TRUE(workFiles().isEmpty()); // the cleaned sound went too
}

TEST_F(VoiceLevelerTest, ASilentMovieHasNothingToLevel) {
    sound->tracks = 0;
    const auto levelled = VoiceLeveler::process(movie, true, true);
    ASSERT_TRUE(levelled);
    EXPECT_FALSE(levelled->has_value());
    EXPECT_TRUE(sound->read.isEmpty());
    EXPECT_EQ(movieBytes(), "recorded");
}

} // namespace
