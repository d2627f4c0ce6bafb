#include "platform/media/FfmpegMoviePlayer.h"

#include "platform/media/FfmpegLog.h"
#include "platform/media/FfmpegMovieSource.h"
#include "platform/media/PulseSoundOutput.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <limits>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace platform::media {

namespace {

using WallClock = std::chrono::steady_clock;
constexpr double noEnd = std::numeric_limits<double>::infinity();
// Decoded pictures kept ahead of the clock: enough to ride out a slow one, few enough that
// a large movie's pictures do not fill the memory while the sound is far ahead.
constexpr size_t mostPicturesAhead = 12;
// The longest the thread sleeps while playing, so that it looks at its requests often.
constexpr double longestNap = 0.010;

// One channel's sample `index` of any of FFmpeg's sample formats, as a float.
float sampleAt(const AVFrame* frame, int channel, int index, int channels) {
    const auto format = AVSampleFormat(frame->format);
    const bool planar = av_sample_fmt_is_planar(format) != 0;
    const uint8_t* data = planar ? frame->extended_data[channel] : frame->extended_data[0];
    const int at = planar ? index : index * channels + channel;
    switch (av_get_packed_sample_fmt(format)) {
    case AV_SAMPLE_FMT_U8:
        return (float(data[at]) - 128.0f) / 128.0f;
    case AV_SAMPLE_FMT_S16:
        return float(reinterpret_cast<const int16_t*>(data)[at]) / 32768.0f;
    case AV_SAMPLE_FMT_S32:
        return float(double(reinterpret_cast<const int32_t*>(data)[at]) / 2147483648.0);
    case AV_SAMPLE_FMT_FLT:
        return reinterpret_cast<const float*>(data)[at];
    case AV_SAMPLE_FMT_DBL:
        return float(reinterpret_cast<const double*>(data)[at]);
    default:
        return 0;
    }
}

// A decoded frame's sound from `first` on as interleaved floats of `outChannels` (one or
// two: the first two of a surround track).
std::vector<float> interleaved(const AVFrame* frame, int first, int outChannels) {
    const int channels = frame->ch_layout.nb_channels;
    std::vector<float> samples;
    if (channels < 1 || first >= frame->nb_samples) return samples;
    samples.reserve(size_t(frame->nb_samples - first) * size_t(outChannels));
    for (int i = first; i < frame->nb_samples; ++i)
        for (int c = 0; c < outChannels; ++c)
            samples.push_back(sampleAt(frame, std::min(c, channels - 1), i, channels));
    return samples;
}

struct Picture {
    FrameHandle frame;
    double time = 0;
};

struct Sound {
    std::vector<float> samples; // interleaved
    double time = 0;
};

// What the GUI thread asks of the player's thread.
struct Requests {
    bool quit = false;
    bool playing = false;
    bool started = false; // play() was called since the thread last looked
    std::optional<double> seek;
    bool redeliver = false; // a new frame handler wants the picture shown
    double rangeStart = 0;
    double rangeEnd = noEnd;

    bool pending() const { return quit || started || seek || redeliver; }
};

class FfmpegMoviePlayer final : public MoviePlayer {
public:
    FfmpegMoviePlayer(MovieSource source, CodecHandle audioDecoder, AVStream* audio)
        : m_source(std::move(source)), m_audioDecoder(std::move(audioDecoder)), m_audio(audio),
          m_packet(av_packet_alloc()), m_decoded(av_frame_alloc()) {
        AVRational rate = av_guess_frame_rate(m_source.format.get(), m_source.video, nullptr);
        if (rate.num > 0 && rate.den > 0) m_frameLength = 1.0 / av_q2d(rate);
        // The movie's clock starts at its first picture; its sound may start earlier, where an
        // AAC encoder's priming samples begin.
        if (const int64_t start = m_source.video->start_time; start != AV_NOPTS_VALUE)
            m_clockStart = double(start) * av_q2d(m_source.video->time_base);
        m_requests.seek = 0.0; // paused at the first picture
        m_thread = std::thread([this] { run(); });
    }

    ~FfmpegMoviePlayer() override {
        {
            const std::lock_guard lock(m_mutex);
            m_requests.quit = true;
        }
        m_wake.notify_all();
        m_thread.join();
    }

