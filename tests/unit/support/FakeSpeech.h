#pragma once

#include "platform/Platform.h"

#include <QStringList>

#include <chrono>
#include <optional>
#include <thread>

namespace testsupport {

// A recogniser that hears the words a test gives it, whatever the sound, or fails as told.
// Its fields are set before recognition starts: recognize() runs on a worker thread.
class FakeSpeechRecognizer : public platform::SpeechRecognizer {
public:
    QStringList known{QStringLiteral("en-US"), QStringLiteral("de-DE")};
    QStringList installed{QStringLiteral("en-US")};
    QList<platform::HeardWord> words;
    std::optional<Error> failure;
    bool untilCancelled = false; // keeps listening (up to 5 s) until its caller cancels
    QStringList heardIn;         // the language of each call

    QStringList knownLanguages() override { return known; }
    QStringList onDeviceLanguages() override { return installed; }
    QString howToAdd(const QString& language) override {
        return QStringLiteral("Install the package for %1.").arg(language);
    }
    int sampleRate() override { return 16000; }
    Result<QList<platform::HeardWord>> recognize(const std::vector<float>&, const QString& language,
                                                 const Progress& progress) override {
        heardIn << language;
        for (int waited = 0; untilCancelled && waited < 1000; ++waited) {
            if (progress && !progress(0.5)) return Error{QStringLiteral("Cancelled."), {}, Cancelled};
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        if (progress && !progress(0.5)) return Error{QStringLiteral("Cancelled."), {}, Cancelled};
        if (failure) return *failure;
        return words;
    }
};

// Every movie has one second of silence for a sound track.
class FakeMovieSound : public platform::MovieSound {
public:
    Result<int> soundTracks(const QString&) override { return 1; }
    Result<bool> readSound(const QString&, int, int rate, int channels, const Chunk& chunk) override {
        const std::vector<float> second(size_t(rate) * size_t(channels), 0.0f);
        if (!chunk(second.data(), rate)) return Error{QStringLiteral("Cancelled."), {}, Cancelled};
        return true;
    }
    Result<bool> replaceSound(const QString&, const QString&, const QString&, int, const Transform&,
                              const Progress&) override {
        return Error{QStringLiteral("Not in this fake.")};
    }
};

// Installs both for the life of the object, and takes them away after.
class FakeSpeech {
public:
    FakeSpeech() {
        platform::Services services;
        auto engine = std::make_unique<FakeSpeechRecognizer>();
        recognizer = engine.get();
        services.speech = std::move(engine);
        services.movieSound = std::make_unique<FakeMovieSound>();
        platform::install(std::move(services));
    }
    ~FakeSpeech() {
        platform::services().speech.reset();
        platform::services().movieSound.reset();
    }
    FakeSpeech(const FakeSpeech&) = delete;
    FakeSpeech& operator=(const FakeSpeech&) = delete;

    FakeSpeechRecognizer* recognizer = nullptr;
};

} // namespace testsupport
