#pragma once

#include "agents/tools/CaptureOperations.h"
#include "common/Result.h"

#include <QImage>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

// One call of an image tool from start to finish: open the capture, change it, store the
// result, hand it on. The agent tools read their arguments into these requests; the
// results carry what the tools answer with.
class EditorModel;

namespace ImageEdits {

// How the result is stored and whether the editor opens on it. (The clipboard, the
// thumbnail and copies elsewhere are the shared output step's, in ToolMedia.)
struct Delivery {
    CaptureOperations::SaveMode save = CaptureOperations::SaveMode::New;
    bool openInEditor = false;
    std::optional<QString> format;
};

struct Outcome {
    QJsonObject json; // the capture ("id", "path", ...) and what the tool adds
    QStringList notes;
    QImage image; // the result, for a preview
    QString summary;
};

// An edit made but not stored yet. Preparing reads files and runs recognition and
// background removal, so it may run on a worker thread; storing runs on the main thread.
struct Prepared {
    std::shared_ptr<EditorModel> model; // none when there is nothing to store (a dry run)
    QJsonObject json;                   // what the tool adds to the stored capture's fields
    QStringList notes;
    QString summary;
};

// The operations of annotate_image on the capture at `path`, with the user's `presets`. `coordinates` is
// "pixels" (default), "normalized" or "preview"; `previewScale` is image pixels per preview pixel, by default
// that of the preview agents are shown of the image.
Result<Prepared> prepareAnnotate(const QString& path, const QJsonArray& operations,
                                 const QString& coordinates, std::optional<double> previewScale,
                                 bool keepExisting, const QList<BeautifyPreset>& presets,
                                 const CaptureOperations::TextFinder& finder = {});

// Finds sensitive data (and the texts of `alsoHide`); a dry run only lists it, otherwise
// it is blurred into the pixels. Nothing found leaves nothing to store.
Result<Prepared> prepareRedact(const QString& path, const QStringList& kinds, const QStringList& alsoHide,
                               const QString& style, bool dryRun,
                               const CaptureOperations::TextFinder& finder = {});

Result<Prepared> prepareRemoveBackground(const QString& path,
                                         const CaptureOperations::CutOutOptions& options);

Result<Prepared> prepareBeautify(const QString& path, const CaptureOperations::BeautifyOptions& options);

// Main thread: stores a prepared edit of `path` and hands it on as `delivery` says. A
// prepared edit without a model is answered with its fields alone.
Result<Outcome> store(const Prepared& prepared, const QString& path, const Delivery& delivery);

// Prepare and store in one go, on the main thread.
Result<Outcome> annotate(const QString& path, const QJsonArray& operations, const QString& coordinates,
                         std::optional<double> previewScale, bool keepExisting, const Delivery& delivery,
                         const CaptureOperations::TextFinder& finder = {});
Result<Outcome> redact(const QString& path, const QStringList& kinds, const QStringList& alsoHide,
                       const QString& style, bool dryRun, const Delivery& delivery,
                       const CaptureOperations::TextFinder& finder = {});

// Two or more images in one new capture. `direction` is "vertical" (default) or
// "horizontal"; `fill` a colour or empty for transparent.
Result<Outcome> combine(const QStringList& paths, const QString& direction, double spacing,
                        const QString& fill, const Delivery& delivery);

// Opens a stored result in the editor when `delivery` says; notes say what happened.
QStringList deliver(const CaptureOperations::Saved& saved, const Delivery& delivery);

} // namespace ImageEdits
