#include "SoundServer.h"

#include "WaitUntil.h"

#include <QFile>
#include <QStandardPaths>

#include <cmath>
#include <complex>
#include <cstring>

namespace testsupport {

namespace {

constexpr int sampleRate = 48'000;

std::string socketOf(const QTemporaryDir& dir) {
    return dir.path().toStdString() + "/native";
}

} // namespace

std::unique_ptr<SoundServer> SoundServer::start() {
    if (QStandardPaths::findExecutable(QStringLiteral("pulseaudio")).isEmpty()) return nullptr;
    std::unique_ptr<SoundServer> server(new SoundServer);
    const std::string dir = server->m_dir.path().toStdString();
    const Environment environment{{"PULSE_RUNTIME_PATH", dir}, {"HOME", dir}, {"XDG_CONFIG_HOME", dir}};
    server->m_server = ChildProcess::start(
        "pulseaudio",
        {"-n", "--daemonize=no", "--exit-idle-time=-1", "--disable-shm=yes", "--log-target=stderr",
         "--log-level=0", "-L", "module-null-sink sink_name=speakers", "-L",
         "module-null-sink sink_name=micfeed", "-L",
         "module-native-protocol-unix auth-anonymous=1 socket=" + socketOf(server->m_dir), "-L",
         "module-default-device-restore", "-L", "module-always-sink"},
        {.environment = environment,
         .out = ChildProcess::Stream::Discard,
         .err = ChildProcess::Stream::Discard});
    if (!waitUntil([&] { return QFile::exists(QString::fromStdString(socketOf(server->m_dir))); },
                   std::chrono::seconds(10)))
        return nullptr;
    // The microphone is the feed's monitor.
    auto env = server->environment();
    env.insert(env.end(), environment.begin(), environment.end());
    auto setSource =
        ChildProcess::start("pactl", {"set-default-source", "micfeed.monitor"}, {.environment = env});
    if (setSource->finish(std::chrono::seconds(10)).exitCode != 0) return nullptr;
    auto setSink = ChildProcess::start("pactl", {"set-default-sink", "speakers"}, {.environment = env});
    if (setSink->finish(std::chrono::seconds(10)).exitCode != 0) return nullptr;
    return server;
}

SoundServer::~SoundServer() {
    m_players.clear();
    if (m_server) m_server->stop();
}

Environment SoundServer::environment() const {
    return {{"PULSE_SERVER", "unix:" + socketOf(m_dir)}};
}

void SoundServer::playTone(const std::string& sink, double hertz, double seconds) {
    std::string samples(size_t(seconds * sampleRate) * sizeof(float), '\0');
    for (size_t i = 0; i < samples.size() / sizeof(float); ++i) {
        const float value = float(0.5 * std::sin(2 * M_PI * hertz * double(i) / sampleRate));
        std::memcpy(samples.data() + i * sizeof(float), &value, sizeof(float));
    }
    const std::string file = m_dir.path().toStdString() + "/" + sink + ".raw";
    QFile out(QString::fromStdString(file));
    if (!out.open(QIODevice::WriteOnly)) return;
    out.write(samples.data(), qint64(samples.size()));
    out.close();
    m_players.push_back(
        ChildProcess::start("pacat",
                            {"--playback", "--device=" + sink, "--format=float32le", "--rate=48000",
                             "--channels=1", "--raw", file},
                            {.environment = environment(), .out = ChildProcess::Stream::Discard}));
}

void SoundServer::playFile(const std::string& sink, const std::string& file) {
    m_players.push_back(
        ChildProcess::start("paplay", {"--device=" + sink, file},
                            {.environment = environment(), .out = ChildProcess::Stream::Discard}));
}

std::vector<float> audioTrack(const std::string& movie, int track) {
    auto ffmpeg = ChildProcess::start("ffmpeg",
                                      {"-v", "error", "-i", movie, "-map", "0:a:" + std::to_string(track),
                                       "-ac", "1", "-ar", "48000", "-f", "f32le", "-"},
                                      {});
    const ProcessOutput out = ffmpeg->finish(std::chrono::seconds(60));
    std::vector<float> samples(out.out.size() / sizeof(float));
    if (!samples.empty()) std::memcpy(samples.data(), out.out.data(), samples.size() * sizeof(float));
    return samples;
}

double dominantFrequency(const std::vector<float>& samples) {
    std::size_t n = 1;
    while (n * 2 <= samples.size() && n < (std::size_t(1) << 15))
        n *= 2;
    if (n < 1024) return 0;
    const std::size_t offset = (samples.size() - n) / 2;
    std::vector<std::complex<double>> x(n);
    for (std::size_t i = 0; i < n; ++i) {
        const double window = 0.5 - 0.5 * std::cos(2 * M_PI * double(i) / double(n - 1)); // Hann
        x[i] = samples[offset + i] * window;
    }
    // Iterative radix-2 FFT.
    for (std::size_t i = 1, j = 0; i < n; ++i) {
        std::size_t bit = n >> 1;
        for (; (j & bit) != 0; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j) std::swap(x[i], x[j]);
    }
    for (std::size_t length = 2; length <= n; length <<= 1) {
        const std::complex<double> step = std::polar(1.0, -2 * M_PI / double(length));
        for (std::size_t i = 0; i < n; i += length) {
            std::complex<double> w = 1;
            for (std::size_t k = 0; k < length / 2; ++k, w *= step) {
                const auto even = x[i + k];
                const auto odd = x[i + k + length / 2] * w;
                x[i + k] = even + odd;
                x[i + k + length / 2] = even - odd;
            }
        }
    }
    std::size_t peak = 1;
    for (std::size_t i = 1; i < n / 2; ++i)
        if (std::abs(x[i]) > std::abs(x[peak])) peak = i;
    return double(peak) * sampleRate / double(n);
}

} // namespace testsupport
