#include "platform/media/FfmpegMovieSound.h"

namespace platform::media {

Result<int> FfmpegMovieSound::soundTracks(const QString&) {
    return Error{QStringLiteral("Reading sound is not written yet")};
}

Result<bool> FfmpegMovieSound::readSound(const QString&, int, int, int, const Chunk&) {
    return Error{QStringLiteral("Reading sound is not written yet")};
}

} // namespace platform::media
