#include "platform/pulse/PulseAudioSource.h"

#include <pulse/error.h>
#include <pulse/simple.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

namespace platform::pulse {

namespace {

// Small reads keep the level meter lively and the stop prompt.
constexpr int readMilliseconds = 20;
// How long a stop waits for sound still on its way from the server (its latency) before it
// gives up on it; a server that stopped sending entirely is left behind after this.
constexpr qint64 drainMicroseconds = 1'500'000;
// Sound whose counted time strays this far from the clock is put back on it.
constexpr qint64 resyncMicroseconds = 100'000;

QString deviceName(AudioSourceSettings::Device device) {
    return device == AudioSourceSettings::Device::microphone ? QStringLiteral("the microphone")
                                                             : QStringLiteral("system audio");
}

// Why a connection failed, in words for someone who does not know what a sound server is.
QString whyNot(int code) {
    switch (code) {
    case PA_ERR_CONNECTIONREFUSED:
    case PA_ERR_INVALIDSERVER:
        return QStringLiteral("no sound server is running");
    case PA_ERR_NOENTITY:
        return QStringLiteral("there is no such device");
    case PA_ERR_ACCESS:
        return QStringLiteral("the sound server refused access");
    default:
        return QString::fromUtf8(pa_strerror(code));
    }
}

// What the reading thread owns with the source: a read that blocks on a server that went
// silent must not hold up a stop, so the thread can be left to end on its own.
struct Reader {
    pa_simple* connection = nullptr;
    pa_sample_spec spec{};
    AudioSourceSettings::Device device{};
    AudioSource::BufferHandler onBuffer;
    AudioSource::ErrorHandler onError;
    std::atomic<qint64> stopAt = 0; // a stop asked at this time: read what was heard until then
    std::mutex mutex;               // held while a handler runs
    std::condition_variable ended;
    bool closed = false; // no handler runs any more
    bool done = false;   // the thread has finished reading

    ~Reader() {
        if (connection != nullptr) pa_simple_free(connection);
    }

    void run() {
        const int frames = int(spec.rate) * readMilliseconds / 1000;
        std::vector<float> samples(size_t(frames) * spec.channels);
        // Times count samples, so that they do not jitter with the reads, but follow the clock
        // where the server delivered in a burst or lost sound.
        qint64 firstTime = -1;
        qint64 framesRead = 0;
        const auto timeAfter = [&](qint64 frameCount) {
            return firstTime + frameCount * 1'000'000 / spec.rate;
        };
        while (true) {
            const qint64 stop = stopAt;
            if (stop != 0 && (firstTime < 0 || timeAfter(framesRead) >= stop ||
                              AudioSource::now() > stop + drainMicroseconds))
                break;
            int code = 0;
            if (pa_simple_read(connection, samples.data(), samples.size() * sizeof(float), &code) < 0) {
                std::lock_guard lock(mutex);
                if (!closed && stopAt == 0 && onError)
                    onError(Error{QStringLiteral("Stopped recording %1: %2")
                                      .arg(deviceName(device), QString::fromUtf8(pa_strerror(code)))});
                break;
            }
            const qint64 latency = qint64(pa_simple_get_latency(connection, &code));
            const qint64 measured = AudioSource::now() - latency - qint64(frames) * 1'000'000 / spec.rate;
            if (firstTime < 0 || std::abs(measured - timeAfter(framesRead)) > resyncMicroseconds)
                firstTime = measured - framesRead * 1'000'000 / spec.rate;
            std::lock_guard lock(mutex);
            if (closed) break;
            onBuffer(samples.data(), frames, timeAfter(framesRead));
            framesRead += frames;
        }
        std::lock_guard lock(mutex);
        done = true;
        ended.notify_all();
    }
};

class PulseAudioSource final : public AudioSource {
public:
    ~PulseAudioSource() override { stop(); }

    Result<bool> start(const AudioSourceSettings& settings, BufferHandler onBuffer,
                       ErrorHandler onError) override {
        if (m_reader) return Error{QStringLiteral("The sound is already being recorded")};
        const bool microphone = settings.device == AudioSourceSettings::Device::microphone;
        auto reader = std::make_shared<Reader>();
        reader->spec = {PA_SAMPLE_FLOAT32LE, uint32_t(settings.sampleRate),
                        uint8_t(settings.channels == 1 ? 1 : 2)};
        reader->device = settings.device;
        reader->onBuffer = std::move(onBuffer);
        reader->onError = std::move(onError);
        pa_buffer_attr buffer{};
        buffer.maxlength = uint32_t(-1);
        buffer.fragsize = uint32_t(pa_usec_to_bytes(readMilliseconds * 1000, &reader->spec));
        int code = 0;
        reader->connection =
            pa_simple_new(nullptr, "Pictavia", PA_STREAM_RECORD, microphone ? nullptr : "@DEFAULT_MONITOR@",
                          microphone ? "Microphone" : "System audio", &reader->spec, nullptr, &buffer, &code);
        if (reader->connection == nullptr)
            return Error{
                QStringLiteral("Cannot record %1: %2").arg(deviceName(settings.device), whyNot(code))};
        m_reader = reader;
        m_thread = std::thread([reader] { reader->run(); });
        return true;
    }

    void stopAt(qint64 until) override {
        if (!m_reader) return;
        m_reader->stopAt = until;
        {
            std::unique_lock lock(m_reader->mutex);
            m_reader->ended.wait_for(lock, std::chrono::microseconds(drainMicroseconds + 500'000),
                                     [this] { return m_reader->done; });
            m_reader->closed = true;
        }
        if (m_reader->done)
            m_thread.join();
        else
            m_thread.detach(); // blocked in a read; it ends when the server answers or goes away
        m_reader.reset();
    }

private:
    std::shared_ptr<Reader> m_reader;
    std::thread m_thread;
};

} // namespace

Result<std::unique_ptr<AudioSource>> PulseAudioSources::create() {
    return std::unique_ptr<AudioSource>(std::make_unique<PulseAudioSource>());
}

} // namespace platform::pulse
