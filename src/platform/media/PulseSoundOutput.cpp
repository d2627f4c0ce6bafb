#include "platform/media/PulseSoundOutput.h"

#include <pulse/error.h>
#include <pulse/simple.h>

#include <cstdint>

namespace platform::media {

namespace {

// The buffer the server keeps filled: long enough not to run dry when the decoder takes a
// moment, short enough that pausing and seeking answer at once.
constexpr int bufferMilliseconds = 120;

} // namespace

std::unique_ptr<PulseSoundOutput> PulseSoundOutput::connect(int rate, int channels) {
    if (rate <= 0 || channels < 1 || channels > 2) return nullptr;
    const pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, uint32_t(rate), uint8_t(channels)};
    const uint32_t bytes = uint32_t(rate) * uint32_t(channels) * sizeof(float) * bufferMilliseconds / 1000;
    pa_buffer_attr attributes{};
    attributes.maxlength = uint32_t(-1);
    attributes.tlength = bytes;
    attributes.prebuf = uint32_t(-1);
    attributes.minreq = uint32_t(-1);
    attributes.fragsize = uint32_t(-1);
    int code = 0;
    pa_simple* connection = pa_simple_new(nullptr, "Pictavia", PA_STREAM_PLAYBACK, nullptr, "Video preview",
                                          &spec, nullptr, &attributes, &code);
    if (connection == nullptr) return nullptr;
    return std::unique_ptr<PulseSoundOutput>(new PulseSoundOutput(connection, rate, channels));
}

PulseSoundOutput::PulseSoundOutput(pa_simple* connection, int rate, int channels)
    : m_connection(connection), m_rate(rate), m_channels(channels) {}

PulseSoundOutput::~PulseSoundOutput() {
    pa_simple_free(m_connection);
}

bool PulseSoundOutput::write(const float* samples, size_t frames) {
    int code = 0;
    return pa_simple_write(m_connection, samples, frames * size_t(m_channels) * sizeof(float), &code) >= 0;
}

std::optional<double> PulseSoundOutput::latency() {
    int code = 0;
    const pa_usec_t microseconds = pa_simple_get_latency(m_connection, &code);
    if (microseconds == pa_usec_t(-1)) return std::nullopt;
    return double(microseconds) / 1e6;
}

void PulseSoundOutput::flush() {
    int code = 0;
    pa_simple_flush(m_connection, &code);
}

} // namespace platform::media
