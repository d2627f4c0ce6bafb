#include "capture/OutputPipeline.h"

#include "app/Prefs.h"
#include "app/Toast.h"
#include "capture/FileNamer.h"
#include "capture/HistoryManager.h"
#include "capture/ImageUtils.h"
#include "capture/PostCaptureAction.h"
#include "capture/SaveFolder.h"
#include "editor/Beautifier.h"
#include "editor/PresetStore.h"
#include "platform/Platform.h"
#include "platform/ReportingClipboard.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <cmath>

namespace OutputPipeline {

namespace {

Hooks& hooks() {
    static Hooks h;
    return h;
}

bool choose(const std::optional<bool>& option, const char* preference) {
    return option.value_or(Prefs::flag(QLatin1String(preference)));
}

void playShutter() {
    if (auto& sound = platform::services().sound) sound->playShutter();
}

QString baseName(const QString& fileName) {
    return QFileInfo(fileName).completeBaseName();
}

// A file just stored in the history, told to the index, with the oldest pruned beyond the
// limit; none after a toast saying why it could not be stored.
std::optional<QString> indexed(const Result<QString>& stored, const CaptureContext& context) {
    if (!stored) {
        Toast::show(stored.error().message);
        return std::nullopt;
    }
    HistoryManager::addToIndex(*stored, context);
    HistoryManager::prune(Prefs::integer(QStringLiteral("historyLimit")));
    return *stored;
}

} // namespace

void setHooks(Hooks h) {
    hooks() = std::move(h);
}

bool showQuickAccess(const QString& file, const QImage& image) {
    if (!hooks().showQuickAccess) return false;
    hooks().showQuickAccess(file, image);
    return true;
}

Preparation preparationFor(const DeliveryOptions& options, bool windowCapture) {
    Preparation preparation;
    preparation.downscale = choose(options.downscaleRetina, "downscaleRetina");
    if (choose(options.autoBeautify, "autoBeautify"))
        preparation.beautify = options.preset.value_or(PresetStore::shared().active());
    preparation.format = options.format.value_or(Prefs::text(QStringLiteral("imageFormat")));
    preparation.windowCapture = windowCapture;
    return preparation;
}

Prepared prepare(const QImage& input, double scale, const Preparation& preparation) {
    Prepared prepared{input, scale, {}};
    QImage& image = prepared.image;

    // 1. Downscale a HiDPI capture to its size in points.
    if (preparation.downscale && scale > 1.0) {
        const QSize points(static_cast<int>(std::lround(image.width() / scale)),
                           static_cast<int>(std::lround(image.height() / scale)));
        image = ImageUtils::scaled(image, points);
        prepared.scale = 1.0;
    }

    // 2. Beautify. A window capture keeps its own transparent corners and shadow.
    if (preparation.beautify)
        image = Beautifier::apply(image, prepared.scale, *preparation.beautify, preparation.windowCapture);

    // 3. Encode; a format that cannot be written comes back as PNG.
    prepared.encoded = ImageUtils::encode(image, preparation.format, prepared.scale);
    return prepared;
}

std::optional<Delivered> deliverImage(const QImage& input, double scale, bool copyOnly, bool windowCapture,
                                      const CaptureContext& context, const DeliveryOptions& options) {
    return deliverPrepared(prepare(input, scale, preparationFor(options, windowCapture)), copyOnly, context,
                           options);
}

std::optional<Delivered> deliverPrepared(const Prepared& prepared, bool copyOnly,
                                         const CaptureContext& context, const DeliveryOptions& options) {
    const QImage& image = prepared.image;
    const double scale = prepared.scale;
    const ImageUtils::Encoded& encoded = prepared.encoded;

    // 4. Each name that uses the counter takes the next number.
    const QString counterKey = QStringLiteral("captureCounter");
    const bool usesCounter = Prefs::filenameTemplate().contains(QStringLiteral("{counter}"));
    if (usesCounter) Prefs::sync(); // another Pictavia process may have taken a number
    QString fileName = FileNamer::filename(encoded.format, QDateTime::currentDateTime(), context, scale);
    if (usesCounter) Prefs::setValue(counterKey, Prefs::integer(counterKey) + 1);

    // 5. Name.
    if (!copyOnly && choose(options.askForName, "askForName")) {
        const auto name = FileNamer::askForName(baseName(fileName));
        if (!name) {
            Toast::show(QStringLiteral("Capture discarded"));
            return std::nullopt;
        }
        fileName = *name + u'.' + encoded.format;
    }

    // 6. History. A copy-only capture leaves no file anywhere: the clipboard is all it asked for.
    Delivered delivered;
    if (!copyOnly) {
        const auto stored = indexed(HistoryManager::store(encoded.bytes, fileName), context);
        if (!stored) return std::nullopt;
        delivered.historyFile = *stored;
    }

    // 7. Clipboard, at the image's size in points.
    if (copyOnly || choose(options.copyToClipboard, "copyToClipboard")) {
        if (auto& clipboard = platform::services().clipboard) {
            QImage forClipboard = image;
            forClipboard.setDevicePixelRatio(scale);
            const QByteArray png = encoded.format == u"png" ? encoded.bytes : QByteArray();
            // A clipboard that can fail says why, and nothing claims the copy.
            if (auto* reporting = dynamic_cast<platform::ReportingClipboard*>(clipboard.get())) {
                const auto copied = reporting->copyImage(forClipboard, png);
                delivered.copied = copied.ok();
                if (!copied) {
                    delivered.notCopied =
                        QStringLiteral("Could not copy to the clipboard: ") + copied.error().message;
                    Toast::show(delivered.notCopied);
                }
            } else {
                clipboard->setImage(forClipboard, png);
                delivered.copied = true;
            }
        }
    }

    // 8. Sound.
    if (choose(options.playSound, "captureSound")) playShutter();

    // 9. Confirmation.
    if (options.announcement)
        Toast::show(*options.announcement);
    else if (delivered.copied)
        Toast::show(QStringLiteral("Copied to clipboard"));

    // 10. Save a copy to the save folder.
    if (!copyOnly && choose(options.autoSave, "autoSaveToDisk")) {
        if (const auto saved = SaveFolder::write(encoded.bytes, fileName)) delivered.savedFile = *saved;
    }

    // 11. Quick access, once the overlay provides it.
    if (!copyOnly && choose(options.showQuickAccess, "showQuickAccess") && hooks().showQuickAccess)
        hooks().showQuickAccess(delivered.file(), image);

    // 12. The user's post-capture action, which works on a file.
    if (!copyOnly) PostCaptureAction::run(delivered.file(), PostCaptureAction::imageKind, context);
    return delivered;
}

std::optional<Delivered> deliverMedia(const QString& tempFile, bool isGIF, const CaptureContext& context,
                                      const DeliveryOptions& options) {
    const QString extension = QFileInfo(tempFile).suffix().toLower();
    const QString fileName = FileNamer::filename(extension, QDateTime::currentDateTime(), context, 1.0);
    const auto stored = indexed(HistoryManager::storeFile(tempFile, fileName), context);
    if (!stored) return std::nullopt;
    Delivered delivered;
    delivered.historyFile = *stored;

    // The clipboard carries the file itself.
    if (choose(options.copyToClipboard, "copyToClipboard")) {
        if (auto& clipboard = platform::services().clipboard) {
            clipboard->setFiles({delivered.historyFile});
            delivered.copied = true;
        }
    }
    if (choose(options.autoSave, "autoSaveToDisk")) {
        if (const auto folder = SaveFolder::ready()) {
            const QString saved = FileNamer::uniquePath(*folder, fileName);
            if (QFile::copy(delivered.historyFile, saved))
                delivered.savedFile = saved;
            else
                Toast::show(QStringLiteral("Cannot save a copy to %1").arg(*folder));
        }
    }
    if (choose(options.playSound, "captureSound")) playShutter();
    if (options.announcement) Toast::show(*options.announcement);
    if (choose(options.showQuickAccess, "showQuickAccess") && hooks().showQuickAccess) {
        QImage poster;
        if (auto& media = platform::services().media)
            if (const auto frame = media->frameAt(delivered.historyFile, 0)) poster = *frame;
        hooks().showQuickAccess(delivered.file(), poster);
    }
    PostCaptureAction::run(delivered.file(),
                           isGIF ? PostCaptureAction::gifKind : PostCaptureAction::videoKind, context);
    return delivered;
}

void deliverText(const QString& text, const QStringList& codes) {
    if (Prefs::flag(QStringLiteral("captureSound"))) playShutter();
    if (text.trimmed().isEmpty() && codes.isEmpty()) {
        Toast::show(QStringLiteral("No text found"));
        return;
    }
    if (auto& clipboard = platform::services().clipboard)
        clipboard->setText(text.isEmpty() ? codes.join(u'\n') : text);
    if (hooks().showTextResult) hooks().showTextResult(text, codes);

    QStringList found;
    if (!text.isEmpty()) found << QStringLiteral("Copied %1 characters of text").arg(text.toUcs4().size());
    if (codes.size() == 1)
        found << QStringLiteral("Found a code");
    else if (codes.size() > 1)
        found << QStringLiteral("Found %1 codes").arg(codes.size());
    Toast::show(found.join(QStringLiteral(". ")));
}

} // namespace OutputPipeline
