#pragma once

#include <QtGlobal>

#include <cstdint>
#include <memory>
#include <vector>

class ClickHighlighter;
class KeystrokeOverlay;
class WebcamOverlay;

// One companion of a recording on screen; its windows go away with it.
class RecordingOverlayView {
public:
    virtual ~RecordingOverlayView() = default;
    // The windows of this view that belong in the recorded picture (ripples, the keystroke
    // panel), as opposed to our other windows, which every recording leaves out.
    virtual std::vector<uint32_t> windowsInPicture() const { return {}; }
};

// Puts a recording's companions on screen: the program's interface installs the windows
// that draw them; without it (the command line, unit tests) they track but show nothing.
class RecordingOverlayViews {
public:
    virtual ~RecordingOverlayViews() = default;
    virtual std::unique_ptr<RecordingOverlayView> show(ClickHighlighter& highlighter) = 0;
    virtual std::unique_ptr<RecordingOverlayView> show(KeystrokeOverlay& overlay) = 0;
    virtual std::unique_ptr<RecordingOverlayView> show(WebcamOverlay& overlay) = 0;
};