    void setFrameHandler(Frame frame) override {
        {
            const std::lock_guard lock(m_handlerMutex);
            m_onFrame = std::move(frame);
        }
        ask([](Requests& r) { r.redeliver = true; });
    }

    void setEndHandler(Ended ended) override {
        const std::lock_guard lock(m_handlerMutex);
        m_onEnded = std::move(ended);
    }

    void play() override {
        ask([](Requests& r) { r.playing = r.started = true; });
    }

    void pause() override {
        ask([](Requests& r) { r.playing = false; });
    }

    bool isPlaying() const override {
        const std::lock_guard lock(m_mutex);
        return m_requests.playing;
    }

    void seek(double seconds) override {
        ask([seconds](Requests& r) { r.seek = std::max(0.0, seconds); });
    }

    double position() const override { return m_position; }

    void setRange(double start, double end) override {
        ask([start, end](Requests& r) {
            r.rangeStart = std::max(0.0, start);
            r.rangeEnd = end > r.rangeStart ? end : noEnd;
        });
    }

    void setVolume(double gain) override { m_volume = std::clamp(gain, 0.0, 2.0); }
    void setMuted(bool muted) override { m_muted = muted; }

private:
    template <typename Change> void ask(Change change) {
        {
            const std::lock_guard lock(m_mutex);
            change(m_requests);
        }
        m_wake.notify_all();
    }

    void run() {
        bool wasPlaying = false;
        for (;;) {
            Requests asked;
            {
                std::unique_lock lock(m_mutex);
                m_wake.wait(lock, [this] { return m_requests.pending() || m_requests.playing; });
                if (m_requests.quit) return;
                asked = m_requests;
                m_requests.started = m_requests.redeliver = false;
                m_requests.seek.reset();
            }
            if (asked.seek) {
                seekTo(*asked.seek);
                anchor(m_position);
                if (m_sound) m_sound->flush();
            }
            if (asked.redeliver && !asked.seek) deliver(m_lastImage, m_position);
            if (asked.playing && (asked.started || !wasPlaying)) startPlaying(asked);
            if (!asked.playing && wasPlaying && m_sound) m_sound->flush();
            wasPlaying = asked.playing;
            if (asked.playing) step(asked);
        }
    }

    // Moves to the picture at `time`: from the key frame before it, decoding on to it.
    void seekTo(double time) {
        const AVRational base = m_source.video->time_base;
        const auto target = int64_t((time + m_clockStart) / av_q2d(base));
        av_seek_frame(m_source.format.get(), m_source.video->index, target, AVSEEK_FLAG_BACKWARD);
        avcodec_flush_buffers(m_source.decoder.get());
        if (m_audioDecoder) avcodec_flush_buffers(m_audioDecoder.get());
        m_pictures.clear();
        m_sounds.clear();
        m_demuxEnded = false;
        m_ended = false;
        m_soundFrom = time;
        m_nextSoundTime.reset();
        const double tolerance = m_frameLength / 4;
        for (;;) {
            if (m_pictures.size() >= 2 && m_pictures[1].time <= time + tolerance) {
                m_pictures.pop_front();
                continue;
            }
            if (m_pictures.size() >= 2 || m_demuxEnded) break;
            readPacket();
        }
        if (!m_pictures.empty()) {
            show(m_pictures.front());
            m_pictures.pop_front();
        }
    }

    void startPlaying(const Requests& asked) {
        if (!m_soundTried && m_audioDecoder) {
            m_soundTried = true;
            m_sound = PulseSoundOutput::connect(m_audioDecoder->sample_rate,
                                                std::clamp(m_audioDecoder->ch_layout.nb_channels, 1, 2));
            // Sound decoded before there was an output is missing: start cleanly from here.
            if (m_sound) seekTo(m_position);
        }
        const bool atEnd = m_ended || (m_demuxEnded && m_pictures.empty());
        if (atEnd || m_position < asked.rangeStart - m_frameLength / 2 ||
            m_position >= asked.rangeEnd - m_frameLength / 2)
            seekTo(asked.rangeStart);
        if (m_sound) m_sound->flush();
        anchor(m_position);
    }

