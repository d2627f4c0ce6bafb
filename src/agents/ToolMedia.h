#pragma once

#include "agents/AgentAccess.h"
#include "agents/AgentTool.h"

#include <QImage>
#include <QJsonObject>
#include <QString>

// What the image and library tools share: finding the image a call names, the preview an
// agent is allowed to see, and the "output" properties. Functions documented as throwing
// throw ToolError with the sentence for the agent; call them within a tool's run().
namespace ToolMedia {

// The long side of a preview, in pixels: what vision models take without scaling.
constexpr int previewMaxSide = 1568;

struct Source {
    QString file;      // absolute path; empty when the image came from the clipboard
    QString captureId; // the file name when the file is in the history folder
    QImage image;      // null when not loaded
};

// The capture, file or clipboard image named by the `source`/`imageSource` properties
// (with `loadImage`, the picture of the file: see loadImage, `page` picking the page).
// Throws when none is given, the id or path leads nowhere, or there is no picture.
Source resolve(const ToolArgs& args, bool loadImage = true);
// The history file of a capture id (a file name, nothing more); throws when there is none.
QString historyFile(const QString& captureId);
// The picture of a file: an image as it is, page `page` (1 = first) of a PDF or word-processor
// document rendered at 2×, the middle frame of a movie. Throws when there is none.
QImage loadImage(const QString& file, int page = 1);
// Whether `file` is a document or a movie rather than an image.
bool isDocumentOrMovie(const QString& file);

// {"id" (history files only), "path", "bytes", "width", "height"}.
QJsonObject describe(const QString& file, const QImage& image);

// Runs `then` at once when every id is empty (a file outside the history) or one of the
// client's own captures; otherwise behind the "history" gate, asking about `action`.
void withHistoryGate(const ToolContext& context, const QStringList& captureIds, const QString& action,
                     const ToolDone& done, std::function<void()> then);

// Text read from pixels as an agent may receive it: with sensitive data masked when
// `redact` (the user's "hide sensitive data from agents").
QString shownText(const QString& text, bool redact);

// "return_image", default true.
bool wantsImage(const ToolArgs& args);

// Adds what the user lets agents see of `image` to `output`: a preview of at most
// previewMaxSide pixels with sensitive data blurred when asked (full), the recognised
// text with sensitive data masked (textOnly), or nothing (none). Blocks for recognition.
void addPreview(ToolOutput& output, const QImage& image, AgentAccess::ImageSharing sharing, bool redact);
// The same on a worker thread, then answers `done` with the output on the main thread.
// Without `wanted`, answers at once.
void finishWithPreview(ToolOutput output, const QImage& image, bool wanted, const ToolDone& done,
                       AgentAccess& access = AgentAccess::shared());

// The `output` properties for a finished image: copy_to_clipboard, show_thumbnail,
// save_to (a folder, or a path whose extension picks the format). Records what happened in
// `output.json` ("copied", "shown", "saved_to"). Throws when save_to cannot be written.
void deliver(const ToolArgs& args, const QString& file, const QImage& image, ToolOutput& output);

// The usual answer of a tool that leaves an image file: describe() of the file plus
// `fields`, the output properties (see deliver), the capture counted as this session's,
// `summary` for the log and the preview the user allows. Throws before answering when the
// file cannot be read or save_to cannot be written.
void finishImage(const ToolArgs& args, const ToolContext& context, const QString& file,
                 const QJsonObject& fields, const QString& summary, const ToolDone& done);

} // namespace ToolMedia
