#include "platform/Platform.h"

namespace platform {

namespace {
Services& instance() {
    static Services s;
    return s;
}

template <typename T> void replaceIfGiven(std::unique_ptr<T>& slot, std::unique_ptr<T>& given) {
    if (given) slot = std::move(given);
}
} // namespace

Services& services() {
    return instance();
}

void install(Services replacement) {
    Services& s = instance();
    replaceIfGiven(s.screen, replacement.screen);
    replaceIfGiven(s.codecs, replacement.codecs);
    replaceIfGiven(s.clipboard, replacement.clipboard);
    replaceIfGiven(s.sound, replacement.sound);
    replaceIfGiven(s.toasts, replacement.toasts);
    replaceIfGiven(s.namePrompt, replacement.namePrompt);
    replaceIfGiven(s.hotkeys, replacement.hotkeys);
    replaceIfGiven(s.desktopCover, replacement.desktopCover);
    replaceIfGiven(s.textRecognition, replacement.textRecognition);
    replaceIfGiven(s.barcodes, replacement.barcodes);
    replaceIfGiven(s.subjectLifter, replacement.subjectLifter);
    replaceIfGiven(s.archiver, replacement.archiver);
    replaceIfGiven(s.media, replacement.media);
    replaceIfGiven(s.documents, replacement.documents);
    replaceIfGiven(s.gifs, replacement.gifs);
    replaceIfGiven(s.movies, replacement.movies);
    replaceIfGiven(s.frameStreams, replacement.frameStreams);
    replaceIfGiven(s.ownWindows, replacement.ownWindows);
    replaceIfGiven(s.audioSources, replacement.audioSources);
    replaceIfGiven(s.sleepGuard, replacement.sleepGuard);
    replaceIfGiven(s.inputMonitors, replacement.inputMonitors);
    replaceIfGiven(s.cameras, replacement.cameras);
    replaceIfGiven(s.scrollSynthesizer, replacement.scrollSynthesizer);
    replaceIfGiven(s.movieRewriter, replacement.movieRewriter);
    replaceIfGiven(s.movieExporter, replacement.movieExporter);
    replaceIfGiven(s.moviePlayers, replacement.moviePlayers);
    replaceIfGiven(s.movieSound, replacement.movieSound);
    replaceIfGiven(s.voiceIsolator, replacement.voiceIsolator);
    replaceIfGiven(s.speech, replacement.speech);
}

} // namespace platform