    // One round of playing: decode ahead, write sound, show a picture that is due, or wait.
    void step(const Requests& asked) {
        const bool wantsSound = m_sound && m_sounds.empty();
        if (!m_demuxEnded && m_pictures.size() < mostPicturesAhead && (m_pictures.empty() || wantsSound))
            return readPacket();

        bool busy = false;
        if (m_sound && !m_sounds.empty()) {
            writeSound(asked.rangeEnd);
            busy = true;
        }
        const double now = clock();
        if (!m_pictures.empty() && m_pictures.front().time <= now &&
            m_pictures.front().time < asked.rangeEnd) {
            // Late pictures are skipped: the newest one due is shown.
            while (m_pictures.size() > 1 && m_pictures[1].time <= now)
                m_pictures.pop_front();
            show(m_pictures.front());
            m_pictures.pop_front();
            busy = true;
        }
        const bool allShown = m_demuxEnded && m_pictures.empty() && m_sounds.empty();
        if (now >= asked.rangeEnd || (allShown && now >= m_position + m_frameLength))
            return finish(QString());
        if (busy) return;
        double nap = longestNap;
        if (!m_pictures.empty()) nap = std::clamp(m_pictures.front().time - now, 0.0, longestNap);
        std::unique_lock lock(m_mutex);
        m_wake.wait_for(lock, std::chrono::duration<double>(nap),
                        [this] { return m_requests.pending() || !m_requests.playing; });
    }

    void writeSound(double rangeEnd) {
        Sound sound = std::move(m_sounds.front());
        m_sounds.pop_front();
        const int channels = m_sound->channels();
        size_t frames = sound.samples.size() / size_t(channels);
        if (sound.time >= rangeEnd) return m_sounds.clear();
        frames = std::min(frames, size_t(std::max(0.0, (rangeEnd - sound.time) * m_sound->rate())));
        const float gain = m_muted ? 0.0f : float(m_volume.load());
        for (size_t i = 0; i < frames * size_t(channels); ++i)
            sound.samples[i] = std::clamp(sound.samples[i] * gain, -1.0f, 1.0f);
        if (!m_sound->write(sound.samples.data(), frames)) {
            // The server went away: play on with pictures alone.
            m_sound.reset();
            m_sounds.clear();
            return;
        }
        // The sound is the clock: what was written, less what is still waiting to be heard.
        const double until = sound.time + double(frames) / m_sound->rate();
        if (const auto latency = m_sound->latency()) anchor(until - *latency);
    }

    void finish(const QString& error) {
        {
            const std::lock_guard lock(m_mutex);
            m_requests.playing = false;
        }
        m_ended = true;
        if (m_sound) m_sound->flush();
        const std::lock_guard lock(m_handlerMutex);
        if (m_onEnded) m_onEnded(error);
    }

    void readPacket() {
        if (av_read_frame(m_source.format.get(), m_packet.get()) < 0) {
            // The end (or an unreadable rest): what the decoders still hold comes out now.
            avcodec_send_packet(m_source.decoder.get(), nullptr);
            receivePictures();
            if (m_audioDecoder && m_sound) {
                avcodec_send_packet(m_audioDecoder.get(), nullptr);
                receiveSounds();
            }
            m_demuxEnded = true;
            return;
        }
        const int stream = m_packet->stream_index;
        if (stream == m_source.video->index) {
            if (avcodec_send_packet(m_source.decoder.get(), m_packet.get()) >= 0) receivePictures();
        } else if (m_audio && m_sound && stream == m_audio->index) {
            if (avcodec_send_packet(m_audioDecoder.get(), m_packet.get()) >= 0) receiveSounds();
        }
        av_packet_unref(m_packet.get());
    }

    void receivePictures() {
        while (avcodec_receive_frame(m_source.decoder.get(), m_decoded.get()) >= 0) {
            Picture picture{FrameHandle(av_frame_alloc()), 0};
            const int64_t pts = m_decoded->best_effort_timestamp;
            picture.time = pts == AV_NOPTS_VALUE
                               ? m_lastPictureTime + m_frameLength
                               : double(pts) * av_q2d(m_source.video->time_base) - m_clockStart;
            m_lastPictureTime = picture.time;
            av_frame_move_ref(picture.frame.get(), m_decoded.get());
            m_pictures.push_back(std::move(picture));
        }
    }

