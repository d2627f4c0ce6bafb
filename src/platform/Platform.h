#pragma once

#include "platform/Archiver.h"
#include "platform/AudioSource.h"
#include "platform/Camera.h"
#include "platform/Clipboard.h"
#include "platform/DocumentReader.h"
#include "platform/FrameStream.h"
#include "platform/GifWriter.h"
#include "platform/GlobalHotkeys.h"
#include "platform/ImageCodecs.h"
#include "platform/InputMonitor.h"
#include "platform/MediaReader.h"
#include "platform/MovieExporter.h"
#include "platform/MoviePlayer.h"
#include "platform/MovieRewriter.h"
#include "platform/MovieSound.h"
#include "platform/MovieWriter.h"
#include "platform/NamePrompt.h"
#include "platform/OwnWindows.h"
#include "platform/ScreenBackend.h"
#include "platform/ScrollSynthesizer.h"
#include "platform/SleepGuard.h"
#include "platform/SoundPlayer.h"
#include "platform/SpeechRecognizer.h"
#include "platform/SubjectLifter.h"
#include "platform/TextRecognition.h"
#include "platform/ToastPresenter.h"

#include <memory>

namespace platform {

// The platform services of this run. The program's start-up installs the real ones once;
// unit tests install fakes. Subsystems reach the platform only through here.
struct Services {
    std::unique_ptr<ScreenBackend> screen;
    std::unique_ptr<ImageCodecs> codecs;
    std::unique_ptr<Clipboard> clipboard;
    std::unique_ptr<SoundPlayer> sound;
    std::unique_ptr<ToastPresenter> toasts;
    std::unique_ptr<NamePrompt> namePrompt;
    std::unique_ptr<GlobalHotkeys> hotkeys;
    std::unique_ptr<DesktopCover> desktopCover;
    std::unique_ptr<TextRecognitionEngine> textRecognition;
    std::unique_ptr<BarcodeReader> barcodes;
    std::unique_ptr<SubjectLifter> subjectLifter;
    std::unique_ptr<Archiver> archiver;
    std::unique_ptr<MediaReader> media;
    std::unique_ptr<DocumentReader> documents;
    std::unique_ptr<GifWriter> gifs;
    std::unique_ptr<MovieWriter> movies;
    std::unique_ptr<FrameStreams> frameStreams;
    std::unique_ptr<OwnWindows> ownWindows;
    std::unique_ptr<AudioSources> audioSources;
    std::unique_ptr<SleepGuard> sleepGuard;
    std::unique_ptr<InputMonitors> inputMonitors;
    std::unique_ptr<Cameras> cameras;
    std::unique_ptr<ScrollSynthesizer> scrollSynthesizer;
    std::unique_ptr<MovieRewriter> movieRewriter;
    std::unique_ptr<MovieExporter> movieExporter;
    std::unique_ptr<MoviePlayers> moviePlayers;
    std::unique_ptr<MovieSound> movieSound;
    std::unique_ptr<VoiceIsolator> voiceIsolator;
    std::unique_ptr<SpeechRecognizer> speech;
};

// The installed services. Members are null until installed: callers check.
Services& services();

// Replaces the services; members left null keep the previous ones.
void install(Services replacement);

} // namespace platform
