#pragma once

#include "app/PreferenceEnums.h"
#include "common/Result.h"
#include "video/ExportResolution.h"

#include <QString>

#include <functional>
#include <memory>

class StudioScene;

// Writes new movies and GIFs from a recording. Each operation blocks (run it off the GUI
// thread), writes a new temporary file and returns its path for the caller to deliver into
// the history; the recording itself is never changed. A cancel or failure leaves no file.
namespace VideoExport {

// How far the work is, 0...1; returning false cancels it.
using Progress = std::function<bool(double done)>;
// The error code of a cancelled export.
inline constexpr int Cancelled = 3;

struct TrimOptions {
    double start = 0;
    double end = -1; // below 0: to the end
    bool mute = false;
    double volume = 1.0;
    bool mono = false;
    ExportPreset preset;
    std::shared_ptr<const StudioScene> studio; // none: the pictures as they are
    QString webcam;                            // the recording's camera movie, if the look shows it
};

// An MP4 of [start, end) of `url`, at the preset's size and codec, drawn through `studio`.
Result<QString> exportTrimmed(const QString& url, const TrimOptions& options, const Progress& progress = {});

// An animated GIF of [start, end) of `url`: `fps` frames a second (the "gifFPS" preference
// when 0), no wider than `maxWidth` ("gifMaxWidth" when 0), drawn through `studio`.
Result<QString> gifFrom(const QString& url, double start, double end, int fps, int maxWidth,
                        GIFQuality quality, std::shared_ptr<const StudioScene> studio = {},
                        const Progress& progress = {});

// Rewrites the sound of the exported file `url` as one channel, in place.
Result<bool> downmixToMono(const QString& url);

} // namespace VideoExport
