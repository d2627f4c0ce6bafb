#include "agents/tools/CaptureOperations.h"

#include "app/Prefs.h"
#include "capture/FileNamer.h"
#include "capture/HistoryManager.h"
#include "capture/ImageUtils.h"
#include "capture/SaveFolder.h"
#include "editor/Annotation.h"
#include "editor/BackgroundStyle.h"
#include "editor/ClipboardOpener.h"
#include "editor/EditorModel.h"
#include "editor/PresetStore.h"
#include "editor/ProjectStore.h"
#include "history/HistoryBatch.h"
#include "history/HistoryRecord.h"
#include "platform/Platform.h"
#include "text/SensitiveScanner.h"
#include "text/TextLocator.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QJsonArray>
#include <QPainter>
#include <QSaveFile>

#include <algorithm>
#include <cmath>

namespace CaptureOperations {

namespace {

bool writeAtomically(const QString& path, const QByteArray& bytes) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) return false;
    file.write(bytes);
    return file.commit();
}

} // namespace

QJsonObject Saved::toJson() const {
    return {{QStringLiteral("id"), id},
            {QStringLiteral("path"), path},
            {QStringLiteral("width"), width},
            {QStringLiteral("height"), height},
            {QStringLiteral("bytes"), double(bytes)}};
}

Saved describe(const QString& path) {
    const QFileInfo info(path);
    Saved saved;
    saved.path = info.absoluteFilePath();
    saved.bytes = info.size();
    saved.id = HistoryManager::captureIdOf(path);
    const QSize size = QImageReader(path).size();
    if (size.isValid()) {
        saved.width = size.width();
        saved.height = size.height();
    } else if (const QImage image = ImageUtils::readFile(path); !image.isNull()) {
        saved.width = image.width();
        saved.height = image.height();
    }
    return saved;
}

Result<std::unique_ptr<EditorModel>> openForEditing(const QString& path, bool keepExisting) {
    if (keepExisting) return ClipboardOpener::modelForFile(path);
    const QImage image = ImageUtils::readFile(path);
    if (image.isNull())
        return Error{
            QStringLiteral("“%1” is not an image Pictavia can read.").arg(QFileInfo(path).fileName())};
    auto model = std::make_unique<EditorModel>(image, ClipboardOpener::scaleOf(image));
    model->sourceURL = path;
    return model;
}

std::optional<SaveMode> saveModeNamed(const QString& name) {
    const QString lower = name.trimmed().toLower();
    if (lower.isEmpty() || lower == u"new") return SaveMode::New;
    if (lower == u"replace") return SaveMode::Replace;
    return std::nullopt;
}

Result<Saved> storeNew(const QImage& image, double scale, const QString& baseName,
                       const std::optional<QString>& format, const CaptureContext& context) {
    if (image.isNull()) return Error{QStringLiteral("There is nothing to save.")};
    QString chosen = Prefs::text(QStringLiteral("imageFormat"));
    if (format) {
        const auto named = ImageUtils::formatNamed(*format);
        if (!named)
            return Error{
                QStringLiteral("Unknown image format “%1”: use png, jpg, heic or webp.").arg(*format)};
        chosen = *named;
    }
    const auto encoded = ImageUtils::encode(image, chosen, scale);
    QString name =
        baseName.isEmpty()
            ? QFileInfo(FileNamer::filename(encoded.format, QDateTime::currentDateTime(), context, scale))
                  .completeBaseName()
            : FileNamer::sanitize(baseName);
    const auto stored = HistoryManager::store(encoded.bytes, name + u'.' + encoded.format);
    if (!stored) return stored.error();
    HistoryManager::addToIndex(*stored, context);
    HistoryManager::prune(Prefs::integer(QStringLiteral("historyLimit")));
    Saved saved = describe(*stored);
    saved.width = image.width();
    saved.height = image.height();
    return saved;
}