    void receiveSounds() {
        const int rate = m_audioDecoder->sample_rate;
        while (avcodec_receive_frame(m_audioDecoder.get(), m_decoded.get()) >= 0) {
            const int64_t pts = m_decoded->best_effort_timestamp;
            double time = pts != AV_NOPTS_VALUE ? double(pts) * av_q2d(m_audio->time_base) - m_clockStart
                                                : m_nextSoundTime.value_or(m_soundFrom);
            m_nextSoundTime = time + double(m_decoded->nb_samples) / rate;
            // Sound from before a seek's target is cut off where the target is.
            const int skip = time < m_soundFrom
                                 ? int(std::min<double>((m_soundFrom - time) * rate, m_decoded->nb_samples))
                                 : 0;
            Sound sound{interleaved(m_decoded.get(), skip, m_sound->channels()), time + double(skip) / rate};
            av_frame_unref(m_decoded.get());
            if (!sound.samples.empty()) m_sounds.push_back(std::move(sound));
        }
    }

    void show(const Picture& picture) {
        QImage image; // a new one each time: the handler may keep the last
        if (!m_convert.convert(picture.frame.get(), image)) return;
        m_lastImage = image;
        m_position = picture.time;
        deliver(image, picture.time);
    }

    void deliver(const QImage& image, double time) {
        if (image.isNull()) return;
        const std::lock_guard lock(m_handlerMutex);
        if (m_onFrame) m_onFrame(image, time);
    }

    void anchor(double time) {
        m_anchorTime = time;
        m_anchorWall = WallClock::now();
    }

    double clock() const {
        return m_anchorTime + std::chrono::duration<double>(WallClock::now() - m_anchorWall).count();
    }

    // Owned by the player's thread.
    MovieSource m_source;
    CodecHandle m_audioDecoder;
    AVStream* m_audio;
    PacketHandle m_packet;
    FrameHandle m_decoded;
    FrameToImage m_convert;
    std::unique_ptr<PulseSoundOutput> m_sound;
    bool m_soundTried = false;
    std::deque<Picture> m_pictures;
    std::deque<Sound> m_sounds;
    bool m_demuxEnded = false;
    bool m_ended = false; // played to the end of the movie or range: play() starts over
    double m_frameLength = 1.0 / 30;
    double m_clockStart = 0; // seconds of the video stream at the movie's zero
    double m_lastPictureTime = 0;
    double m_soundFrom = 0;
    std::optional<double> m_nextSoundTime;
    QImage m_lastImage;
    double m_anchorTime = 0;
    WallClock::time_point m_anchorWall = WallClock::now();

    // Shared with the GUI thread.
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    Requests m_requests;
    std::mutex m_handlerMutex; // held while a handler runs, so that one replaced is not called
    Frame m_onFrame;
    Ended m_onEnded;
    std::atomic<double> m_position{0};
    std::atomic<double> m_volume{1.0};
    std::atomic<bool> m_muted{false};

    std::thread m_thread;
};

// The movie's sound stream and its decoder; none for a silent movie or an unknown codec.
std::pair<CodecHandle, AVStream*> openSound(AVFormatContext* format) {
    const int index = av_find_best_stream(format, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (index < 0) return {};
    AVStream* stream = format->streams[index];
    const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
    if (codec == nullptr) return {};
    CodecHandle decoder(avcodec_alloc_context3(codec));
    if (avcodec_parameters_to_context(decoder.get(), stream->codecpar) < 0) return {};
    decoder->pkt_timebase = stream->time_base;
    if (avcodec_open2(decoder.get(), codec, nullptr) < 0 || decoder->sample_rate <= 0) return {};
    return {std::move(decoder), stream};
}

} // namespace

FfmpegMoviePlayers::FfmpegMoviePlayers() {
    quietFfmpegLog();
}

Result<std::unique_ptr<MoviePlayer>> FfmpegMoviePlayers::open(const QString& file) {
    auto opened = openMovieSource(file);
    if (!opened) return opened.error();
    MovieSource source = std::move(opened).value();
    auto [decoder, stream] = openSound(source.format.get());
    return std::unique_ptr<MoviePlayer>(
        std::make_unique<FfmpegMoviePlayer>(std::move(source), std::move(decoder), stream));
}

} // namespace platform::media
