#pragma once

#include "ChildProcess.h"

#include <QTemporaryDir>

#include <memory>
#include <string>
#include <vector>

namespace testsupport {

// A private PulseAudio server with two silent outputs: "speakers", the default output whose
// monitor is what a recording takes as system audio, and "micfeed", whose monitor is the
// default input and so stands in for a microphone. Tones played into either are heard by a
// recording as they would be from real devices. Stopped by pid when destroyed.
class SoundServer {
public:
    // Null when pulseaudio is not installed or does not come up.
    static std::unique_ptr<SoundServer> start();
    ~SoundServer();

    // What a client needs to reach this server.
    Environment environment() const;
    // Plays a sine tone at `hertz` into `sink` for `seconds`, in the background.
    void playTone(const std::string& sink, double hertz, double seconds);
    // Plays a sound file (WAV) into `sink`, in the background.
    void playFile(const std::string& sink, const std::string& file);

private:
    SoundServer() = default;

    QTemporaryDir m_dir;
    std::unique_ptr<ChildProcess> m_server;
    std::vector<std::unique_ptr<ChildProcess>> m_players;
};

// The samples of one audio track of a movie, mono at 48 kHz, decoded by ffmpeg.
std::vector<float> audioTrack(const std::string& movie, int track);
// The strongest frequency in `samples` (48 kHz), by FFT over the middle of them.
double dominantFrequency(const std::vector<float>& samples);

} // namespace testsupport
