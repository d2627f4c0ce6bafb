#include "platform/media/FfmpegHandles.h"
#include "platform/media/FfmpegLog.h"
#include "platform/media/FfmpegMovieSound.h"
#include "platform/media/FfmpegMovieSource.h"
#include "platform/media/FfmpegSoundFrames.h"

#include <QFile>
#include <QFileInfo>

extern "C" {
#include <libavutil/audio_fifo.h>
#include <libavutil/channel_layout.h>
}

#include <algorithm>
#include <filesystem>
#include <vector>

namespace platform::media {

namespace {

constexpr int sampleRate = 48'000;
constexpr int soundBitRate = 192'000; // as the recorder writes its sound

struct FreeFifo {
    void operator()(AVAudioFifo* fifo) const { av_audio_fifo_free(fifo); }
};

// One rewrite: the source's pictures copied packet by packet into a new movie, beside a
// sound track encoded from the samples handed in. The pictures are copied in step with the
// sound, so that the muxer never holds much of either.
class SoundReplacement {
public:
    explicit SoundReplacement(QString destination) : m_destination(std::move(destination)) {}

    Result<bool> open(const QString& source, int channels) {
        auto input = openInput(source);
        if (!input) return input.error();
        m_input = std::move(input).value();
        m_channels = channels;
        AVFormatContext* raw = nullptr;
        const QByteArray path = QFile::encodeName(m_destination);
        int code = avformat_alloc_output_context2(&raw, nullptr, "mov", path.constData());
        if (code < 0) return failed(code);
        m_output.reset(raw);
        m_copied.assign(m_input->nb_streams, nullptr);
        for (unsigned i = 0; i < m_input->nb_streams; ++i) {
            const AVStream* in = m_input->streams[i];
            if (in->codecpar->codec_type != AVMEDIA_TYPE_VIDEO ||
                (in->disposition & AV_DISPOSITION_ATTACHED_PIC))
                continue;
            AVStream* out = avformat_new_stream(raw, nullptr);
            if (out == nullptr) return failed(AVERROR(ENOMEM));
            if ((code = avcodec_parameters_copy(out->codecpar, in->codecpar)) < 0) return failed(code);
            out->codecpar->codec_tag = 0;
            out->time_base = in->time_base;
            out->avg_frame_rate = in->avg_frame_rate;
            av_dict_copy(&out->metadata, in->metadata, 0);
            m_copied[i] = out;
            // The sound read begins at the first picture; it is placed there.
            if (m_soundStart == 0 && in->start_time != AV_NOPTS_VALUE && in->start_time > 0)
                m_soundStart = av_rescale_q(in->start_time, in->time_base, AVRational{1, sampleRate});
        }
        if (auto opened = openEncoder(); !opened) return opened;
        if ((code = avio_open(&raw->pb, path.constData(), AVIO_FLAG_WRITE)) < 0) return failed(code);
        if ((code = avformat_write_header(raw, nullptr)) < 0) return failed(code);
        return true;
    }

    // Interleaved samples, `frames` of them per channel.
    Result<bool> addSound(const float* samples, qsizetype frames) {
        m_planes.resize(size_t(m_channels));
        std::vector<void*> planes(static_cast<size_t>(m_channels));
        for (int c = 0; c < m_channels; ++c) {
            m_planes[size_t(c)].resize(size_t(frames));
            for (qsizetype i = 0; i < frames; ++i)
                m_planes[size_t(c)][size_t(i)] = samples[i * m_channels + c];
            planes[size_t(c)] = m_planes[size_t(c)].data();
        }
        if (av_audio_fifo_write(m_fifo.get(), planes.data(), int(frames)) < frames)
            return failed(AVERROR(ENOMEM));
        return encodeSound(false);
    }

    // Seconds of sound handed in so far.
    double soundSeconds() const { return double(m_encoded + av_audio_fifo_size(m_fifo.get())) / sampleRate; }

