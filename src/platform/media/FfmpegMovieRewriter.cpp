#include "platform/media/FfmpegMovieRewriter.h"

#include "platform/media/FfmpegEncoding.h"
#include "platform/media/FfmpegHandles.h"
#include "platform/media/FfmpegLog.h"
#include "platform/media/FfmpegMovieSource.h"

#include <QFile>
#include <QFileInfo>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
}

#include <libyuv/convert_from_argb.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

namespace platform::media {

namespace {

using Input = InputHandle;
using Output = OutputHandle;
using Codec = CodecHandle;
using Frame = FrameHandle;
using Packet = PacketHandle;

constexpr AVRational microseconds{1, 1'000'000};

using Source = MovieSource;
using ToImage = FrameToImage;

class FfmpegFrameSequence final : public MovieFrameSequence {
public:
    explicit FfmpegFrameSequence(Source source)
        : m_source(std::move(source)), m_packet(av_packet_alloc()), m_frame(av_frame_alloc()) {}

    Result<std::optional<MovieFrame>> next() override {
        for (;;) {
            const int code = avcodec_receive_frame(m_source.decoder.get(), m_frame.get());
            if (code >= 0) {
                MovieFrame picture;
                const int64_t pts = m_frame->best_effort_timestamp;
                picture.time = pts == AV_NOPTS_VALUE
                                   ? m_lastTime
                                   : av_rescale_q(pts, m_source.video->time_base, microseconds);
                m_lastTime = picture.time;
                const bool converted = m_convert.convert(m_frame.get(), picture.image);
                av_frame_unref(m_frame.get());
                if (!converted) return Error{QStringLiteral("Cannot convert the frames of a movie")};
                return std::optional<MovieFrame>(std::move(picture));
            }
            if (code == AVERROR_EOF || m_ended) return std::optional<MovieFrame>();
            // The decoder wants more: feed it the next video packet.
            for (;;) {
                if (av_read_frame(m_source.format.get(), m_packet.get()) < 0) {
                    avcodec_send_packet(m_source.decoder.get(), nullptr);
                    m_ended = true;
                    break;
                }
                const bool video = m_packet->stream_index == m_source.video->index;
                if (video) avcodec_send_packet(m_source.decoder.get(), m_packet.get());
                av_packet_unref(m_packet.get());
                if (video) break;
            }
        }
    }

private:
    Source m_source;
    Packet m_packet;
    Frame m_frame;
    ToImage m_convert;
    qint64 m_lastTime = 0;
    bool m_ended = false;
};

// One rewrite: the source, the destination and the state between them.
class Rewrite {
public:
    Rewrite(Source source, QString destination)
        : m_source(std::move(source)), m_destination(std::move(destination)) {}

