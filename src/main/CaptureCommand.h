#pragma once

#include "app/PreferenceEnums.h"
#include "capture/OutputPipeline.h"
#include "capture/StillCapture.h"
#include "common/Result.h"

#include <QRectF>
#include <QStringList>

#include <cstdint>
#include <optional>
#include <variant>

// `pictavia capture fullscreen|area|window|scrolling ...`: one capture through the output
// pipeline; prints the file's path.
struct CaptureRequest {
    enum class Kind { fullscreen, area, window, scrolling };
    Kind kind = Kind::fullscreen;
    std::optional<uint32_t> display; // none: the display under the pointer
    QRectF rect;                     // area: points from the display's top-left corner
    bool copyOnly = false;
    std::optional<uint32_t> windowID;
    QString appName; // window: the frontmost window of this application when no id is given
    ScrollAxis axis = ScrollAxis::automatic; // scrolling: of a rectangle, or of the window --id names

    QString usageEvent() const;
};

// The request, or the exit code when the command stops here (--help, a wrong option).
std::variant<int, CaptureRequest> parseCaptureCommand(const QStringList& arguments);

// Grabs and delivers; needs the platform services installed.
Result<OutputPipeline::Delivered> takeCapture(const CaptureRequest& request);

// The same without holding up the caller: grab and encoding on a worker thread.
void takeCapture(const CaptureRequest& request, QObject* receiver, StillCapture::Done done);

// Prints the delivered file or the failure; returns the exit code. A copy-only capture whose
// copy did not take fails (the delivery has said why).
int reportCapture(const Result<OutputPipeline::Delivered>& result, bool copyOnly);

// The whole command in this process. Returns the process exit code.
int runCaptureCommand(const QStringList& arguments);
