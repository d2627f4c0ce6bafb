#pragma once

#include <QString>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/error.h>
#include <libswscale/swscale.h>
}

#include <memory>

namespace platform::media {

// FFmpeg's objects owned the C++ way, each freed by its own function.
struct FreeInput {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
struct FreeCodec {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FreeFrame {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct FreePacket {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FreeScaler {
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};
using InputHandle = std::unique_ptr<AVFormatContext, FreeInput>;
using CodecHandle = std::unique_ptr<AVCodecContext, FreeCodec>;
using FrameHandle = std::unique_ptr<AVFrame, FreeFrame>;
using PacketHandle = std::unique_ptr<AVPacket, FreePacket>;
using ScalerHandle = std::unique_ptr<SwsContext, FreeScaler>;

// FFmpeg's words for an error code.
inline QString ffmpegError(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}

} // namespace platform::media
