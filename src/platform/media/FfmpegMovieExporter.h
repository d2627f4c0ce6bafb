#pragma once

#include "platform/LayeredExport.h"
#include "platform/MovieExporter.h"

namespace platform::media {

// Exports movies with FFmpeg: one thread reads and decodes the source (and the camera movie
// beside it) while the caller's draws each frame, converts it and encodes it with libx264 or
// libx265; the sound is decoded, changed and encoded as AAC on the reading thread. Layered
// frames are composed in 4:2:0 without a round trip through RGB.
class FfmpegMovieExporter : public MovieExporter, public LayeredMovieExporter {
public:
    FfmpegMovieExporter();
    Result<bool> exportMovie(const ExportRequest& request, const Draw& draw,
                             const Progress& progress) override;
    Result<bool> exportLayered(const ExportRequest& request, const FrameLayers& layers,
                               const Progress& progress) override;
    Result<bool> downmixToMono(const QString& source, const QString& destination) override;
    Result<bool> sampleFrames(const QString& source, double start, double end, double fps,
                              const std::function<bool(const QImage& picture, double time)>& frame) override;
};

} // namespace platform::media
