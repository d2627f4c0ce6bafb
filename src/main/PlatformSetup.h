#pragma once

#include "common/Result.h"

#include <QString>

#include <optional>

// Installs the platform services of this run.
namespace PlatformSetup {

enum class Presentation {
    Terminal, // messages on stderr, names asked on the terminal
    Windows,  // toast windows and dialogs (shown once a QApplication runs)
    Resident, // as Windows, for the application that keeps running and owns the clipboard
};

// The services that need no display: image codecs, text recognition, barcodes and archives.
void installImageServices();

// Connects to the display and installs the image services, clipboard, sound and presenters.
// Fails with a sentence for the user when there is no display to capture.
Result<bool> install(Presentation presentation);

// The flows whose platform pieces one backend has and another may not have yet.
enum class Flow { windowList, windowCapture, scrollingCapture };

// Why this run's backend cannot carry out `flow`; nullopt where it can.
std::optional<QString> notAvailable(Flow flow);

} // namespace PlatformSetup