Result<Saved> saveEdited(EditorModel& model, const QString& sourcePath, SaveMode mode,
                         const std::optional<QString>& format) {
    const auto image = model.renderFinal();
    if (!image) return Error{QStringLiteral("The edited image is empty.")};
    const QFileInfo source(sourcePath);
    if (mode == SaveMode::Replace) {
        if (HistoryManager::captureIdOf(sourcePath).isEmpty())
            return Error{
                QStringLiteral("Only captures in Pictavia's history can be replaced; use save \"new\" for "
                               "other files.")};
        const auto encoded = ImageUtils::encode(*image, source.suffix().toLower(), model.scale());
        if (!writeAtomically(source.absoluteFilePath(), encoded.bytes))
            return Error{QStringLiteral("Could not write %1.").arg(source.absoluteFilePath())};
        model.sourceURL = source.absoluteFilePath();
        if (!ProjectStore::save(model.makeProject(), model.sourceURL))
            return Error{
                QStringLiteral("The image was saved but its editable project could not be written.")};
        HistoryManager::addToIndex(model.sourceURL, {});
        Saved saved = describe(model.sourceURL);
        saved.width = image->width();
        saved.height = image->height();
        return saved;
    }
    // A new capture with the original's name and " edited"; its project makes it editable.
    QString base = source.completeBaseName();
    if (base.isEmpty()) base = QStringLiteral("Pictavia");
    if (!base.endsWith(u" edited")) base += QStringLiteral(" edited");
    auto stored = storeNew(*image, model.scale(), base, format);
    if (!stored) return stored;
    model.sourceURL = stored->path;
    if (!ProjectStore::save(model.makeProject(), stored->path))
        return Error{QStringLiteral("The image was saved but its editable project could not be written.")};
    return stored;
}

// --- Redaction ----------------------------------------------------------------------------------

QJsonObject toJson(const Finding& finding) {
    return {
        {QStringLiteral("kind"), finding.kind},
        {QStringLiteral("text"), finding.sample},
        {QStringLiteral("rect"), QJsonObject{{QStringLiteral("x"), std::round(finding.rect.x())},
                                             {QStringLiteral("y"), std::round(finding.rect.y())},
                                             {QStringLiteral("width"), std::round(finding.rect.width())},
                                             {QStringLiteral("height"), std::round(finding.rect.height())}}}};
}

Result<QList<Finding>> findSensitive(const QImage& image, const QStringList& kinds,
                                     const QStringList& alsoHide, const TextFinder& finder) {
    for (const QString& kind : kinds)
        if (!SensitiveScanner::kinds().contains(kind))
            return Error{QStringLiteral("Unknown kind “%1”: use %2.")
                             .arg(kind, SensitiveScanner::kinds().join(u", "))};
    QList<Finding> findings;
    for (const SensitiveHit& hit : SensitiveScanner::scan(image))
        if (kinds.isEmpty() || kinds.contains(hit.kind)) findings.append({hit.kind, hit.sample, hit.rect});
    for (const QString& phrase : alsoHide) {
        if (phrase.trimmed().isEmpty()) continue;
        const auto boxes = finder ? finder(phrase, image) : TextLocator::find(phrase, image);
        for (const TextBox& box : boxes)
            findings.append({QStringLiteral("text"), box.text, box.rect});
    }
    return findings;
}

void burnIn(EditorModel& model, const QList<Finding>& findings, BlurStyle style) {
    if (findings.isEmpty()) return;
    QImage image = model.baseImage().convertToFormat(QImage::Format_ARGB32_Premultiplied);
    {
        QPainter painter(&image);
        for (const Finding& finding : findings) {
            const QRect box = finding.rect.adjusted(-3, -3, 3, 3).toAlignedRect().intersected(image.rect());
            if (box.isEmpty()) continue;
            const QImage patch = image.copy(box);
            // Coarse enough that no glyph can be read back from the blocks.
            const double cell = std::max(8.0, box.height() / 2.5);
            const QImage covered = style == BlurStyle::Gaussian
                                       ? ImageUtils::pixelate(ImageUtils::gaussianBlur(patch, cell), cell / 2)
                                       : ImageUtils::pixelate(patch, cell);
            painter.drawImage(box.topLeft(), covered.scaled(box.size()));
        }
    }
    model.applyCutOut(image);
}

// --- Background removal ------------------------------------------------------------------------

QRect opaqueBounds(const QImage& source) {
    const QImage image = source.convertToFormat(QImage::Format_ARGB32);
    int left = image.width(), top = image.height(), right = -1, bottom = -1;
    for (int y = 0; y < image.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            if (qAlpha(line[x]) == 0) continue;
            left = std::min(left, x);
            right = std::max(right, x);
            top = std::min(top, y);
            bottom = std::max(bottom, y);
        }
    }
    if (right < 0) return {};
    return QRect(QPoint(left, top), QPoint(right, bottom));
}

