#pragma once

#include "platform/MediaReader.h"

namespace platform::media {

// Movies (MP4, MOV, WebM, MKV …) and animated GIFs read with FFmpeg's libraries.
// Holds no state: every call opens the file anew, so calls may run on several threads at once.
class FfmpegMediaReader : public MediaReader {
public:
    FfmpegMediaReader();
    Result<MediaInfo> info(const QString& file) override;
    // Seeks to the key frame at or before `seconds`, then decodes forward to the last frame
    // that starts at or before it. Past the end, the last frame.
    Result<QImage> frameAt(const QString& file, double seconds) override;
};

} // namespace platform::media
