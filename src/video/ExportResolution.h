#pragma once

#include "app/PreferenceEnums.h"

#include <QList>
#include <QSize>
#include <QString>

// The sizes a movie is exported at, in menu order.
enum class ExportResolution { original, r1080, r720, r480 };

// What an export writes: frames fitted into `box` (an empty box keeps the source's size)
// with H.264 or, where the size allows it, HEVC.
struct ExportPreset {
    QSize box;
    bool hevc = false;
    bool operator==(const ExportPreset&) const = default;
};

namespace ExportResolutions {

QList<ExportResolution> allCases();
QString raw(ExportResolution resolution);   // "original", "1080p", "720p", "480p"
QString label(ExportResolution resolution); // "Original", "1080p", ...
std::optional<ExportResolution> parse(const QString& raw);
int longestEdge(ExportResolution resolution); // 0 for the original
bool supportsHEVC(ExportResolution resolution);
// HEVC only at the original size and 1080p; smaller sizes are written as H.264.
ExportPreset preset(ExportResolution resolution, RecordingCodec codec);
// `source` scaled to fit `preset`'s box (turned upright for a vertical source), never
// enlarged, both sides even.
QSize outputSize(QSize source, const ExportPreset& preset);

} // namespace ExportResolutions
