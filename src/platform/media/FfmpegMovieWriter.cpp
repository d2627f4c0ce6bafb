#include "platform/media/FfmpegMovieWriter.h"

#include "platform/media/FfmpegEncoding.h"
#include "platform/media/FfmpegHandles.h"
#include "platform/media/FfmpegLog.h"
#include "platform/media/FfmpegSoundFrames.h"

#include <QFile>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/hwcontext.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include <libyuv/convert_from_argb.h>

#include <memory>
#include <optional>
#include <vector>

namespace platform::media {

namespace {

constexpr const char* renderNode = "/dev/dri/renderD128";
constexpr AVRational movieTimeBase{1, 600}; // the QuickTime time scale
constexpr AVRational microseconds{1, 1'000'000};
constexpr int audioSampleRate = 48'000;

struct Encoder {
    AVCodecContext* context = nullptr;
    AVStream* stream = nullptr;
    ~Encoder() { avcodec_free_context(&context); }
};

struct AudioTrack : Encoder {
    AVAudioFifo* fifo = nullptr;
    qint64 nextSample = 0; // the time, in samples, of the first sample in the fifo
    qint64 buffered = 0;   // samples put into the fifo so far: the time of the next one
    ~AudioTrack() {
        if (fifo != nullptr) av_audio_fifo_free(fifo);
    }
};

class FfmpegMovieFile final : public MovieFile {
public:
    FfmpegMovieFile(QString path, const MovieSettings& settings)
        : m_path(std::move(path)), m_settings(settings) {}

    ~FfmpegMovieFile() override {
        // Not finished: what the fragments hold so far stays on disk, playable.
        if (m_format != nullptr && m_format->pb != nullptr) avio_closep(&m_format->pb);
        sws_freeContext(m_scaler);
        av_frame_free(&m_frame);
        av_frame_free(&m_picture);
        av_frame_free(&m_uploaded);
        av_packet_free(&m_packet);
        m_audio.clear();
        m_video.reset();
        av_buffer_unref(&m_hardwareDevice);
        avformat_free_context(m_format);
    }
    FfmpegMovieFile(const FfmpegMovieFile&) = delete;
    FfmpegMovieFile& operator=(const FfmpegMovieFile&) = delete;

    Result<bool> open() {
        int code =
            avformat_alloc_output_context2(&m_format, nullptr, "mov", QFile::encodeName(m_path).constData());
        if (code < 0) return failed(code);
        if (auto video = openVideo(); !video) return video;
        for (int i = 0; i < m_settings.audioTracks; ++i)
            if (auto audio = openAudio(); !audio) return audio;
        m_frame = av_frame_alloc();
        m_picture = av_frame_alloc();
        m_uploaded = av_frame_alloc();
        m_packet = av_packet_alloc();
        if ((code = avio_open(&m_format->pb, QFile::encodeName(m_path).constData(), AVIO_FLAG_WRITE)) < 0)
            return failed(code);
        // Fragments start at key frames at least this far apart, each flushed to the file.
        AVDictionary* options = nullptr;
        av_dict_set(&options, "movflags", "frag_keyframe+empty_moov+default_base_moof", 0);
        av_dict_set_int(&options, "min_frag_duration", qint64(m_settings.fragmentSeconds * 1e6), 0);
        m_format->flags |= AVFMT_FLAG_FLUSH_PACKETS;
        code = avformat_write_header(m_format, &options);
        av_dict_free(&options);
        return code < 0 ? failed(code) : Result<bool>(true);
    }

