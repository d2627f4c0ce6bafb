#include "video/VideoExport.h"

#include "app/Prefs.h"
#include "platform/Platform.h"
#include "recording/GIFEncoder.h"
#include "video/StudioFrameLayers.h"
#include "video/StudioScene.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>

namespace VideoExport {

namespace {

QString temporaryFile(const QString& extension) {
    return QDir::temp().filePath(QStringLiteral("pictavia-export-%1.%2")
                                     .arg(QUuid::createUuid().toString(QUuid::WithoutBraces), extension));
}

Result<platform::MediaInfo> infoOf(const QString& url) {
    auto& media = platform::services().media;
    if (!media) return Error{QStringLiteral("Reading movies is not available.")};
    return media->info(url);
}

bool drawsThrough(const std::shared_ptr<const StudioScene>& scene) {
    return scene && scene->isStyled();
}

// How far [start, end) is at `time`, 0...1.
double fraction(double time, double start, double end) {
    return end > start ? std::clamp((time - start) / (end - start), 0.0, 1.0) : 0.0;
}

} // namespace

Result<QString> exportTrimmed(const QString& url, const TrimOptions& options, const Progress& progress) {
    auto& exporter = platform::services().movieExporter;
    if (!exporter) return Error{QStringLiteral("Exporting movies is not available.")};
    const bool styled = drawsThrough(options.studio);
    QSize frame;
    if (styled) {
        frame = options.studio->frameSize();
    } else {
        const auto info = infoOf(url);
        if (!info) return info.error();
        frame = info->size;
    }
    platform::ExportRequest request;
    request.source = url;
    request.destination = temporaryFile(QStringLiteral("mp4"));
    request.start = std::max(options.start, 0.0);
    request.end = options.end;
    request.size = ExportResolutions::outputSize(frame, options.preset);
    request.hevc = options.preset.hevc;
    request.mute = options.mute;
    request.volume = std::clamp(options.volume, 0.0, 2.0);
    request.mono = options.mono;
    platform::MovieExporter::Draw draw;
    std::optional<StudioFrameLayers> layers;
    if (styled) {
        const StudioScene& scene = *options.studio;
        // The camera is read alongside only where the look shows it.
        if (scene.inputs().hasCamera && scene.style().camera && QFileInfo(options.webcam).isFile())
            request.camera = options.webcam;
        layers.emplace(scene);
        draw = [&scene](QImage& target, const QImage& picture, double time, const QImage& camera) {
            scene.render(target, picture, time, camera);
        };
    }
    auto* layered = dynamic_cast<platform::LayeredMovieExporter*>(exporter.get());
    const auto written = layers && layered ? layered->exportLayered(request, *layers, progress)
                                           : exporter->exportMovie(request, draw, progress);
    if (!written) {
        QFile::remove(request.destination);
        return written.error();
    }
    return request.destination;
}

Result<QString> gifFrom(const QString& url, double start, double end, int fps, int maxWidth,
                        GIFQuality quality, std::shared_ptr<const StudioScene> studio,
                        const Progress& progress) {
    auto& exporter = platform::services().movieExporter;
    auto& gifs = platform::services().gifs;
    if (!exporter || !gifs) return Error{QStringLiteral("Exporting GIFs is not available.")};
    if (fps <= 0) fps = Prefs::integer(QStringLiteral("gifFPS"));
    if (maxWidth <= 0) maxWidth = Prefs::integer(QStringLiteral("gifMaxWidth"));
    fps = std::clamp(fps, 1, 50);
    maxWidth = std::max(maxWidth, 16);
    const auto info = infoOf(url);
    if (!info) return info.error();
    start = std::max(start, 0.0);
    const double until = end >= 0 && (info->duration <= 0 || end < info->duration) ? end : info->duration;
    const bool styled = drawsThrough(studio);
    QSize size = styled ? studio->frameSize() : info->size;
    if (size.width() > maxWidth)
        size =
            QSize(maxWidth, std::max(2, int(std::lround(size.height() * double(maxWidth) / size.width()))));

    const QString destination = temporaryFile(QStringLiteral("gif"));
    auto created = gifs->create(destination, size);
    if (!created) return created.error();
    std::unique_ptr<platform::GifFile> file = std::move(created).value();
    const int delay = int(std::lround(100.0 / fps));
    const int levels = GIFEncoder::levels(quality);
    QImage canvas(size, QImage::Format_RGB32);
    Error failure;
    bool failed = false;
    const auto sampled =
        exporter->sampleFrames(url, start, end, fps, [&](const QImage& picture, double time) {
            QImage frame;
            if (styled) {
                studio->render(canvas, picture, time);
                frame = canvas;
            } else {
                frame = picture.size() == size
                            ? picture
                            : picture.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
            }
            if (levels > 0) frame = GIFEncoder::posterized(frame, levels);
            if (const auto added = file->add(frame, delay); !added) {
                failure = added.error();
                failed = true;
                return false;
            }
            return !progress || progress(fraction(time, start, until));
        });
    Result<bool> finished = sampled;
    if (failed) finished = failure;
    if (finished) finished = file->finish();
    file.reset(); // an unfinished GIF removes itself
    if (!finished) {
        QFile::remove(destination);
        return finished.error();
    }
    if (progress) progress(1.0);
    return destination;
}

Result<bool> downmixToMono(const QString& url) {
    auto& exporter = platform::services().movieExporter;
    if (!exporter) return Error{QStringLiteral("Exporting movies is not available.")};
    const QFileInfo info(url);
    // Beside the file, so the finished one replaces it in one step.
    const QString temporary =
        info.dir().filePath(QStringLiteral(".pictavia-mono-%1.%2")
                                .arg(QUuid::createUuid().toString(QUuid::WithoutBraces), info.suffix()));
    const auto mixed = exporter->downmixToMono(url, temporary);
    if (!mixed) {
        QFile::remove(temporary);
        return mixed.error();
    }
    if (std::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(url).constData()) != 0) {
        QFile::remove(temporary);
        return Error{QStringLiteral("Cannot replace “%1” with its one-channel sound.").arg(info.fileName())};
    }
    return true;
}

} // namespace VideoExport
