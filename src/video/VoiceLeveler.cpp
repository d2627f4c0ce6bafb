#include "video/VoiceLeveler.h"

#include "common/Log.h"
#include "platform/Platform.h"
#include "video/VoiceCleaner.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace VoiceLeveler {

namespace {

// The knee of the limiter and the room above it: 0.7 + 0.29 stays under 0.99.
constexpr float knee = 0.7f;
constexpr float headroom = 0.29f;

QString workFile(const QString& prefix, const QString& extension) {
    return QDir::tempPath() + u'/' + prefix + QUuid::createUuid().toString(QUuid::WithoutBraces) + extension;
}

// Puts `work` in the place of `movie` in one step, so that `movie` is either the old file or
// the new one. Across file systems the work file is first copied beside the movie.
Result<bool> replace(const QString& movie, const QString& work) {
    namespace fs = std::filesystem;
    std::error_code error;
    fs::rename(QFile::encodeName(work).toStdString(), QFile::encodeName(movie).toStdString(), error);
    if (!error) return true;
    const QFileInfo info(movie);
    const QString beside = info.absolutePath() + u'/' + u'.' + info.fileName() + QStringLiteral(".voice");
    QFile::remove(beside);
    const bool copied = QFile::copy(work, beside);
    QFile::remove(work);
    if (copied) {
        fs::rename(QFile::encodeName(beside).toStdString(), QFile::encodeName(movie).toStdString(), error);
        if (!error) return true;
    }
    QFile::remove(beside);
    return Error{QStringLiteral("Cannot replace %1 with its levelled copy").arg(info.fileName())};
}

} // namespace

void BlockLevels::add(const float* samples, qsizetype count) {
    for (qsizetype i = 0; i < count; ++i) {
        m_sum += double(samples[i]) * samples[i];
        if (++m_filled == blockSamples) {
            m_levels.push_back(float(std::sqrt(m_sum / blockSamples)));
            m_sum = 0;
            m_filled = 0;
        }
    }
}

float gainFor(std::vector<float> blockLevels) {
    std::erase_if(blockLevels, [](float level) { return !(level > speechThreshold); });
    if (blockLevels.size() <= size_t(fewestSpeechBlocks)) return 1.0f;
    std::sort(blockLevels.begin(), blockLevels.end());
    const auto index = size_t(std::floor(double(blockLevels.size() - 1) * 0.9));
    return std::clamp(targetLevel / blockLevels[index], 1.0f, largestGain);
}

Result<float> speechGain(const QString& file, int track) {
    auto& sound = platform::services().movieSound;
    if (!sound) return Error{QStringLiteral("Reading sound is not available")};
    BlockLevels levels;
    const auto read =
        sound->readSound(file, track, sampleRate, 1, [&](const float* samples, qsizetype frames) {
            levels.add(samples, frames);
            return true;
        });
    if (!read) return read.error();
    return gainFor(levels.levels());
}

void limit(float* samples, qsizetype count) {
    for (qsizetype i = 0; i < count; ++i) {
        const float magnitude = std::fabs(samples[i]);
        if (magnitude > knee)
            samples[i] =
                std::copysign(knee + headroom * std::tanh((magnitude - knee) / headroom), samples[i]);
    }
}

Result<std::optional<QString>> process(const QString& movie, bool mono, bool clean) {
    using Outcome = Result<std::optional<QString>>;
    auto& sound = platform::services().movieSound;
    if (!sound) return Error{QStringLiteral("Reading sound is not available")};
    const auto tracks = sound->soundTracks(movie);
    if (!tracks) return tracks.error();
    if (*tracks == 0) return Outcome(std::nullopt); // a silent movie: nothing to level

    std::optional<QString> cleaned;
    if (clean && VoiceCleaner::isAvailable()) {
        if (auto isolated = VoiceCleaner::isolate(movie))
            cleaned = *isolated;
        else
            qCWarning(lcPictavia, "Pictavia: voice isolation skipped: %s",
                      qPrintable(isolated.error().message));
    }
    const auto failed = [&](const Error& error) {
        if (cleaned) QFile::remove(*cleaned);
        return Outcome(error);
    };
    const QString voice = cleaned.value_or(movie);
    const auto gain = speechGain(voice);
    if (!gain) return failed(gain.error());
    // A cleaned voice is always put in: leaving the movie alone would throw the cleaning away.
    // Mono alone is not a reason: the recorder already writes mono tracks when asked.
    if (*tracks < 2 && *gain <= negligibleGain && !cleaned) return Outcome(std::nullopt);

    const int channels = mono ? 1 : 2;
    const float g = *gain;
    const auto transform = [g, channels](float* samples, qsizetype frames) {
        const qsizetype count = frames * channels;
        for (qsizetype i = 0; i < count; ++i)
            samples[i] *= g;
        limit(samples, count);
    };
    const QString work = workFile(QStringLiteral("pictavia-voice-"), QStringLiteral(".mov"));
    if (auto written = sound->replaceSound(movie, voice, work, channels, transform, {}); !written)
        return failed(written.error());
    if (auto replaced = replace(movie, work); !replaced) {
        QFile::remove(work);
        return failed(replaced.error());
    }
    return Outcome(cleaned);
}

} // namespace VoiceLeveler
