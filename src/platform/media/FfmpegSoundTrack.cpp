#include "platform/media/FfmpegSoundTrack.h"
#include "platform/media/FfmpegSoundFrames.h"

extern "C" {
#include <libavutil/audio_fifo.h>
#include <libavutil/channel_layout.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <cmath>
#include <vector>

namespace platform::media {

namespace {

constexpr int sampleRate = 48'000;
// Gaps and overlaps shorter than this are timing jitter of the source, not missing sound.
constexpr int jitter = sampleRate / 10;

Error failed(int code) {
    return Error{QStringLiteral("Cannot write the sound: %1").arg(ffmpegError(code))};
}

} // namespace

SoundTrack::~SoundTrack() {
    swr_free(&m_resampler);
    if (m_fifo != nullptr) av_audio_fifo_free(m_fifo);
}

Result<std::unique_ptr<SoundTrack>> SoundTrack::open(const AVStream* input, double clockStart,
                                                     AVFormatContext* output, const Settings& settings) {
    std::unique_ptr<SoundTrack> track(new SoundTrack);
    track->m_input = input;
    track->m_clockStart = clockStart;
    track->m_settings = settings;
    const Error unreadable{QStringLiteral("The sound of this movie cannot be read.")};
    const AVCodec* decoder = avcodec_find_decoder(input->codecpar->codec_id);
    if (decoder == nullptr) return unreadable;
    track->m_decoder.reset(avcodec_alloc_context3(decoder));
    if (avcodec_parameters_to_context(track->m_decoder.get(), input->codecpar) < 0) return unreadable;
    track->m_decoder->pkt_timebase = input->time_base;
    if (avcodec_open2(track->m_decoder.get(), decoder, nullptr) < 0) return unreadable;
    track->m_channelsIn = std::clamp(track->m_decoder->ch_layout.nb_channels, 1, 2);

    const AVCodec* aac = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (aac == nullptr) return Error{QStringLiteral("This FFmpeg has no AAC encoder.")};
    track->m_encoder.reset(avcodec_alloc_context3(aac));
    AVCodecContext* encoder = track->m_encoder.get();
    const int channels = settings.mono ? 1 : track->m_channelsIn;
    encoder->sample_fmt = AV_SAMPLE_FMT_FLTP;
    encoder->sample_rate = sampleRate;
    av_channel_layout_default(&encoder->ch_layout, channels);
    encoder->bit_rate = channels == 1 ? 96'000 : 160'000;
    encoder->time_base = AVRational{1, sampleRate};
    if ((output->oformat->flags & AVFMT_GLOBALHEADER) != 0) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (const int code = avcodec_open2(encoder, aac, nullptr); code < 0) return failed(code);
    track->m_stream = avformat_new_stream(output, nullptr);
    if (track->m_stream == nullptr) return failed(AVERROR(ENOMEM));
    track->m_stream->time_base = encoder->time_base;
    if (const int code = avcodec_parameters_from_context(track->m_stream->codecpar, encoder); code < 0)
        return failed(code);
    track->m_fifo = av_audio_fifo_alloc(AV_SAMPLE_FMT_FLTP, channels, sampleRate);
    track->m_decoded.reset(av_frame_alloc());
    track->m_chunk.reset(av_frame_alloc());
    track->m_packet.reset(av_packet_alloc());
    if (track->m_fifo == nullptr || !track->m_decoded || !track->m_chunk || !track->m_packet)
        return failed(AVERROR(ENOMEM));
    return track;
}

Result<bool> SoundTrack::add(const AVPacket* packet, const Write& write) {
    if (m_done) return true;
    // A damaged packet loses its moment of sound, not the export.
    if (avcodec_send_packet(m_decoder.get(), packet) < 0) return true;
    return takeDecoded(write);
}

Result<bool> SoundTrack::finish(const Write& write) {
    avcodec_send_packet(m_decoder.get(), nullptr);
    if (auto taken = takeDecoded(write); !taken) return taken;
    if (auto drained = drain(true, write); !drained) return drained;
    int code = avcodec_send_frame(m_encoder.get(), nullptr);
    if (code < 0 && code != AVERROR_EOF) return failed(code);
    while ((code = avcodec_receive_packet(m_encoder.get(), m_packet.get())) >= 0) {
        av_packet_rescale_ts(m_packet.get(), m_encoder->time_base, m_stream->time_base);
        m_packet->stream_index = m_stream->index;
        if (auto written = write(m_packet.get()); !written) return written;
    }
    return code == AVERROR_EOF || code == AVERROR(EAGAIN) ? Result<bool>(true) : failed(code);
}

Result<bool> SoundTrack::takeDecoded(const Write& write) {
    std::vector<std::vector<float>> converted(static_cast<size_t>(m_channelsIn));
    std::vector<float*> planes(static_cast<size_t>(m_channelsIn));
    while (avcodec_receive_frame(m_decoder.get(), m_decoded.get()) >= 0) {
        const AVFrame* frame = m_decoded.get();
        const int64_t pts = frame->best_effort_timestamp;
        const double time = pts == AV_NOPTS_VALUE ? m_settings.origin + double(m_placed) / sampleRate
                                                  : double(pts) * av_q2d(m_input->time_base) - m_clockStart;
        if (m_done || (m_settings.end >= 0 && time >= m_settings.end)) {
            m_done = true;
            av_frame_unref(m_decoded.get());
            continue;
        }
        if (m_resampler == nullptr) {
            AVChannelLayout layout{};
            av_channel_layout_default(&layout, m_channelsIn);
            const int code = swr_alloc_set_opts2(&m_resampler, &layout, AV_SAMPLE_FMT_FLTP, sampleRate,
                                                 &m_decoded->ch_layout, AVSampleFormat(frame->format),
                                                 frame->sample_rate, 0, nullptr);
            av_channel_layout_uninit(&layout);
            if (code < 0 || swr_init(m_resampler) < 0) {
                av_frame_unref(m_decoded.get());
                return Error{QStringLiteral("The sound of this movie cannot be converted.")};
            }
        }
        const int room = swr_get_out_samples(m_resampler, frame->nb_samples);
        for (int c = 0; c < m_channelsIn; ++c) {
            converted[size_t(c)].resize(size_t(std::max(room, 1)));
            planes[size_t(c)] = converted[size_t(c)].data();
        }
        const int count = swr_convert(m_resampler, reinterpret_cast<uint8_t**>(planes.data()), room,
                                      const_cast<const uint8_t**>(frame->extended_data), frame->nb_samples);
        av_frame_unref(m_decoded.get());
        if (count <= 0) continue;
        if (auto placed = place(planes.data(), count, time, write); !placed) return placed;
    }
    return true;
}

// Puts `count` samples that belong at `time` into the fifo: at their place on the new
// movie's clock, cut to the range, with the gain and the mix-down applied.
Result<bool> SoundTrack::place(const float* const* planes, int count, double time, const Write& write) {
    const qint64 due = std::llround((time - m_settings.origin) * sampleRate);
    int skip = 0;
    if (due < m_placed - (m_placed == 0 ? 0 : jitter)) {
        skip = int(std::min<qint64>(m_placed - due, count)); // before the start, or heard already
    } else if (due > m_placed + (m_placed == 0 ? 0 : jitter)) {
        std::vector<float> silence(static_cast<size_t>(due - m_placed), 0.0f);
        std::vector<void*> zeros(static_cast<size_t>(m_encoder->ch_layout.nb_channels), silence.data());
        if (av_audio_fifo_write(m_fifo, zeros.data(), int(silence.size())) < int(silence.size()))
            return failed(AVERROR(ENOMEM));
        m_placed = due;
    }
    int kept = count - skip;
    if (m_settings.end >= 0) {
        const qint64 limit = std::llround((m_settings.end - m_settings.origin) * sampleRate);
        kept = int(std::clamp<qint64>(limit - m_placed, 0, kept));
        if (m_placed + kept >= limit) m_done = true;
    }
    if (kept <= 0) return drain(false, write);
    const int channels = m_encoder->ch_layout.nb_channels;
    const float gain = float(m_settings.volume);
    std::vector<std::vector<float>> out(static_cast<size_t>(channels),
                                        std::vector<float>(static_cast<size_t>(kept)));
    for (int i = 0; i < kept; ++i) {
        if (channels == 1) {
            float sum = 0;
            for (int c = 0; c < m_channelsIn; ++c)
                sum += planes[c][skip + i];
            out[0][size_t(i)] = std::clamp(gain * sum / float(m_channelsIn), -1.0f, 1.0f);
        } else {
            for (int c = 0; c < channels; ++c)
                out[size_t(c)][size_t(i)] = std::clamp(gain * planes[c][skip + i], -1.0f, 1.0f);
        }
    }
    std::vector<void*> pointers(static_cast<size_t>(channels));
    for (int c = 0; c < channels; ++c)
        pointers[size_t(c)] = out[size_t(c)].data();
    if (av_audio_fifo_write(m_fifo, pointers.data(), kept) < kept) return failed(AVERROR(ENOMEM));
    m_placed += kept;
    return drain(false, write);
}

// Encodes the fifo in the encoder's frame size; at the end, the rest too.
Result<bool> SoundTrack::drain(bool all, const Write& write) {
    AVCodecContext* encoder = m_encoder.get();
    while (true) {
        const int count = takeSoundFrame(m_fifo, encoder, m_chunk.get(), all, m_encoded);
        if (count < 0) return failed(count);
        if (count == 0) return true;
        m_encoded += count;
        int code = avcodec_send_frame(encoder, m_chunk.get());
        if (code < 0) return failed(code);
        while ((code = avcodec_receive_packet(encoder, m_packet.get())) >= 0) {
            av_packet_rescale_ts(m_packet.get(), encoder->time_base, m_stream->time_base);
            m_packet->stream_index = m_stream->index;
            if (auto written = write(m_packet.get()); !written) return written;
        }
        if (code != AVERROR(EAGAIN)) return failed(code);
    }
}

} // namespace platform::media
