#pragma once

#include "app/PreferenceEnums.h"
#include "capture/CaptureContext.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>

// The user's own step after a capture: a shell script ("postActionScript", run by
// /bin/sh -c with the file as $1 and in PICTAVIA_FILE) or a shortcut, which on Linux is a
// command on PATH run with the file as its argument. Runs in the background; failures
// are toasts and never undo the capture. Needs a running Qt event loop.
namespace PostCaptureAction {

using Kind = PostActionKind;
using Scope = PostActionScope;

// Product kinds passed as PICTAVIA_KIND.
inline const QString imageKind = QStringLiteral("image");
inline const QString videoKind = QStringLiteral("video");
inline const QString gifKind = QStringLiteral("gif");

bool inScope(Scope scope, const QString& kind);

void run(const QString& file, const QString& kind, const CaptureContext& context);
void recordingStarted();
void recordingStopped();
void runShortcut(const QString& name, const std::optional<QString>& input);

// Starts a process in the background, described in messages as `describedAs`
// ("Command", "Shortcut"), and stops it at the time limit.
void launch(const QString& executable, const QStringList& arguments, const QProcessEnvironment& environment,
            const QString& describedAs);

inline constexpr std::chrono::milliseconds defaultTimeLimit{30'000};
void setTimeLimit(std::chrono::milliseconds limit);

// Processes launched and not yet finished.
int running();
// Runs the event loop until every launched process has ended; for short-lived runs
// such as the command line, which must not exit under a running action.
void waitForAll();

} // namespace PostCaptureAction