Result<bool> removeBackground(EditorModel& model, const CutOutOptions& options) {
    const auto& lifter = platform::services().subjectLifter;
    if (!lifter) return Error{QStringLiteral("Background removal is not available on this computer.")};
    const auto lifted = lifter->lift(model.baseImage());
    if (!lifted) return lifted.error();
    QImage cutOut = *lifted;
    if (opaqueBounds(cutOut).isEmpty())
        return Error{
            QStringLiteral("No clear subject was found in this image (UI screenshots often have none).")};
    if (options.cropToSubject) cutOut = cutOut.copy(opaqueBounds(cutOut));
    const QString background = options.background.trimmed();
    const QString lower = background.toLower();
    if (!options.backgroundImage.isNull() || (!lower.isEmpty() && lower != u"transparent" &&
                                              lower != u"none" && !Backgrounds::parse(background))) {
        // A colour or another image goes behind the subject in the pixels.
        std::optional<QColor> color;
        if (options.backgroundImage.isNull()) {
            color = QColor::fromString(background.startsWith(u'#') ? background : lower);
            if (!color->isValid())
                return Error{QStringLiteral("“%1” is not a background style, colour or \"transparent\".")
                                 .arg(background)};
        }
        const int pad = int(std::lround(options.padding * model.scale()));
        QImage canvas(cutOut.width() + 2 * pad, cutOut.height() + 2 * pad,
                      QImage::Format_ARGB32_Premultiplied);
        canvas.fill(color.value_or(Qt::transparent));
        QPainter painter(&canvas);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        if (!color) {
            // Scaled to cover the canvas, centred.
            const QImage& behind = options.backgroundImage;
            const double factor =
                std::max(double(canvas.width()) / behind.width(), double(canvas.height()) / behind.height());
            const QSizeF size(behind.width() * factor, behind.height() * factor);
            painter.drawImage(
                QRectF(QPointF((canvas.width() - size.width()) / 2, (canvas.height() - size.height()) / 2),
                       size),
                behind);
        }
        if (options.shadow) {
            const QImage shadowed = ImageUtils::withDropShadow(cutOut, model.scale());
            painter.drawImage(QPointF(pad - (shadowed.width() - cutOut.width()) / 2.0,
                                      pad - (shadowed.height() - cutOut.height()) / 2.0),
                              shadowed);
        } else {
            painter.drawImage(QPoint(pad, pad), cutOut);
        }
        painter.end();
        model.applyCutOut(canvas);
        return true;
    }
    model.applyCutOut(cutOut);
    if (const auto style = Backgrounds::parse(background); style && *style != BackgroundStyle::None) {
        model.setBackground(*style);
        model.setPadding(options.padding > 0 ? options.padding : 64);
        model.setCornerRadius(options.cornerRadius);
        // The renderer gives transparent subjects the shadow of their outline.
        model.setIsWindowCapture(true);
        model.setWindowShadow(options.shadow);
    }
    return true;
}

// --- Beautify ----------------------------------------------------------------------------------

BeautifyOptions BeautifyOptions::withPresets() {
    BeautifyOptions options;
    options.presets = PresetStore::shared().presets();
    options.active = PresetStore::shared().active();
    return options;
}

Result<bool> beautify(EditorModel& model, const BeautifyOptions& options) {
    model.pushUndo();
    if (options.preset) {
        const auto preset = BeautifyPreset::named(options.presets, *options.preset);
        if (!preset) {
            QStringList names;
            for (const auto& known : options.presets)
                names << known.name;
            return Error{QStringLiteral("There is no beautify preset “%1”. Presets: %2.")
                             .arg(*options.preset, names.join(u", "))};
        }
        model.setBackground(Backgrounds::parse(preset->style).value_or(BackgroundStyle::None));
        model.setPadding(preset->padding);
        model.setCornerRadius(preset->radius);
    }
    if (options.background) {
        const auto style = Backgrounds::parse(*options.background);
        if (!style || *style == BackgroundStyle::CustomImage)
            return Error{QStringLiteral("Unknown background “%1” (list_styles → backgrounds).")
                             .arg(*options.background)};
        if (*style == BackgroundStyle::Desktop && model.backdropImage().isNull())
            return Error{QStringLiteral("This capture has no desktop behind it; only window captures do.")};
        model.setBackground(*style);
    }
    if (options.padding) model.setPadding(*options.padding);
    if (options.cornerRadius) model.setCornerRadius(*options.cornerRadius);
    if (options.windowShadow) model.setWindowShadow(*options.windowShadow);
    if (!options.preset && !options.background && !options.padding && !options.cornerRadius) {
        const BeautifyPreset& active = options.active;
        model.setBackground(Backgrounds::parse(active.style).value_or(BackgroundStyle::None));
        model.setPadding(active.padding);
        model.setCornerRadius(active.radius);
    }
    if (model.background() != BackgroundStyle::None && model.padding() <= 0 && !options.padding)
        model.setPadding(64);
    return true;
}

// --- Combine -----------------------------------------------------------------------------------

