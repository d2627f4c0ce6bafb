#include "platform/media/FfmpegMovieSound.h"

namespace platform::media {

Result<bool> FfmpegMovieSound::replaceSound(const QString&, const QString&, const QString&, int,
                                            const Transform&, const Progress&) {
    return Error{QStringLiteral("Replacing sound is not written yet")};
}

} // namespace platform::media