    Result<bool> run(const MovieRewriter::Paint& paint, const MovieRewriter::Progress& progress) {
        if (auto opened = openOutput(); !opened) return opened;
        const double length =
            m_source.format->duration > 0 ? double(m_source.format->duration) / AV_TIME_BASE : 0;
        const Packet packet(av_packet_alloc());
        const Frame decoded(av_frame_alloc());
        bool cancelled = false;
        Result<bool> outcome = true;
        auto drawAndEncode = [&](AVFrame* frame) -> bool {
            int64_t pts = frame->best_effort_timestamp;
            if (pts == AV_NOPTS_VALUE) pts = m_lastPts ? *m_lastPts + 1 : 0;
            const qint64 time = av_rescale_q(pts, m_source.video->time_base, microseconds);
            if (!m_convert.convert(frame, m_image)) {
                outcome =
                    Error{QStringLiteral("Cannot convert the frames of %1").arg(shownName(m_destination))};
                return false;
            }
            if (paint) paint(m_image, time);
            if (auto encoded = encodeImage(pts); !encoded) {
                outcome = encoded;
                return false;
            }
            if (progress && length > 0 && !progress(std::clamp(double(time) / 1e6 / length, 0.0, 1.0))) {
                cancelled = true;
                return false;
            }
            return true;
        };
        auto receive = [&]() -> bool {
            while (avcodec_receive_frame(m_source.decoder.get(), decoded.get()) >= 0) {
                const bool going = drawAndEncode(decoded.get());
                av_frame_unref(decoded.get());
                if (!going) return false;
            }
            return true;
        };
        bool going = true;
        while (going && av_read_frame(m_source.format.get(), packet.get()) >= 0) {
            const int index = packet->stream_index;
            if (index == m_source.video->index) {
                avcodec_send_packet(m_source.decoder.get(), packet.get());
                going = receive();
            } else if (index < int(m_copied.size()) && m_copied[size_t(index)] != nullptr) {
                AVStream* out = m_copied[size_t(index)];
                av_packet_rescale_ts(packet.get(), m_source.format->streams[index]->time_base,
                                     out->time_base);
                packet->stream_index = out->index;
                packet->pos = -1;
                if (const int code = av_interleaved_write_frame(m_output.get(), packet.get()); code < 0)
                    outcome = failed(code), going = false;
            }
            av_packet_unref(packet.get());
        }
        if (going) {
            avcodec_send_packet(m_source.decoder.get(), nullptr);
            going = receive();
        }
        if (cancelled) return Error{QStringLiteral("Cancelled"), Error{}.domain, MovieRewriter::Cancelled};
        if (!outcome) return outcome;
        if (auto flushed = encode(nullptr); !flushed) return flushed;
        if (const int code = av_write_trailer(m_output.get()); code < 0) return failed(code);
        if (const int code = avio_closep(&m_output->pb); code < 0) return failed(code);
        return true;
    }

private:
    Error failed(int code) const {
        return Error{
            QStringLiteral("Cannot write the movie %1: %2").arg(shownName(m_destination), ffmpegError(code))};
    }

    // The destination's streams: a new encoder for the video, a copy of every sound stream.
    Result<bool> openOutput() {
        AVFormatContext* raw = nullptr;
        const QByteArray path = QFile::encodeName(m_destination);
        int code = avformat_alloc_output_context2(&raw, nullptr, "mov", path.constData());
        if (code < 0) return failed(code);
        m_output.reset(raw);
        m_copied.assign(m_source.format->nb_streams, nullptr);
        for (unsigned i = 0; i < m_source.format->nb_streams; ++i) {
            AVStream* in = m_source.format->streams[i];
            if (in == m_source.video) {
                if (auto opened = openEncoder(); !opened) return opened;
                continue;
            }
            if (in->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) continue;
            AVStream* out = avformat_new_stream(raw, nullptr);
            if (out == nullptr || (code = avcodec_parameters_copy(out->codecpar, in->codecpar)) < 0)
                return failed(out == nullptr ? AVERROR(ENOMEM) : code);
            out->codecpar->codec_tag = 0;
            out->time_base = in->time_base;
            av_dict_copy(&out->metadata, in->metadata, 0);
            m_copied[i] = out;
        }
        if ((code = avio_open(&raw->pb, path.constData(), AVIO_FLAG_WRITE)) < 0) return failed(code);
        if ((code = avformat_write_header(raw, nullptr)) < 0) return failed(code);
        m_picture.reset(av_frame_alloc());
        m_picture->format = AV_PIX_FMT_YUV420P;
        m_picture->width = m_encoder->width;
        m_picture->height = m_encoder->height;
        if ((code = av_frame_get_buffer(m_picture.get(), 0)) < 0) return failed(code);
        m_packet.reset(av_packet_alloc());
        return true;
    }