    double length() const { return m_input->duration > 0 ? double(m_input->duration) / AV_TIME_BASE : 0; }

    Result<bool> finish() {
        if (auto encoded = encodeSound(true); !encoded) return encoded;
        int code = avcodec_send_frame(m_encoder.get(), nullptr);
        if (code < 0) return failed(code);
        if (auto written = writeSoundPackets(); !written) return written;
        if (auto copied = copyPicturesUntil(-1); !copied) return copied;
        if ((code = av_write_trailer(m_output.get())) < 0) return failed(code);
        if ((code = avio_closep(&m_output->pb)) < 0) return failed(code);
        return true;
    }

private:
    Error failed(int code) const {
        return Error{
            QStringLiteral("Cannot write the movie %1: %2").arg(shownName(m_destination), ffmpegError(code))};
    }

    Result<bool> openEncoder() {
        const AVCodec* aac = avcodec_find_encoder(AV_CODEC_ID_AAC);
        if (aac == nullptr) return Error{QStringLiteral("This FFmpeg has no AAC encoder.")};
        m_encoder.reset(avcodec_alloc_context3(aac));
        AVCodecContext* encoder = m_encoder.get();
        encoder->sample_fmt = AV_SAMPLE_FMT_FLTP;
        encoder->sample_rate = sampleRate;
        av_channel_layout_default(&encoder->ch_layout, m_channels);
        encoder->bit_rate = soundBitRate;
        encoder->time_base = AVRational{1, sampleRate};
        if ((m_output->oformat->flags & AVFMT_GLOBALHEADER) != 0)
            encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        if (const int code = avcodec_open2(encoder, aac, nullptr); code < 0) return failed(code);
        m_sound = avformat_new_stream(m_output.get(), nullptr);
        if (m_sound == nullptr) return failed(AVERROR(ENOMEM));
        m_sound->time_base = encoder->time_base;
        if (const int code = avcodec_parameters_from_context(m_sound->codecpar, encoder); code < 0)
            return failed(code);
        m_fifo.reset(av_audio_fifo_alloc(AV_SAMPLE_FMT_FLTP, m_channels, sampleRate));
        m_chunk.reset(av_frame_alloc());
        m_packet.reset(av_packet_alloc());
        m_picture.reset(av_packet_alloc());
        if (!m_fifo || !m_chunk || !m_packet || !m_picture) return failed(AVERROR(ENOMEM));
        return true;
    }

    // Encodes the fifo in the encoder's frame size; at the end, the rest too.
    Result<bool> encodeSound(bool all) {
        while (true) {
            const int count =
                takeSoundFrame(m_fifo.get(), m_encoder.get(), m_chunk.get(), all, m_soundStart + m_encoded);
            if (count < 0) return failed(count);
            if (count == 0) return true;
            m_encoded += count;
            if (const int code = avcodec_send_frame(m_encoder.get(), m_chunk.get()); code < 0)
                return failed(code);
            if (auto written = writeSoundPackets(); !written) return written;
        }
    }

    Result<bool> writeSoundPackets() {
        int code = 0;
        while ((code = avcodec_receive_packet(m_encoder.get(), m_packet.get())) >= 0) {
            av_packet_rescale_ts(m_packet.get(), m_encoder->time_base, m_sound->time_base);
            m_packet->stream_index = m_sound->index;
            const double time = double(m_packet->pts) * av_q2d(m_sound->time_base);
            if (auto copied = copyPicturesUntil(time); !copied) return copied;
            if ((code = av_interleaved_write_frame(m_output.get(), m_packet.get())) < 0) return failed(code);
        }
        return code == AVERROR(EAGAIN) || code == AVERROR_EOF ? Result<bool>(true) : failed(code);
    }