    Result<bool> addVideo(const QImage& image, qint64 time) override {
        // Screen grabs come as RGB32 (BGRX in memory) and go in as they are; other formats
        // are converted first.
        const bool direct = image.format() == QImage::Format_RGB32 || image.format() == QImage::Format_ARGB32;
        const QImage frame = direct ? image : image.convertToFormat(QImage::Format_RGB32);
        AVCodecContext* context = m_video->context;
        // One picture buffer for the whole movie: the encoder copies what it keeps, and fresh
        // buffers every frame cost more in page faults than the conversion itself.
        if (m_picture->data[0] == nullptr) {
            m_picture->format = pictureFormat();
            m_picture->width = context->width;
            m_picture->height = context->height;
            if (const int code = av_frame_get_buffer(m_picture, 0); code < 0) return failed(code);
        } else if (const int code = av_frame_make_writable(m_picture); code < 0) {
            return failed(code);
        }
        if (frame.size() == QSize(context->width, context->height) && pictureFormat() == AV_PIX_FMT_YUV420P) {
            // The common case, a grab of the movie's size: libyuv's vector code converts it in
            // a fraction of swscale's time (the same BT.601 limited-range colours).
            libyuv::ARGBToI420(frame.constBits(), int(frame.bytesPerLine()), m_picture->data[0],
                               m_picture->linesize[0], m_picture->data[1], m_picture->linesize[1],
                               m_picture->data[2], m_picture->linesize[2], frame.width(), frame.height());
        } else {
            m_scaler = sws_getCachedContext(
                m_scaler, frame.width(), frame.height(),
                frame.format() == QImage::Format_RGB32 ? AV_PIX_FMT_BGR0 : AV_PIX_FMT_BGRA, context->width,
                context->height, pictureFormat(), SWS_BILINEAR, nullptr, nullptr, nullptr);
            if (m_scaler == nullptr) return Error{QStringLiteral("Cannot convert frames for %1").arg(m_path)};
            const uint8_t* source[1] = {frame.constBits()};
            const int stride[1] = {int(frame.bytesPerLine())};
            sws_scale(m_scaler, source, stride, 0, frame.height(), m_picture->data, m_picture->linesize);
        }
        // Two frames in one tick of the time scale: the later one waits for the next tick.
        qint64 pts = av_rescale_q(time, microseconds, context->time_base);
        if (m_lastVideoPts && pts <= *m_lastVideoPts) pts = *m_lastVideoPts + 1;
        m_lastVideoPts = pts;
        m_picture->pts = pts;
        if (!context->hw_frames_ctx) return encode(*m_video, m_picture);
        av_frame_unref(m_uploaded);
        int code = av_hwframe_get_buffer(context->hw_frames_ctx, m_uploaded, 0);
        if (code >= 0) code = av_hwframe_transfer_data(m_uploaded, m_picture, 0);
        if (code < 0) return failed(code);
        m_uploaded->pts = pts;
        return encode(*m_video, m_uploaded);
    }

    Result<bool> addAudio(int track, const float* samples, int frames, qint64 time) override {
        if (track < 0 || track >= int(m_audio.size()) || frames <= 0) return true;
        AudioTrack& audio = *m_audio[size_t(track)];
        const int channels = m_settings.audioChannels;
        // The encoder takes one plane per channel.
        m_planes.resize(size_t(channels));
        std::vector<void*> planes(static_cast<size_t>(channels));
        for (int c = 0; c < channels; ++c) {
            m_planes[size_t(c)].resize(size_t(frames));
            for (int i = 0; i < frames; ++i)
                m_planes[size_t(c)][size_t(i)] = samples[i * channels + c];
            planes[size_t(c)] = m_planes[size_t(c)].data();
        }
        // Sound that starts late, or comes back after a dropout, is preceded by silence, and
        // sound that came faster than its time is left out, so that it plays at its time:
        // players take a track's samples as one run from its start.
        const qint64 due = av_rescale(time, audioSampleRate, 1'000'000);
        if (audio.buffered - due > audioSampleRate / 10) return true;
        if (due - audio.buffered > audioSampleRate / 10)
            if (auto padded = addSilence(audio, int(due - audio.buffered)); !padded) return padded;
        if (av_audio_fifo_write(audio.fifo, planes.data(), frames) < frames)
            return Error{QStringLiteral("Cannot buffer the sound for %1").arg(m_path)};
        audio.buffered += frames;
        return drainAudio(audio, false);
    }

    Result<bool> finish() override {
        for (auto& audio : m_audio) {
            if (auto drained = drainAudio(*audio, true); !drained) return drained;
            if (auto flushed = encode(*audio, nullptr); !flushed) return flushed;
        }
        if (auto flushed = encode(*m_video, nullptr); !flushed) return flushed;
        int code = av_write_trailer(m_format);
        const int closed = avio_closep(&m_format->pb);
        if (code >= 0) code = closed;
        return code < 0 ? failed(code) : Result<bool>(true);
    }

private:
    // The frames the scaler makes: the encoder's own, or what is uploaded to the card.
    AVPixelFormat pictureFormat() const {
        return m_video->context->hw_frames_ctx ? m_uploadFormat : m_video->context->pix_fmt;
    }

    Error failed(int code) const {
        return Error{QStringLiteral("Cannot write the movie %1: %2").arg(m_path, ffmpegError(code))};
    }

