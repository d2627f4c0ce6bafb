#pragma once

#include <memory>
#include <optional>

struct pa_simple;

namespace platform::media {

// Interleaved 32-bit float sound played to the default output of the PulseAudio server,
// with a short buffer so that what is written is heard soon and the writer can keep time
// by it.
class PulseSoundOutput {
public:
    // Null when no sound server answers: the caller plays without sound.
    static std::unique_ptr<PulseSoundOutput> connect(int rate, int channels);
    ~PulseSoundOutput();
    PulseSoundOutput(const PulseSoundOutput&) = delete;
    PulseSoundOutput& operator=(const PulseSoundOutput&) = delete;

    int rate() const { return m_rate; }
    int channels() const { return m_channels; }
    // Blocks while the buffer is full. False when the server went away.
    bool write(const float* samples, size_t frames);
    // Seconds until sound written now is heard; nothing when the server cannot say.
    std::optional<double> latency();
    // Drops what is buffered and not yet heard.
    void flush();

private:
    PulseSoundOutput(pa_simple* connection, int rate, int channels);

    pa_simple* m_connection;
    int m_rate;
    int m_channels;
};

} // namespace platform::media
