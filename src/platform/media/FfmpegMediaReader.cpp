#include "platform/media/FfmpegMediaReader.h"

#include "platform/media/FfmpegHandles.h"
#include "platform/media/FfmpegLog.h"
#include "platform/media/FfmpegMovieSource.h"

#include <QFile>
#include <QFileInfo>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cmath>
#include <memory>

namespace platform::media {

namespace {

using Format = InputHandle;
using Decoder = CodecHandle;
using Frame = FrameHandle;
using Packet = PacketHandle;
using Scaler = ScalerHandle;

Error notAVideo(const QString& file) {
    return Error{QStringLiteral("“%1” is not a video Pictavia can read.").arg(shownName(file))};
}

// A readable file opened by its demuxer, with the video stream frames come from.
struct Opened {
    Format format;
    AVStream* video = nullptr;
};

Result<Opened> open(const QString& file) {
    auto input = openInput(file);
    if (!input) return input.error();
    Format format = std::move(input).value();

    AVStream* video = nullptr;
    for (unsigned i = 0; i < format->nb_streams && !video; ++i) {
        AVStream* stream = format->streams[i];
        // Cover art of a music file is a still picture, not video.
        if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
            !(stream->disposition & AV_DISPOSITION_ATTACHED_PIC))
            video = stream;
    }
    if (!video) return Error{QStringLiteral("“%1” has no video stream.").arg(shownName(file))};
    if (video->codecpar->width <= 0 || video->codecpar->height <= 0) return notAVideo(file);
    return Opened{std::move(format), video};
}

double lengthOf(const AVFormatContext* format, const AVStream* video) {
    if (format->duration != AV_NOPTS_VALUE && format->duration > 0)
        return double(format->duration) / AV_TIME_BASE;
    if (video->duration != AV_NOPTS_VALUE && video->duration > 0)
        return double(video->duration) * av_q2d(video->time_base);
    return 0;
}

double frameRateOf(AVFormatContext* format, AVStream* video) {
    // The average over the file first: GIFs and screen recordings change their rate as they go.
    AVRational rate = video->avg_frame_rate;
    if (rate.num <= 0 || rate.den <= 0) rate = av_guess_frame_rate(format, video, nullptr);
    return rate.num > 0 && rate.den > 0 ? av_q2d(rate) : 0;
}

// Decodes from the demuxer's current place to the frame shown at `target` (in the stream's
// time base): the last one starting at or before it, or the last of the file. `late` tells
// that the first frame decoded already started after `target`, so reading began too far in.
Frame decodeTo(AVFormatContext* format, AVCodecContext* decoder, int stream, int64_t target, bool& late) {
    late = false;
    const Packet packet(av_packet_alloc());
    const Frame frame(av_frame_alloc());
    if (!packet || !frame) return nullptr;
    Frame shown;
    bool draining = false;
    bool pending = false; // a packet the decoder had no room for yet
    for (;;) {
        for (;;) {
            const int received = avcodec_receive_frame(decoder, frame.get());
            if (received == AVERROR_EOF || (received < 0 && draining)) return shown;
            if (received < 0) break; // wants more input, or a damaged frame that is skipped
            const int64_t time = frame->best_effort_timestamp;
            if (time != AV_NOPTS_VALUE && time > target) {
                if (shown) return shown;
                late = true;
                shown.reset(av_frame_alloc());
                if (shown) av_frame_move_ref(shown.get(), frame.get());
                return shown;
            }
            if (!shown) shown.reset(av_frame_alloc());
            if (!shown) return nullptr;
            av_frame_unref(shown.get());
            av_frame_move_ref(shown.get(), frame.get());
        }
        if (draining) return shown;
        if (!pending) {
            if (av_read_frame(format, packet.get()) < 0) {
                // The end, or damage that ends the file early: take what the decoder still holds.
                avcodec_send_packet(decoder, nullptr);
                draining = true;
                continue;
            }
            if (packet->stream_index != stream) {
                av_packet_unref(packet.get());
                continue;
            }
        }
        // A packet the decoder rejects as damaged is dropped; the frames after it may still decode.
        pending = avcodec_send_packet(decoder, packet.get()) == AVERROR(EAGAIN);
        if (!pending) av_packet_unref(packet.get());
    }
}

Result<QImage> toImage(const AVFrame* frame, const QString& file) {
    const int width = frame->width, height = frame->height;
    if (width <= 0 || height <= 0) return notAVideo(file);
    auto source = AVPixelFormat(frame->format);
    int fullRange = frame->color_range == AVCOL_RANGE_JPEG;
    // The old full-range formats are the plain ones with the range given apart.
    switch (source) {
    case AV_PIX_FMT_YUVJ420P:
        source = AV_PIX_FMT_YUV420P;
        fullRange = 1;
        break;
    case AV_PIX_FMT_YUVJ422P:
        source = AV_PIX_FMT_YUV422P;
        fullRange = 1;
        break;
    case AV_PIX_FMT_YUVJ444P:
        source = AV_PIX_FMT_YUV444P;
        fullRange = 1;
        break;
    case AV_PIX_FMT_YUVJ440P:
        source = AV_PIX_FMT_YUV440P;
        fullRange = 1;
        break;
    case AV_PIX_FMT_YUVJ411P:
        source = AV_PIX_FMT_YUV411P;
        fullRange = 1;
        break;
    default:
        break;
    }
    // AV_PIX_FMT_RGB32 is 0xAARRGGBB in native byte order, as QImage::Format_ARGB32.
    const Scaler scaler(sws_getContext(width, height, source, width, height, AV_PIX_FMT_RGB32,
                                       SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT, nullptr, nullptr,
                                       nullptr));
    if (!scaler)
        return Error{QStringLiteral("Pictavia cannot convert the pictures of “%1”.").arg(shownName(file))};
    // Unmarked video is taken as BT.601, as players do at these sizes.
    const int matrix = frame->colorspace == AVCOL_SPC_UNSPECIFIED ? SWS_CS_DEFAULT : int(frame->colorspace);
    sws_setColorspaceDetails(scaler.get(), sws_getCoefficients(matrix), fullRange,
                             sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, 1 << 16, 1 << 16);

    QImage image(width, height, QImage::Format_ARGB32);
    if (image.isNull())
        return Error{QStringLiteral("The frames of “%1” are too large to show.").arg(shownName(file))};
    uint8_t* const planes[4] = {image.bits(), nullptr, nullptr, nullptr};
    const int strides[4] = {int(image.bytesPerLine()), 0, 0, 0};
    if (sws_scale(scaler.get(), frame->data, frame->linesize, 0, height, planes, strides) != height)
        return Error{QStringLiteral("Pictavia cannot convert the pictures of “%1”.").arg(shownName(file))};
    return image;
}

} // namespace

