#pragma once

#include "common/Result.h"
#include "platform/media/FfmpegHandles.h"

#include <functional>
#include <memory>

struct SwrContext;
struct AVAudioFifo;

namespace platform::media {

// The sound of a movie decoded and encoded again as AAC: a range of it kept, made louder or
// softer, mixed down to one channel when asked, and placed so that `origin` (seconds of the
// source) becomes the new movie's start. Silence fills where the source has none.
class SoundTrack {
public:
    struct Settings {
        double origin = 0; // source seconds that become 0
        double end = -1;   // source seconds where the sound stops; below 0: its end
        double volume = 1.0;
        bool mono = false;
    };
    // Hands a finished packet (its stream index set, times in the stream's time base) on to
    // the muxer.
    using Write = std::function<Result<bool>(AVPacket* packet)>;

    ~SoundTrack();
    SoundTrack(const SoundTrack&) = delete;
    SoundTrack& operator=(const SoundTrack&) = delete;

    // A decoder for `input`, an AAC encoder and a new stream in `output` (before its header
    // is written).
    static Result<std::unique_ptr<SoundTrack>> open(const AVStream* input, double clockStart,
                                                    AVFormatContext* output, const Settings& settings);

    // Moves the start once it is known: the time of the first picture kept.
    void setOrigin(double origin) { m_settings.origin = origin; }

    // Decodes one packet of the input stream and writes what is ready.
    Result<bool> add(const AVPacket* packet, const Write& write);
    // Flushes the decoder and the encoder.
    Result<bool> finish(const Write& write);
    // Whether the range is over: later packets add nothing.
    bool done() const { return m_done; }

private:
    SoundTrack() = default;
    Result<bool> takeDecoded(const Write& write);
    Result<bool> place(const float* const* planes, int count, double time, const Write& write);
    Result<bool> drain(bool all, const Write& write);

    const AVStream* m_input = nullptr;
    double m_clockStart = 0; // seconds of the input at the movie's zero
    Settings m_settings;
    CodecHandle m_decoder;
    CodecHandle m_encoder;
    AVStream* m_stream = nullptr;
    SwrContext* m_resampler = nullptr;
    AVAudioFifo* m_fifo = nullptr;
    FrameHandle m_decoded;
    FrameHandle m_chunk;
    PacketHandle m_packet;
    int m_channelsIn = 0; // after resampling: the source's, at most two
    qint64 m_placed = 0;  // samples put in the fifo: the time of the next one
    qint64 m_encoded = 0; // samples handed to the encoder
    bool m_done = false;
};

} // namespace platform::media