    // Copies the pictures up to `seconds` of the source's clock (all that are left when below 0).
    Result<bool> copyPicturesUntil(double seconds) {
        while (!m_picturesDone) {
            if (!m_pending) {
                if (av_read_frame(m_input.get(), m_picture.get()) < 0) {
                    m_picturesDone = true;
                    break;
                }
                const int index = m_picture->stream_index;
                if (index >= int(m_copied.size()) || m_copied[size_t(index)] == nullptr) {
                    av_packet_unref(m_picture.get());
                    continue;
                }
                m_pending = true;
            }
            const AVStream* in = m_input->streams[m_picture->stream_index];
            const int64_t stamp = m_picture->dts != AV_NOPTS_VALUE ? m_picture->dts : m_picture->pts;
            if (seconds >= 0 && stamp != AV_NOPTS_VALUE && double(stamp) * av_q2d(in->time_base) > seconds)
                break;
            AVStream* out = m_copied[size_t(m_picture->stream_index)];
            av_packet_rescale_ts(m_picture.get(), in->time_base, out->time_base);
            m_picture->stream_index = out->index;
            m_picture->pos = -1;
            m_pending = false;
            if (const int code = av_interleaved_write_frame(m_output.get(), m_picture.get()); code < 0)
                return failed(code);
        }
        return true;
    }

    QString m_destination;
    InputHandle m_input;
    OutputHandle m_output;
    std::vector<AVStream*> m_copied; // by source stream: where its pictures go, or null
    CodecHandle m_encoder;
    AVStream* m_sound = nullptr;
    std::unique_ptr<AVAudioFifo, FreeFifo> m_fifo;
    FrameHandle m_chunk;
    PacketHandle m_packet;
    PacketHandle m_picture; // the next picture to copy, read ahead when `m_pending`
    std::vector<std::vector<float>> m_planes;
    int m_channels = 2;
    qint64 m_encoded = 0;    // samples handed to the encoder
    qint64 m_soundStart = 0; // where the sound starts, in samples of the source's clock
    bool m_pending = false;
    bool m_picturesDone = false;
};

// Written beside the destination under a hidden name, and renamed in one step when whole.
QString partialName(const QString& destination) {
    const QFileInfo info(destination);
    return info.absolutePath() + QStringLiteral("/.") + info.fileName() + QStringLiteral(".part");
}

} // namespace

Result<bool> FfmpegMovieSound::replaceSound(const QString& source, const QString& soundSource,
                                            const QString& destination, int channels,
                                            const Transform& transform, const Progress& progress) {
    quietFfmpegLog();
    channels = std::clamp(channels, 1, 2);
    const QString partial = partialName(destination);
    const auto outcome = [&]() -> Result<bool> {
        SoundReplacement replacement(partial);
        if (auto opened = replacement.open(source, channels); !opened) return opened;
        const double length = replacement.length();
        std::vector<float> buffer;
        Result<bool> added = true;
        bool cancelled = false;
        const auto read =
            readSound(soundSource, -1, sampleRate, channels, [&](const float* samples, qsizetype frames) {
                buffer.assign(samples, samples + frames * channels);
                if (transform) transform(buffer.data(), frames);
                if (added = replacement.addSound(buffer.data(), frames); !added) return false;
                if (progress && length > 0 && !progress(std::min(replacement.soundSeconds() / length, 1.0))) {
                    cancelled = true;
                    return false;
                }
                return true;
            });
        if (cancelled) return Error{QStringLiteral("Cancelled"), Error{}.domain, Cancelled};
        if (!added) return added;
        if (!read) return read.error();
        return replacement.finish();
    }();
    if (!outcome) {
        QFile::remove(partial);
        return outcome;
    }
    std::error_code error;
    std::filesystem::rename(QFile::encodeName(partial).toStdString(),
                            QFile::encodeName(destination).toStdString(), error);
    if (error) {
        QFile::remove(partial);
        return Error{QStringLiteral("Cannot write the movie %1").arg(shownName(destination))};
    }
    return true;
}

} // namespace platform::media