QImage combine(const QList<QImage>& images, bool vertical, double spacing,
               const std::optional<QColor>& fill) {
    if (images.isEmpty()) return {};
    EditorModel model(images.first(), 1.0);
    model.combine(images.mid(1), vertical, spacing, fill);
    return model.baseImage();
}

// --- Export ------------------------------------------------------------------------------------

Result<Exported> exportCaptures(const ExportRequest& request) {
    if (request.files.isEmpty()) return Error{QStringLiteral("No captures to export.")};
    const QString format = request.format.trimmed().toLower();
    QString destination = request.destination.trimmed();
    if (destination.startsWith(QLatin1String("~/")) || destination == u"~")
        destination = QDir::homePath() + destination.mid(1);
    if (destination.isEmpty()) destination = Prefs::saveDirectory();
    if (!QDir::isAbsolutePath(destination))
        return Error{QStringLiteral("`destination` must be an absolute path: %1").arg(request.destination)};
    // The history is changed by the library tools, never by writing into it: neither the
    // folder itself nor a file in it is a destination.
    const bool intoHistory =
        !HistoryManager::captureIdOf(destination).isEmpty() ||
        !HistoryManager::captureIdOf(QDir(destination).filePath(QStringLiteral("x"))).isEmpty();
    if (intoHistory)
        return Error{QStringLiteral("Captures cannot be exported into Pictavia's history folder.")};
    Exported exported;

    if (format == u"pdf" || format == u"zip") {
        QString target = destination;
        if (QFileInfo(destination).isDir() || !destination.endsWith(u'.' + format, Qt::CaseInsensitive)) {
            QDir().mkpath(destination);
            target = QDir(destination).filePath(QStringLiteral("Pictavia captures.") + format);
        } else {
            QDir().mkpath(QFileInfo(destination).absolutePath());
        }
        if (QFileInfo::exists(target) && !request.overwrite)
            target = FileNamer::uniquePath(QFileInfo(target).absolutePath(), QFileInfo(target).fileName());
        if (format == u"pdf") {
            exported.items = HistoryBatch::writePDF(request.files, target);
            if (exported.items == 0)
                return Error{QStringLiteral("None of the captures is an image a PDF can hold.")};
        } else {
            if (!HistoryBatch::zip(request.files, target))
                return Error{QStringLiteral("Could not write %1.").arg(target)};
            exported.items = int(request.files.size());
        }
        exported.paths << target;
        return exported;
    }

    std::optional<QString> converted;
    if (!format.isEmpty() && format != u"original") {
        converted = ImageUtils::formatNamed(format);
        if (!converted)
            return Error{QStringLiteral("Unknown format “%1”: use png, jpeg, heic, webp, pdf or zip.")
                             .arg(request.format)};
    }
    if (!QDir().mkpath(destination))
        return Error{QStringLiteral("Could not create the folder %1.").arg(destination)};
    const QDir folder(destination);
    for (const QString& file : request.files) {
        const QFileInfo info(file);
        const bool isImage = HistoryRecord::kindOf(info.fileName()) == HistoryRecord::Kind::Image;
        const bool changes = isImage && (converted || request.maxWidth);
        QString name = info.fileName();
        if (changes && converted) name = info.completeBaseName() + u'.' + *converted;
        QString target = folder.filePath(name);
        // A capture exported onto itself is already there; replacing it would delete it.
        const bool ontoItself = QFileInfo(target).canonicalFilePath() == info.canonicalFilePath();
        if (QFileInfo::exists(target) && (!request.overwrite || ontoItself))
            target = FileNamer::uniquePath(destination, name);
        if (changes) {
            QImage image = ImageUtils::readFile(file);
            if (image.isNull()) return Error{QStringLiteral("Could not read %1.").arg(file)};
            if (request.maxWidth && image.width() > *request.maxWidth) {
                const int height =
                    std::max(1, int(std::lround(image.height() * double(*request.maxWidth) / image.width())));
                image = ImageUtils::scaled(image, QSize(*request.maxWidth, height));
            }
            const auto encoded = ImageUtils::encode(image, converted.value_or(info.suffix().toLower()));
            if (encoded.format != QFileInfo(target).suffix().toLower())
                target = FileNamer::uniquePath(destination,
                                               QFileInfo(target).completeBaseName() + u'.' + encoded.format);
            if (!writeAtomically(target, encoded.bytes))
                return Error{QStringLiteral("Could not write %1.").arg(target)};
        } else {
            if (QFileInfo::exists(target)) QFile::remove(target);
            if (!QFile::copy(file, target)) return Error{QStringLiteral("Could not write %1.").arg(target)};
        }
        exported.paths << target;
        ++exported.items;
    }
    return exported;
}

} // namespace CaptureOperations
