#include "platform/media/DenoisingVoiceIsolator.h"

#include "platform/media/FfmpegLog.h"
#include "platform/media/FfmpegMovieSource.h"
#include "platform/media/FfmpegSoundFile.h"
#include "platform/media/WebRtcDenoiser.h"

#include <QFile>

#include <algorithm>

namespace platform::media {

namespace {

constexpr int sampleRate = WebRtcDenoiser::rate;

// The length of `file` in seconds, 0 when unknown.
double lengthOf(const QString& file) {
    const auto input = openInput(file);
    return input && (*input)->duration > 0 ? double((*input)->duration) / AV_TIME_BASE : 0;
}

} // namespace

Result<bool> DenoisingVoiceIsolator::isolate(const QString& source, const QString& destination,
                                             const Progress& progress) {
    quietFfmpegLog();
    const auto outcome = [&]() -> Result<bool> {
        WebRtcDenoiser denoiser;
        SoundFileWriter file;
        if (auto opened = file.open(destination, sampleRate); !opened) return opened;
        std::vector<float> cleaned;
        Result<bool> written = true;
        bool cancelled = false;
        qint64 seen = 0;
        const double length = progress ? lengthOf(source) : 0;
        const auto read =
            m_sound.readSound(source, -1, sampleRate, 1, [&](const float* samples, qsizetype frames) {
                cleaned.clear();
                denoiser.add(samples, frames, cleaned);
                if (written = file.add(cleaned.data(), qsizetype(cleaned.size())); !written) return false;
                seen += frames;
                if (progress && length > 0 && !progress(std::min(double(seen) / sampleRate / length, 1.0))) {
                    cancelled = true;
                    return false;
                }
                return true;
            });
        if (cancelled) return Error{QStringLiteral("Cancelled"), Error{}.domain, MovieSound::Cancelled};
        if (!written) return written;
        if (!read) return read.error();
        cleaned.clear();
        denoiser.finish(cleaned);
        if (auto added = file.add(cleaned.data(), qsizetype(cleaned.size())); !added) return added;
        return file.finish();
    }();
    if (!outcome) QFile::remove(destination);
    return outcome;
}

} // namespace platform::media
