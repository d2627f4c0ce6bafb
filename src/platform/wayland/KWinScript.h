#pragma once

#include "common/Result.h"

#include <QString>

#include <chrono>

namespace platform::wayland {

// Whether KWin runs on this session's bus and takes scripts (org.kde.KWin's /Scripting).
// Asked once a process.
bool kwinScriptingOffered();

// Runs `body`, JavaScript for KWin's scripting interface, once inside KWin and returns the
// text it hands to `sendReply(text)`, a function defined for it. The script is loaded under a
// name of its own, run, and unloaded again whatever happened. Fails with a sentence where
// KWin cannot be reached, refuses the script, the script stops at an error (KWin's message is
// in the sentence) or sends nothing within `timeout`. Blocks the
// calling thread, which must be a Qt thread: the answer arrives through its event loop.
Result<QString> runKWinScript(const QString& body, std::chrono::milliseconds timeout);

} // namespace platform::wayland