    // The source's codec (H.264 unless it was HEVC) at about the source's bit rate.
    Result<bool> openEncoder() {
        const AVCodecParameters* in = m_source.video->codecpar;
        const bool hevc = in->codec_id == AV_CODEC_ID_HEVC;
        const AVCodec* codec = avcodec_find_encoder_by_name(hevc ? "libx265" : "libx264");
        if (codec == nullptr)
            return Error{QStringLiteral("This FFmpeg has no %1 encoder").arg(hevc ? "HEVC" : "H.264")};
        m_encoder.reset(avcodec_alloc_context3(codec));
        AVCodecContext* context = m_encoder.get();
        context->width = in->width & ~1;
        context->height = in->height & ~1;
        context->pix_fmt = AV_PIX_FMT_YUV420P;
        context->time_base = m_source.video->time_base;
        AVRational rate = av_guess_frame_rate(m_source.format.get(), m_source.video, nullptr);
        if (rate.num <= 0 || rate.den <= 0) rate = AVRational{30, 1};
        context->framerate = rate;
        const double fps = av_q2d(rate);
        qint64 bitRate = in->bit_rate;
        if (bitRate <= 0) bitRate = qint64(context->width * context->height * fps * 0.09 * (hevc ? 0.6 : 1));
        context->bit_rate = std::clamp<qint64>(bitRate, 1'500'000, 60'000'000);
        context->gop_size = std::max(int(2 * fps), 30);
        context->max_b_frames = 0;
        context->thread_count = 0;
        if ((m_output->oformat->flags & AVFMT_GLOBALHEADER) != 0)
            context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        AVDictionary* options = softwareEncoderOptions(hevc);
        int code = avcodec_open2(context, codec, &options);
        av_dict_free(&options);
        if (code < 0) return failed(code);
        AVStream* out = avformat_new_stream(m_output.get(), nullptr);
        if (out == nullptr) return failed(AVERROR(ENOMEM));
        out->time_base = context->time_base;
        if ((code = avcodec_parameters_from_context(out->codecpar, context)) < 0) return failed(code);
        if (hevc) out->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');
        m_videoOut = out;
        return true;
    }

    Result<bool> encodeImage(int64_t pts) {
        if (const int code = av_frame_make_writable(m_picture.get()); code < 0) return failed(code);
        libyuv::ARGBToI420(m_image.constBits(), int(m_image.bytesPerLine()), m_picture->data[0],
                           m_picture->linesize[0], m_picture->data[1], m_picture->linesize[1],
                           m_picture->data[2], m_picture->linesize[2], m_picture->width, m_picture->height);
        if (m_lastPts && pts <= *m_lastPts) pts = *m_lastPts + 1;
        m_lastPts = pts;
        m_picture->pts = pts;
        return encode(m_picture.get());
    }

    Result<bool> encode(AVFrame* frame) {
        int code = avcodec_send_frame(m_encoder.get(), frame);
        if (code < 0 && code != AVERROR_EOF) return failed(code);
        while ((code = avcodec_receive_packet(m_encoder.get(), m_packet.get())) >= 0) {
            av_packet_rescale_ts(m_packet.get(), m_encoder->time_base, m_videoOut->time_base);
            m_packet->stream_index = m_videoOut->index;
            if ((code = av_interleaved_write_frame(m_output.get(), m_packet.get())) < 0) return failed(code);
        }
        return code == AVERROR(EAGAIN) || code == AVERROR_EOF ? Result<bool>(true) : failed(code);
    }

    Source m_source;
    QString m_destination;
    Output m_output;
    Codec m_encoder;
    AVStream* m_videoOut = nullptr;
    std::vector<AVStream*> m_copied; // by source stream: where its packets go, or null
    Frame m_picture;
    Packet m_packet;
    QImage m_image;
    ToImage m_convert;
    std::optional<int64_t> m_lastPts;
};

} // namespace

FfmpegMovieRewriter::FfmpegMovieRewriter() {
    quietFfmpegLog();
}

Result<bool> FfmpegMovieRewriter::rewrite(const QString& source, const QString& destination,
                                          const Paint& paint, const Progress& progress) {
    auto opened = openMovieSource(source);
    if (!opened) return opened.error();
    Result<bool> done = Rewrite(std::move(opened).value(), destination).run(paint, progress);
    if (!done) QFile::remove(destination);
    return done;
}

Result<std::unique_ptr<MovieFrameSequence>> FfmpegMovieRewriter::frames(const QString& file) {
    auto opened = openMovieSource(file);
    if (!opened) return opened.error();
    return std::unique_ptr<MovieFrameSequence>(
        std::make_unique<FfmpegFrameSequence>(std::move(opened).value()));
}

} // namespace platform::media
