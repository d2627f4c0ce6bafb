#pragma once

#include "capture/CaptureContext.h"
#include "common/Result.h"
#include "editor/BeautifyPreset.h"
#include "editor/EditorTypes.h"
#include "text/SensitiveHit.h"
#include "text/TextBox.h"

#include <QColor>
#include <QImage>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

class EditorModel;

// What the image tools do to captures, without the agent plumbing: open a capture for
// editing, store an edited one in the history (a new capture with its project, or in place
// of the original), redact, cut out, beautify, combine and export. Main thread.
namespace CaptureOperations {

// A capture as the tools report it.
struct Saved {
    QString id;   // the file name in the history folder
    QString path; // absolute
    int width = 0;
    int height = 0;
    qint64 bytes = 0;
    QJsonObject toJson() const; // "id", "path", "width", "height", "bytes"
};
Saved describe(const QString& path);

// An editor model of the capture with its editable annotations, when it has a project and
// `keepExisting` is set; the plain pixels otherwise.
Result<std::unique_ptr<EditorModel>> openForEditing(const QString& path, bool keepExisting = true);

enum class SaveMode { New, Replace };
// "new" or "replace"; empty text is "new"; none for anything else.
std::optional<SaveMode> saveModeNamed(const QString& name);

// Renders the model and stores it. New: a new history file in the user's image format,
// named after the source with " edited", indexed, with the model's project beside it.
// Replace: the source file is overwritten in its own format and its project updated; only
// captures in the history folder can be replaced.
Result<Saved> saveEdited(EditorModel& model, const QString& sourcePath, SaveMode mode,
                         const std::optional<QString>& format = std::nullopt);

// Stores finished pixels as a new capture without a project.
Result<Saved> storeNew(const QImage& image, double scale, const QString& baseName,
                       const std::optional<QString>& format = std::nullopt,
                       const CaptureContext& context = {});

// --- Redaction ----------------------------------------------------------------------------------

struct Finding {
    QString kind; // a SensitiveScanner kind, or "text" for a named text
    QString sample;
    QRectF rect;
};
using TextFinder = std::function<QList<TextBox>(const QString& phrase, const QImage& image)>;
// What the scanner finds, limited to `kinds` when given (unknown kinds are an error), plus
// every occurrence of each text in `alsoHide`.
Result<QList<Finding>> findSensitive(const QImage& image, const QStringList& kinds,
                                     const QStringList& alsoHide, const TextFinder& finder = {});
// Blurs the boxes into the base image itself, so nothing of them survives in the project.
void burnIn(EditorModel& model, const QList<Finding>& findings, BlurStyle style);
QJsonObject toJson(const Finding& finding);

// --- Background removal ------------------------------------------------------------------------

struct CutOutOptions {
    QString background = QStringLiteral("transparent"); // transparent, a style, a colour
    QImage backgroundImage;                             // another capture behind the subject
    double padding = 0;                                 // points
    double cornerRadius = 0;                            // points
    bool shadow = true;
    bool cropToSubject = false;
};
// The subject lifted by the platform's lifter, then placed as the options say. The model's
// image becomes the cut-out; styles go on as beautify settings so the result stays editable.
Result<bool> removeBackground(EditorModel& model, const CutOutOptions& options);
// The smallest rectangle holding every pixel that is not fully transparent.
QRect opaqueBounds(const QImage& image);

// --- Beautify ----------------------------------------------------------------------------------

struct BeautifyOptions {
    std::optional<QString> preset;
    std::optional<QString> background; // a style, "desktop" or "none"
    std::optional<double> padding;
    std::optional<double> cornerRadius;
    std::optional<bool> windowShadow;
    // The user's presets and the active one, read on the main thread: the preset store
    // belongs to it, and the edit itself runs on a worker.
    QList<BeautifyPreset> presets;
    BeautifyPreset active;

    // Options with the preset store's current presets.
    static BeautifyOptions withPresets();
};
Result<bool> beautify(EditorModel& model, const BeautifyOptions& options);

// --- Combine -----------------------------------------------------------------------------------

// The images in a row or column, centred across, `spacing` pixels apart on `fill`
// (transparent when none).
QImage combine(const QList<QImage>& images, bool vertical, double spacing, const std::optional<QColor>& fill);

// --- Export ------------------------------------------------------------------------------------

struct ExportRequest {
    QStringList files;
    QString destination; // a folder; for pdf and zip also a file path
    QString format;      // empty (as they are), png, jpeg, heic, webp, pdf, zip
    std::optional<int> maxWidth;
    bool overwrite = false;
};
struct Exported {
    QStringList paths;
    int items = 0; // files written, or pages / entries of the one PDF / ZIP
};
Result<Exported> exportCaptures(const ExportRequest& request);

} // namespace CaptureOperations