    // A hardware encoder where the machine has one FFmpeg can open (VAAPI through the first
    // render node, then NVENC), else the software one; a hardware encoder that refuses to open
    // leaves the software one to do the work.
    Result<bool> openVideo() {
        const bool hevc = m_settings.codec == MovieSettings::Codec::hevc;
        m_video = std::make_unique<Encoder>();
        m_video->stream = avformat_new_stream(m_format, nullptr);
        if (QFile::exists(QString::fromLatin1(renderNode)) && openVaapi(hevc ? "hevc_vaapi" : "h264_vaapi"))
            return streamParameters(hevc);
        if (openHardware(hevc ? "hevc_nvenc" : "h264_nvenc")) return streamParameters(hevc);
        const AVCodec* codec = avcodec_find_encoder_by_name(hevc ? "libx265" : "libx264");
        if (codec == nullptr)
            return Error{QStringLiteral("This FFmpeg has no %1 encoder").arg(hevc ? "HEVC" : "H.264")};
        AVCodecContext* context = newVideoContext(codec, AV_PIX_FMT_YUV420P);
        context->thread_count = 0; // as many as the encoder finds useful
        AVDictionary* options = softwareEncoderOptions(hevc);
        const int code = avcodec_open2(context, codec, &options);
        av_dict_free(&options);
        if (code < 0) return failed(code);
        return streamParameters(hevc);
    }

    AVCodecContext* newVideoContext(const AVCodec* codec, AVPixelFormat format) {
        avcodec_free_context(&m_video->context);
        AVCodecContext* context = m_video->context = avcodec_alloc_context3(codec);
        context->width = m_settings.size.width();
        context->height = m_settings.size.height();
        context->pix_fmt = format;
        context->time_base = movieTimeBase;
        context->framerate = AVRational{m_settings.fps, 1};
        context->bit_rate = m_settings.bitRate;
        context->gop_size = m_settings.keyFrameInterval;
        context->max_b_frames = 0; // no reordering: frames are written as they come
        if ((m_format->oformat->flags & AVFMT_GLOBALHEADER) != 0)
            context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        return context;
    }

    // An encoder that takes frames in memory (NVENC).
    bool openHardware(const char* name) {
        const AVCodec* codec = avcodec_find_encoder_by_name(name);
        if (codec == nullptr) return false;
        if (avcodec_open2(newVideoContext(codec, AV_PIX_FMT_YUV420P), codec, nullptr) >= 0) return true;
        avcodec_free_context(&m_video->context);
        return false;
    }

    // An encoder that takes frames in the graphics card's memory: each frame is converted to
    // NV12 here and uploaded.
    bool openVaapi(const char* name) {
        const AVCodec* codec = avcodec_find_encoder_by_name(name);
        if (codec == nullptr ||
            av_hwdevice_ctx_create(&m_hardwareDevice, AV_HWDEVICE_TYPE_VAAPI, renderNode, nullptr, 0) < 0)
            return false;
        AVBufferRef* frames = av_hwframe_ctx_alloc(m_hardwareDevice);
        auto* layout = reinterpret_cast<AVHWFramesContext*>(frames->data);
        layout->format = AV_PIX_FMT_VAAPI;
        layout->sw_format = AV_PIX_FMT_NV12;
        layout->width = m_settings.size.width();
        layout->height = m_settings.size.height();
        layout->initial_pool_size = 8;
        AVCodecContext* context = newVideoContext(codec, AV_PIX_FMT_VAAPI);
        if (av_hwframe_ctx_init(frames) >= 0) {
            context->hw_frames_ctx = av_buffer_ref(frames);
            if (avcodec_open2(context, codec, nullptr) >= 0) {
                m_uploadFormat = AV_PIX_FMT_NV12;
                av_buffer_unref(&frames);
                return true;
            }
        }
        av_buffer_unref(&frames);
        av_buffer_unref(&m_hardwareDevice);
        avcodec_free_context(&m_video->context);
        return false;
    }

    Result<bool> streamParameters(bool hevc) {
        m_video->stream->time_base = movieTimeBase;
        const int copied = avcodec_parameters_from_context(m_video->stream->codecpar, m_video->context);
        // The tag QuickTime players look for.
        if (hevc) m_video->stream->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');
        return copied < 0 ? failed(copied) : Result<bool>(true);
    }

