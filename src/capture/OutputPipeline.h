#pragma once

#include "capture/CaptureContext.h"
#include "capture/DeliveryOptions.h"

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
    // The file a person or script would look for: the saved copy, else the history file.
    QString file() const { return savedFile.isEmpty() ? historyFile : savedFile; }
};

// None when the capture was discarded (a cancelled name prompt) or could not be stored;
// the user has been told why.
std::optional<Delivered> deliverImage(const QImage& image, double scale, bool copyOnly, bool windowCapture,
                                      const CaptureContext& context, const DeliveryOptions& options = {});

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
