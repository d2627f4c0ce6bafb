#include "recording/RecordingOptions.h"

#include "app/Prefs.h"

#include <algorithm>
#include <cmath>

namespace {

int longerSideCap(RecordingResolution resolution) {
    switch (resolution) {
    case RecordingResolution::native:
        break;
    case RecordingResolution::uhd:
        return 3840;
    case RecordingResolution::fullHD:
        return 1920;
    case RecordingResolution::hd:
        return 1280;
    }
    return 0;
}

} // namespace

RecordingOptions RecordingOptions::fromPreferences() {
    const auto flag = [](const char* key) { return Prefs::flag(QLatin1String(key)); };
    RecordingOptions options;
    options.fps = std::max(1, Prefs::integer(QStringLiteral("recFPS")));
    options.gifFPS = std::max(1, Prefs::integer(QStringLiteral("gifFPS")));
    options.gifMaxWidth = std::max(200, Prefs::integer(QStringLiteral("gifMaxWidth")));
    options.gifQuality = Prefs::gifQuality();
    options.showCursor = flag("recShowCursor");
    options.showClicks = flag("recShowClicks");
    options.showKeystrokes = flag("recShowKeystrokes");
    options.microphone = flag("recMic");
    options.systemAudio = flag("recSystemAudio");
    options.webcam = flag("recWebcam");
    options.monoAudio = flag("recMonoAudio");
    options.presenterOverlay = flag("recPresenterOverlay");
    options.maxResolution = Prefs::recMaxResolution();
    options.codec = Prefs::recCodec();
    options.studio = flag("recStudio");
    options.cleanVoice = flag("recCleanVoice");
    options.openEditorAfterStudio = true;
    return options;
}

QSize RecordingOptions::recordingSize(QSize sourcePixels, bool gif) const {
    double width = sourcePixels.width();
    double height = sourcePixels.height();
    if (gif) {
        const double limit = gifMaxWidth * (gifQuality == GIFQuality::small ? 0.75 : 1.0);
        if (width > limit) {
            height *= limit / width;
            width = limit;
        }
    } else if (const int cap = longerSideCap(maxResolution); cap > 0) {
        const double longer = std::max(width, height);
        if (longer > cap) {
            width *= cap / longer;
            height *= cap / longer;
        }
    }
    const auto even = [](double side) { return std::max(2, int(side) / 2 * 2); };
    return {even(width), even(height)};
}

qint64 RecordingOptions::videoBitRate(QSize size) const {
    double rate = double(size.width()) * size.height() * fps * 0.09;
    if (codec == RecordingCodec::hevc) rate *= 0.6;
    return std::clamp(qint64(std::llround(rate)), qint64(1'500'000), qint64(60'000'000));
}

int RecordingOptions::keyFrameInterval() const {
    return std::max(2 * fps, 30);
}