FfmpegMediaReader::FfmpegMediaReader() {
    quietFfmpegLog();
}

Result<MediaInfo> FfmpegMediaReader::info(const QString& file) {
    Result<Opened> opened = open(file);
    if (!opened) return opened.error();
    AVFormatContext* format = opened.value().format.get();
    AVStream* video = opened.value().video;

    MediaInfo info;
    info.duration = lengthOf(format, video);
    info.size = QSize(video->codecpar->width, video->codecpar->height);
    info.frameRate = frameRateOf(format, video);
    info.videoCodec = QString::fromLatin1(avcodec_get_name(video->codecpar->codec_id));
    const int audio = av_find_best_stream(format, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (audio >= 0) {
        info.hasAudio = true;
        info.audioCodec = QString::fromLatin1(avcodec_get_name(format->streams[audio]->codecpar->codec_id));
    }
    return info;
}

Result<QImage> FfmpegMediaReader::frameAt(const QString& file, double seconds) {
    Result<Opened> opened = open(file);
    if (!opened) return opened.error();
    AVFormatContext* format = opened.value().format.get();
    AVStream* video = opened.value().video;

    // Sound and subtitles are skipped by the demuxer, not read and dropped here.
    for (unsigned i = 0; i < format->nb_streams; ++i)
        if (format->streams[i] != video) format->streams[i]->discard = AVDISCARD_ALL;
    const AVCodec* codec = avcodec_find_decoder(video->codecpar->codec_id);
    const QString cannotDecode =
        QStringLiteral("Pictavia cannot decode the %1 video of “%2”.")
            .arg(QString::fromLatin1(avcodec_get_name(video->codecpar->codec_id)), shownName(file));
    if (!codec) return Error{cannotDecode};
    const Decoder decoder(avcodec_alloc_context3(codec));
    if (!decoder || avcodec_parameters_to_context(decoder.get(), video->codecpar) < 0)
        return Error{cannotDecode};
    decoder->pkt_timebase = video->time_base;
    decoder->thread_count = 0; // as many as there are cores
    if (avcodec_open2(decoder.get(), codec, nullptr) < 0) return Error{cannotDecode};

    // NaN and negative times are the start; the far end is the last frame.
    if (!(seconds > 0)) seconds = 0;
    const double length = lengthOf(format, video);
    seconds = std::min(seconds, length > 0 ? length : 1e7);
    const int64_t start = video->start_time != AV_NOPTS_VALUE ? video->start_time : 0;
    const double ticks = seconds * video->time_base.den / video->time_base.num;
    // A hair over the exact tick, so that a time given as a frame's start finds that frame.
    const int64_t target = start + int64_t(std::floor(ticks + 1e-6));

    bool late = false;
    const bool sought = av_seek_frame(format, video->index, target, AVSEEK_FLAG_BACKWARD) >= 0;
    Frame shown = decodeTo(format, decoder.get(), video->index, target, late);
    if ((late || !shown) && sought && target > start &&
        av_seek_frame(format, video->index, start, AVSEEK_FLAG_BACKWARD) >= 0) {
        // The index pointed past the key frame before `target`, or that key frame is damaged
        // or cut off: decode from the start instead.
        avcodec_flush_buffers(decoder.get());
        if (Frame again = decodeTo(format, decoder.get(), video->index, target, late))
            shown = std::move(again);
    }
    if (!shown)
        return Error{QStringLiteral("“%1” is damaged: Pictavia could not decode any of its frames.")
                         .arg(shownName(file))};
    return toImage(shown.get(), file);
}

} // namespace platform::media
