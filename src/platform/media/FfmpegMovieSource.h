#pragma once

#include "common/Result.h"
#include "platform/media/FfmpegHandles.h"

#include <QImage>
#include <QString>

namespace platform::media {

// A movie opened for reading with a decoder for its video.
struct MovieSource {
    InputHandle format;
    AVStream* video = nullptr;
    CodecHandle decoder;
};

// Opens a local file (no other protocol) and the decoder of its video; a sentence naming
// the file when it cannot be read.
Result<MovieSource> openMovieSource(const QString& file);

// Turns decoded pictures into RGB32 images: libyuv's vector code for the usual 4:2:0
// (the same BT.601 colours the movie writer encodes with), swscale for anything else.
class FrameToImage {
public:
    bool convert(const AVFrame* frame, QImage& image);

private:
    ScalerHandle m_scaler;
};

} // namespace platform::media
