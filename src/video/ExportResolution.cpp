#include "video/ExportResolution.h"

#include <algorithm>

namespace ExportResolutions {

QList<ExportResolution> allCases() {
    return {ExportResolution::original, ExportResolution::r1080, ExportResolution::r720,
            ExportResolution::r480};
}

QString raw(ExportResolution resolution) {
    switch (resolution) {
    case ExportResolution::r1080:
        return QStringLiteral("1080p");
    case ExportResolution::r720:
        return QStringLiteral("720p");
    case ExportResolution::r480:
        return QStringLiteral("480p");
    case ExportResolution::original:
        break;
    }
    return QStringLiteral("original");
}

QString label(ExportResolution resolution) {
    return resolution == ExportResolution::original ? QStringLiteral("Original") : raw(resolution);
}

std::optional<ExportResolution> parse(const QString& text) {
    for (ExportResolution resolution : allCases())
        if (text.compare(raw(resolution), Qt::CaseInsensitive) == 0) return resolution;
    return std::nullopt;
}

int longestEdge(ExportResolution resolution) {
    switch (resolution) {
    case ExportResolution::r1080:
        return 1920;
    case ExportResolution::r720:
        return 1280;
    case ExportResolution::r480:
        return 854;
    case ExportResolution::original:
        break;
    }
    return 0;
}

bool supportsHEVC(ExportResolution resolution) {
    return resolution == ExportResolution::original || resolution == ExportResolution::r1080;
}

ExportPreset preset(ExportResolution resolution, RecordingCodec codec) {
    const bool hevc = codec == RecordingCodec::hevc && supportsHEVC(resolution);
    switch (resolution) {
    case ExportResolution::r1080:
        return {QSize(1920, 1080), hevc};
    case ExportResolution::r720:
        return {QSize(1280, 720), false};
    case ExportResolution::r480:
        return {QSize(640, 480), false};
    case ExportResolution::original:
        break;
    }
    return {QSize(), hevc};
}

QSize outputSize(QSize source, const ExportPreset& preset) {
    QSize size = source;
    QSize box = preset.box;
    if (source.height() > source.width()) box.transpose(); // a vertical movie keeps its long edge
    if (!box.isEmpty() && (source.width() > box.width() || source.height() > box.height()))
        size = source.scaled(box, Qt::KeepAspectRatio);
    return {std::max(2, size.width() & ~1), std::max(2, size.height() & ~1)};
}

} // namespace ExportResolutions
