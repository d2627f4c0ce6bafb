#pragma once

#include "common/Result.h"

#include <QString>

#include <functional>

// Takes the background noise out of a recording's voice, into a sound file of its own.
namespace VoiceCleaner {

// Whether this machine can clean voices.
bool isAvailable();

// Writes the sound of `movie` (all its tracks mixed), its voice cleaned, to a new work file in
// the temporary folder whose name begins "pictavia-clean-", and gives its path. `progress`
// gets 0...1 and cancels by returning false.
Result<QString> isolate(const QString& movie, const std::function<bool(double)>& progress = {});

} // namespace VoiceCleaner
