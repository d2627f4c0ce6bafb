#pragma once

#include "app/PreferenceEnums.h"
#include "capture/DeliveryOptions.h"

#include <QSize>

// What one recording is made with, read from the preferences when it starts.
struct RecordingOptions {
    int fps = 30;
    int gifFPS = 10;
    int gifMaxWidth = 1200;
    GIFQuality gifQuality = GIFQuality::balanced;
    bool showCursor = true;
    bool showClicks = true;
    bool showKeystrokes = false;
    bool microphone = false;
    bool systemAudio = true;
    bool webcam = false;
    bool monoAudio = false;
    bool presenterOverlay = true;
    RecordingResolution maxResolution = RecordingResolution::uhd;
    RecordingCodec codec = RecordingCodec::h264;
    bool studio = false;
    bool cleanVoice = true; // level the sound, and clean the voice, once the movie is written
    bool openEditorAfterStudio = true;
    DeliveryOptions delivery; // every field unset: the delivery preferences apply

    static RecordingOptions fromPreferences();

    // The size written for a source of `sourcePixels`: a GIF no wider than its limit, a movie
    // no larger than its resolution cap; both sides even and at least 2.
    QSize recordingSize(QSize sourcePixels, bool gif) const;

    // The video encoder's average bit rate for `size`, in bits a second.
    qint64 videoBitRate(QSize size) const;

    // At most this many frames between two key frames.
    int keyFrameInterval() const;

    // Whether the system pointer is drawn into the frames: a studio movie draws its own.
    bool capturesSystemCursor(bool gif) const { return showCursor && !(studio && !gif); }
};
