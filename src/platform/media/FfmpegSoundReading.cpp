#include "platform/media/FfmpegLog.h"
#include "platform/media/FfmpegMovieSound.h"
#include "platform/media/FfmpegMovieSource.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libswresample/swresample.h>
}

#include <QFileInfo>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

namespace platform::media {

namespace {

struct FreeResampler {
    void operator()(SwrContext* resampler) const { swr_free(&resampler); }
};
using ResamplerHandle = std::unique_ptr<SwrContext, FreeResampler>;

// How far, in seconds, the sound tracks of one file may lie apart in it: a fragmented movie
// stores each track's stretch of a fragment (ours, 5 s) in one piece. A track that has given
// nothing for this long behind the others is taken as silent there.
constexpr double interleaving = 12.0;
// Gaps and overlaps shorter than this (in seconds) are timing jitter, not missing sound.
constexpr double jitter = 0.1;
// The largest piece handed on at once, in seconds.
constexpr double chunkSeconds = 0.5;

Error notSound(const QString& file) {
    return Error{QStringLiteral("“%1” is not a movie or sound file Pictavia can read.").arg(shownName(file))};
}

Error damaged(const QString& file) {
    return Error{QStringLiteral("“%1” is damaged: its sound cannot be read.").arg(shownName(file))};
}

Result<InputHandle> openSoundInput(const QString& file) {
    auto input = openInput(file);
    if (input) return input;
    // openInput's own sentences say what is wrong with a missing or forbidden file.
    const QFileInfo info(file);
    return info.exists() && info.isFile() && info.isReadable() ? notSound(file) : input.error();
}

std::vector<AVStream*> soundStreams(AVFormatContext* format) {
    std::vector<AVStream*> streams;
    for (unsigned i = 0; i < format->nb_streams; ++i)
        if (format->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO)
            streams.push_back(format->streams[i]);
    return streams;
}

// Where the movie's clock starts, in seconds of the file: at its first picture, as the player
// and the exporter have it; a sound file's at its first sound.
double clockStart(AVFormatContext* format, const std::vector<AVStream*>& sound) {
    const int video = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (video >= 0 && format->streams[video]->start_time != AV_NOPTS_VALUE)
        return double(format->streams[video]->start_time) * av_q2d(format->streams[video]->time_base);
    double start = std::numeric_limits<double>::max();
    for (const AVStream* stream : sound)
        if (stream->start_time != AV_NOPTS_VALUE)
            start = std::min(start, double(stream->start_time) * av_q2d(stream->time_base));
    return start == std::numeric_limits<double>::max() ? 0 : std::max(start, 0.0);
}

// Mono and stereo turned into each other at the same level: a voice in the middle of a stereo
// track measures as loud in one channel, and a mono track is copied into both, where
// swresample's own mixing would add or take away 3 dB.
bool keepLevel(SwrContext* resampler, int channelsIn, int channelsOut) {
    if (channelsIn == 2 && channelsOut == 1) {
        const double matrix[] = {0.5, 0.5};
        return swr_set_matrix(resampler, matrix, 2) >= 0;
    }
    if (channelsIn == 1 && channelsOut == 2) {
        const double matrix[] = {1.0, 1.0};
        return swr_set_matrix(resampler, matrix, 1) >= 0;
    }
    return true;
}

// One sound track decoded, resampled and laid on the movie's clock at the output rate: its
// samples from `start` on are waiting in `pending` to be mixed.
class TrackReader {
public:
    static std::unique_ptr<TrackReader> open(AVStream* stream, int rate, int channels, double origin) {
        const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
        if (codec == nullptr) return nullptr;
        std::unique_ptr<TrackReader> track(new TrackReader);
        track->m_stream = stream;
        track->m_rate = rate;
        track->m_channels = channels;
        track->m_origin = origin;
        track->m_decoder.reset(avcodec_alloc_context3(codec));
        track->m_frame.reset(av_frame_alloc());
        if (!track->m_decoder || !track->m_frame) return nullptr;
        if (avcodec_parameters_to_context(track->m_decoder.get(), stream->codecpar) < 0) return nullptr;
        track->m_decoder->pkt_timebase = stream->time_base;
        if (avcodec_open2(track->m_decoder.get(), codec, nullptr) < 0) return nullptr;
        return track;
    }

