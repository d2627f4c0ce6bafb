#pragma once

#include "common/Result.h"
#include "platform/media/FfmpegHandles.h"

#include <QImage>
#include <QString>

namespace platform::media {

// A written movie's container, its file closed before the context is freed.
struct FreeOutput {
    void operator()(AVFormatContext* context) const {
        if (context->pb != nullptr) avio_closep(&context->pb);
        avformat_free_context(context);
    }
};
using OutputHandle = std::unique_ptr<AVFormatContext, FreeOutput>;

// The file name a sentence about `file` shows.
QString shownName(const QString& file);

// A local file opened by its demuxer (no other protocols), its streams found. Errors are
// sentences: the file is missing, not to be read, or not a movie.
Result<InputHandle> openInput(const QString& file);

// A movie opened for reading with a decoder for its video.
struct MovieSource {
    InputHandle format;
    AVStream* video = nullptr;
    CodecHandle decoder;
};

// Opens a file as openInput does and the decoder of its video.
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
