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

// Whether windows are picked in the desktop's own window chooser, the compositor listing none.
bool windowsChosenInDesktop();

// Opens that chooser and waits for the user's pick: the number under which the capture and
// recording flows find the window, used once. Blocks the calling thread, which must be a Qt
// thread. Fails with windowNotPicked() where the user closed the chooser.
Result<uint32_t> chooseWindowInDesktop();
QString windowNotPicked();

} // namespace PlatformSetup