    int index() const { return m_stream->index; }
    bool heard() const { return m_heard; }
    // The first sample not yet known, on the output clock.
    qint64 known() const { return start + qint64(pending.size()) / m_channels; }

    // Decodes a packet (null: the end) and lays what comes out after what is pending. A packet
    // the decoder refuses loses its moment of sound, not the rest.
    bool add(const AVPacket* packet) {
        if (avcodec_send_packet(m_decoder.get(), packet) < 0 && packet != nullptr) return true;
        while (avcodec_receive_frame(m_decoder.get(), m_frame.get()) >= 0) {
            const bool laid = lay(m_frame.get());
            av_frame_unref(m_frame.get());
            if (!laid) return false;
        }
        if (packet == nullptr) return flushResampler();
        return true;
    }

    // Forgets the samples before `position`, which have been handed on.
    void drop(qint64 position) {
        if (position <= start) return;
        const qint64 gone = std::min<qint64>(position - start, qint64(pending.size()) / m_channels);
        pending.erase(pending.begin(), pending.begin() + gone * m_channels);
        start = position;
    }

    qint64 start = 0;           // the output sample that pending begins with
    std::vector<float> pending; // interleaved

private:
    TrackReader() = default;

    bool lay(AVFrame* frame) {
        if (!m_resampler) {
            AVChannelLayout layout{};
            av_channel_layout_default(&layout, m_channels);
            SwrContext* raw = nullptr;
            const int code =
                swr_alloc_set_opts2(&raw, &layout, AV_SAMPLE_FMT_FLT, m_rate, &frame->ch_layout,
                                    AVSampleFormat(frame->format), frame->sample_rate, 0, nullptr);
            av_channel_layout_uninit(&layout);
            m_resampler.reset(raw);
            if (code < 0 || !keepLevel(raw, frame->ch_layout.nb_channels, m_channels)) return false;
            if (swr_init(raw) < 0) return false;
        }
        const int64_t pts = frame->best_effort_timestamp;
        // The resampler still holds some input: the frame's first sample comes out after it.
        const double held = double(swr_get_delay(m_resampler.get(), m_rate)) / m_rate;
        if (pts != AV_NOPTS_VALUE) {
            const double time = double(pts) * av_q2d(m_stream->time_base) - m_origin - held;
            place(std::llround(time * m_rate));
        } else if (!m_heard) {
            place(0);
        }
        return convert(frame->extended_data, frame->nb_samples);
    }

    // Moves the write position to `due` when the frame's time says the sound jumped there.
    void place(qint64 due) {
        const qint64 end = known();
        const qint64 tolerance = std::llround(jitter * m_rate);
        if (!m_heard) {
            m_heard = true;
            start = due;
            m_skip = due < 0 ? -due : 0; // before the movie's clock starts
            if (due < 0) start = 0;
            return;
        }
        if (due > end + tolerance) {
            pending.resize(pending.size() + size_t(due - end) * size_t(m_channels), 0.0f);
        } else if (due + tolerance < end) {
            m_skip = end - due; // heard already
        }
    }

    bool convert(uint8_t* const* input, int frames) {
        const int room = swr_get_out_samples(m_resampler.get(), frames);
        if (room < 0) return false;
        std::vector<float> out(size_t(std::max(room, 1)) * size_t(m_channels));
        uint8_t* planes[1] = {reinterpret_cast<uint8_t*>(out.data())};
        const int count =
            swr_convert(m_resampler.get(), planes, room, const_cast<const uint8_t**>(input), frames);
        if (count < 0) return false;
        const qint64 skipped = std::min<qint64>(m_skip, count);
        m_skip -= skipped;
        pending.insert(pending.end(), out.begin() + skipped * m_channels,
                       out.begin() + qint64(count) * m_channels);
        return true;
    }

    bool flushResampler() {
        if (!m_resampler) return true;
        return convert(nullptr, 0);
    }