    Result<bool> openAudio() {
        const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
        if (codec == nullptr) return Error{QStringLiteral("This FFmpeg has no AAC encoder")};
        auto audio = std::make_unique<AudioTrack>();
        audio->stream = avformat_new_stream(m_format, nullptr);
        AVCodecContext* context = audio->context = avcodec_alloc_context3(codec);
        context->sample_fmt = AV_SAMPLE_FMT_FLTP;
        context->sample_rate = audioSampleRate;
        av_channel_layout_default(&context->ch_layout, m_settings.audioChannels);
        context->bit_rate = m_settings.audioBitRate;
        context->time_base = AVRational{1, audioSampleRate};
        if ((m_format->oformat->flags & AVFMT_GLOBALHEADER) != 0)
            context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        if (const int code = avcodec_open2(context, codec, nullptr); code < 0) return failed(code);
        audio->stream->time_base = context->time_base;
        if (const int code = avcodec_parameters_from_context(audio->stream->codecpar, context); code < 0)
            return failed(code);
        audio->fifo = av_audio_fifo_alloc(AV_SAMPLE_FMT_FLTP, m_settings.audioChannels, audioSampleRate);
        m_audio.push_back(std::move(audio));
        return true;
    }

    // Encodes the buffered samples in the encoder's frame size; at the end, the rest too.
    Result<bool> addSilence(AudioTrack& audio, int frames) {
        std::vector<float> zeros(size_t(frames), 0.0f);
        std::vector<void*> planes(size_t(m_settings.audioChannels), zeros.data());
        if (av_audio_fifo_write(audio.fifo, planes.data(), frames) < frames)
            return Error{QStringLiteral("Cannot buffer the sound for %1").arg(m_path)};
        audio.buffered += frames;
        return drainAudio(audio, false);
    }

    Result<bool> drainAudio(AudioTrack& audio, bool all) {
        while (true) {
            const int count = takeSoundFrame(audio.fifo, audio.context, m_frame, all, audio.nextSample);
            if (count < 0) return failed(count);
            if (count == 0) return true;
            audio.nextSample += count;
            if (auto encoded = encode(audio, m_frame); !encoded) return encoded;
        }
    }

    // Sends a frame (null: the end) and writes every packet the encoder has ready.
    Result<bool> encode(Encoder& encoder, AVFrame* frame) {
        int code = avcodec_send_frame(encoder.context, frame);
        if (code < 0 && code != AVERROR_EOF) return failed(code);
        while ((code = avcodec_receive_packet(encoder.context, m_packet)) >= 0) {
            av_packet_rescale_ts(m_packet, encoder.context->time_base, encoder.stream->time_base);
            m_packet->stream_index = encoder.stream->index;
            if ((code = av_interleaved_write_frame(m_format, m_packet)) < 0) return failed(code);
        }
        return code == AVERROR(EAGAIN) || code == AVERROR_EOF ? Result<bool>(true) : failed(code);
    }

    QString m_path;
    MovieSettings m_settings;
    AVFormatContext* m_format = nullptr;
    std::unique_ptr<Encoder> m_video;
    std::vector<std::unique_ptr<AudioTrack>> m_audio;
    SwsContext* m_scaler = nullptr;
    AVFrame* m_frame = nullptr;    // sound
    AVFrame* m_picture = nullptr;  // video
    AVFrame* m_uploaded = nullptr; // video in the graphics card's memory
    AVBufferRef* m_hardwareDevice = nullptr;
    AVPixelFormat m_uploadFormat = AV_PIX_FMT_NONE;
    AVPacket* m_packet = nullptr;
    std::optional<qint64> m_lastVideoPts;
    std::vector<std::vector<float>> m_planes;
};

} // namespace

FfmpegMovieWriter::FfmpegMovieWriter() {
    quietFfmpegLog();
}

Result<std::unique_ptr<MovieFile>> FfmpegMovieWriter::create(const QString& path,
                                                             const MovieSettings& settings) {
    const QSize size = settings.size;
    if (size.width() < 2 || size.height() < 2 || size.width() % 2 != 0 || size.height() % 2 != 0)
        return Error{QStringLiteral("A movie cannot be %1×%2 pixels").arg(size.width()).arg(size.height())};
    if (settings.audioChannels < 1 || settings.audioChannels > 2)
        return Error{QStringLiteral("A movie's sound has one or two channels")};
    auto file = std::make_unique<FfmpegMovieFile>(path, settings);
    if (auto opened = file->open(); !opened) {
        file.reset();
        QFile::remove(path);
        return opened.error();
    }
    return std::unique_ptr<MovieFile>(std::move(file));
}

} // namespace platform::media
