#pragma once

#include "capture/CaptureContext.h"
#include "capture/DeliveryOptions.h"
#include "capture/ImageUtils.h"
#include "editor/BeautifyPreset.h"

#include <QImage>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

// Every finished capture leaves through here: it is named, stored in the history, copied,
// saved, confirmed and handed to the post-capture action, as the preferences and the
// per-capture options say. Runs on the main thread.
namespace OutputPipeline {

struct Delivered {
    QString historyFile; // the capture in the history folder
    QString savedFile;   // the copy in the save folder, when one was written
    bool copied = false;
    QString notCopied; // why a copy asked for did not take
    // The file a person or script would look for: the saved copy, else the history file.
    QString file() const { return savedFile.isEmpty() ? historyFile : savedFile; }
};

// None when the capture was discarded (a cancelled name prompt) or could not be stored;
// the user has been told why.
std::optional<Delivered> deliverImage(const QImage& image, double scale, bool copyOnly, bool windowCapture,
                                      const CaptureContext& context, const DeliveryOptions& options = {});

// The same delivery in two halves, so that the work on pixels can leave the main thread:
// what the preferences and options decide (read on the main thread), the downscaled,
// beautified and encoded image (any thread), and the rest of the delivery (main thread).
struct Preparation {
    bool downscale = false;
    std::optional<BeautifyPreset> beautify;
    QString format;
    bool windowCapture = false;
};
struct Prepared {
    QImage image;
    double scale = 1.0;
    ImageUtils::Encoded encoded;
};
Preparation preparationFor(const DeliveryOptions& options, bool windowCapture);
Prepared prepare(const QImage& image, double scale, const Preparation& preparation);
std::optional<Delivered> deliverPrepared(const Prepared& prepared, bool copyOnly,
                                         const CaptureContext& context, const DeliveryOptions& options = {});

// A finished recording in a temporary file: moved into the history, then copied, saved,
// announced and handed to the post-capture action as the preferences (or `options`) say.
// None when it could not be stored; the user has been told why.
std::optional<Delivered> deliverMedia(const QString& tempFile, bool isGIF, const CaptureContext& context,
                                      const DeliveryOptions& options = {});

// Recognised text and barcode payloads.
void deliverText(const QString& text, const QStringList& codes);

// Steps that later subsystems provide. Until they are set, the step is skipped.
struct Hooks {
    // Shows the capture in the quick-access overlay.
    std::function<void(const QString& file, const QImage& image)> showQuickAccess;
    // Shows recognised text and codes in the text result window.
    std::function<void(const QString& text, const QStringList& codes)> showTextResult;
};
void setHooks(Hooks hooks);
// Shows an image in the quick-access overlay now; false when no overlay is installed.
bool showQuickAccess(const QString& file, const QImage& image);

} // namespace OutputPipeline
