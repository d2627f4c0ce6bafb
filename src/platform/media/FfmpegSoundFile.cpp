#include "platform/media/FfmpegSoundFile.h"

#include <QFile>

extern "C" {
#include <libavutil/channel_layout.h>
}

#include <algorithm>
#include <cmath>

namespace platform::media {

Error SoundFileWriter::failed(int code) const {
    return Error{
        QStringLiteral("Cannot write the sound file %1: %2").arg(shownName(m_path), ffmpegError(code))};
}

Result<bool> SoundFileWriter::open(const QString& path, int rate) {
    m_path = path;
    const QByteArray name = QFile::encodeName(path);
    AVFormatContext* raw = nullptr;
    int code = avformat_alloc_output_context2(&raw, nullptr, nullptr, name.constData());
    if (code < 0) return failed(code);
    m_output.reset(raw);
    const bool flac = path.endsWith(QStringLiteral(".flac"), Qt::CaseInsensitive);
    const AVCodec* codec = avcodec_find_encoder(flac ? AV_CODEC_ID_FLAC : AV_CODEC_ID_PCM_S16LE);
    if (codec == nullptr) return failed(AVERROR_ENCODER_NOT_FOUND);
    m_encoder.reset(avcodec_alloc_context3(codec));
    AVCodecContext* encoder = m_encoder.get();
    encoder->sample_fmt = AV_SAMPLE_FMT_S16;
    encoder->sample_rate = rate;
    encoder->time_base = AVRational{1, rate};
    av_channel_layout_default(&encoder->ch_layout, 1);
    if ((raw->oformat->flags & AVFMT_GLOBALHEADER) != 0) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if ((code = avcodec_open2(encoder, codec, nullptr)) < 0) return failed(code);
    if (encoder->frame_size > 0) m_frameSize = encoder->frame_size;
    m_stream = avformat_new_stream(raw, nullptr);
    if (m_stream == nullptr) return failed(AVERROR(ENOMEM));
    m_stream->time_base = encoder->time_base;
    if ((code = avcodec_parameters_from_context(m_stream->codecpar, encoder)) < 0) return failed(code);
    m_frame.reset(av_frame_alloc());
    m_packet.reset(av_packet_alloc());
    if (!m_frame || !m_packet) return failed(AVERROR(ENOMEM));
    if ((code = avio_open(&raw->pb, name.constData(), AVIO_FLAG_WRITE)) < 0) return failed(code);
    if ((code = avformat_write_header(raw, nullptr)) < 0) return failed(code);
    return true;
}

Result<bool> SoundFileWriter::add(const float* samples, qsizetype count) {
    for (qsizetype i = 0; i < count; ++i) {
        m_pending.push_back(int16_t(std::lrint(std::clamp(samples[i], -1.0f, 1.0f) * 32767.0f)));
        if (int(m_pending.size()) == m_frameSize)
            if (auto encoded = encode(m_frameSize); !encoded) return encoded;
    }
    return true;
}

Result<bool> SoundFileWriter::finish() {
    if (!m_pending.empty())
        if (auto encoded = encode(int(m_pending.size())); !encoded) return encoded;
    if (auto flushed = encode(0); !flushed) return flushed;
    int code = av_write_trailer(m_output.get());
    if (code >= 0) code = avio_closep(&m_output->pb);
    return code < 0 ? failed(code) : Result<bool>(true);
}

// Encodes the first `count` pending samples; 0 flushes the encoder.
Result<bool> SoundFileWriter::encode(int count) {
    int code = 0;
    if (count > 0) {
        av_frame_unref(m_frame.get());
        m_frame->format = AV_SAMPLE_FMT_S16;
        m_frame->sample_rate = m_encoder->sample_rate;
        m_frame->nb_samples = count;
        av_channel_layout_default(&m_frame->ch_layout, 1);
        if ((code = av_frame_get_buffer(m_frame.get(), 0)) < 0) return failed(code);
        std::copy_n(m_pending.begin(), count, reinterpret_cast<int16_t*>(m_frame->data[0]));
        m_pending.erase(m_pending.begin(), m_pending.begin() + count);
        m_frame->pts = m_written;
        m_written += count;
        code = avcodec_send_frame(m_encoder.get(), m_frame.get());
    } else {
        code = avcodec_send_frame(m_encoder.get(), nullptr);
    }
    if (code < 0) return failed(code);
    while ((code = avcodec_receive_packet(m_encoder.get(), m_packet.get())) >= 0) {
        av_packet_rescale_ts(m_packet.get(), m_encoder->time_base, m_stream->time_base);
        m_packet->stream_index = m_stream->index;
        if ((code = av_interleaved_write_frame(m_output.get(), m_packet.get())) < 0) return failed(code);
    }
    return code == AVERROR(EAGAIN) || code == AVERROR_EOF ? Result<bool>(true) : failed(code);
}

} // namespace platform::media