    AVStream* m_stream = nullptr;
    int m_rate = 0;
    int m_channels = 0;
    double m_origin = 0;
    CodecHandle m_decoder;
    FrameHandle m_frame;
    ResamplerHandle m_resampler;
    bool m_heard = false;
    qint64 m_skip = 0; // samples still to leave out of what comes next
};

} // namespace

Result<int> FfmpegMovieSound::soundTracks(const QString& file) {
    quietFfmpegLog();
    auto input = openSoundInput(file);
    if (!input) return input.error();
    return int(soundStreams(input->get()).size());
}

Result<bool> FfmpegMovieSound::readSound(const QString& file, int track, int rate, int channels,
                                         const Chunk& chunk) {
    quietFfmpegLog();
    if (rate <= 0 || channels <= 0) return Error{QStringLiteral("Sound cannot be read at that rate.")};
    auto opened = openSoundInput(file);
    if (!opened) return opened.error();
    AVFormatContext* format = opened->get();
    const std::vector<AVStream*> all = soundStreams(format);
    if (all.empty()) return Error{QStringLiteral("“%1” has no sound.").arg(shownName(file))};
    if (track >= int(all.size()))
        return Error{QStringLiteral("“%1” has no sound track %2.").arg(shownName(file)).arg(track + 1)};
    const std::vector<AVStream*> chosen = track < 0 ? all : std::vector<AVStream*>{all[size_t(track)]};
    const double origin = clockStart(format, all);

    std::vector<std::unique_ptr<TrackReader>> tracks;
    for (AVStream* stream : chosen) {
        auto reader = TrackReader::open(stream, rate, channels, origin);
        if (!reader) return notSound(file);
        tracks.push_back(std::move(reader));
    }
    for (unsigned i = 0; i < format->nb_streams; ++i)
        format->streams[i]->discard = AVDISCARD_ALL;
    for (AVStream* stream : chosen)
        stream->discard = AVDISCARD_DEFAULT;

    qint64 emitted = 0; // output samples handed on
    double latest = 0;  // the latest packet time read, on the movie's clock
    std::vector<float> mixed;
    // Hands on everything before `until`: each track's samples summed, silence where a track
    // has none.
    const auto handOn = [&](qint64 until) {
        const qint64 step = std::max<qint64>(1, std::llround(chunkSeconds * rate));
        while (emitted < until) {
            const qint64 count = std::min(step, until - emitted);
            mixed.assign(size_t(count * channels), 0.0f);
            for (const auto& reader : tracks) {
                const qint64 from = std::max(emitted, reader->start);
                const qint64 to = std::min(emitted + count, reader->known());
                for (qint64 i = from; i < to; ++i)
                    for (int c = 0; c < channels; ++c)
                        mixed[size_t((i - emitted) * channels + c)] +=
                            reader->pending[size_t((i - reader->start) * channels + c)];
            }
            emitted += count;
            for (const auto& reader : tracks)
                reader->drop(emitted);
            if (!chunk(mixed.data(), count)) return false;
        }
        return true;
    };
    const Error cancelled{QStringLiteral("Reading the sound was cancelled."),
                          QStringLiteral("com.corvanta.pictavia"), Cancelled};

    PacketHandle packet(av_packet_alloc());
    if (!packet) return damaged(file);
    bool brokenOff = false;
    for (;;) {
        const int code = av_read_frame(format, packet.get());
        if (code == AVERROR_EOF) break;
        if (code < 0) {
            brokenOff = true; // keep what came before the damage
            break;
        }
        for (const auto& reader : tracks) {
            if (reader->index() != packet->stream_index) continue;
            if (packet->pts != AV_NOPTS_VALUE)
                latest = std::max(
                    latest,
                    double(packet->pts) * av_q2d(format->streams[packet->stream_index]->time_base) - origin);
            if (!reader->add(packet.get())) {
                av_packet_unref(packet.get());
                return damaged(file);
            }
        }
        av_packet_unref(packet.get());
        // Everything every track has given, or that lies too far behind the newest packet for a
        // track still to give it, is final.
        qint64 ready = std::numeric_limits<qint64>::max();
        const qint64 horizon = std::llround((latest - interleaving) * rate);
        for (const auto& reader : tracks)
            ready = std::min(ready, std::max(reader->heard() ? reader->known() : 0, horizon));
        if (ready > emitted && !handOn(ready)) return cancelled;
    }
    bool heard = false;
    qint64 end = emitted;
    for (const auto& reader : tracks) {
        if (!reader->add(nullptr)) return damaged(file);
        heard = heard || reader->heard();
        end = std::max(end, reader->known());
    }
    if (!heard)
        return brokenOff ? damaged(file) : Error{QStringLiteral("“%1” has no sound.").arg(shownName(file))};
    if (!handOn(end)) return cancelled;
    return true;
}

} // namespace platform::media
