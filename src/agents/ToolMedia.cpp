#include "agents/ToolMedia.h"

#include "agents/MCPSession.h"

#include "capture/FileNamer.h"
#include "capture/GaussianBlur.h"
#include "capture/HistoryManager.h"
#include "capture/ImageUtils.h"
#include "capture/OutputPipeline.h"
#include "history/HistoryRecord.h"
#include "platform/Platform.h"
#include "text/SensitiveScanner.h"
#include "text/TextRecognizer.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFuture>
#include <QPainter>
#include <QSaveFile>
#include <QtConcurrent/QtConcurrentRun>

namespace ToolMedia {

namespace {

// Sensitive findings blurred beyond reading, in place.
void blurHits(QImage& image, const QList<SensitiveHit>& hits, double factor) {
    if (hits.isEmpty()) return;
    image = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&image);
    for (const SensitiveHit& hit : hits) {
        const QRect area = QRectF(hit.rect.x() * factor, hit.rect.y() * factor, hit.rect.width() * factor,
                                  hit.rect.height() * factor)
                               .toAlignedRect()
                               .adjusted(-2, -2, 2, 2)
                               .intersected(image.rect());
        if (area.isEmpty()) continue;
        const double sigma = std::max(6.0, area.height() / 2.0);
        painter.drawImage(area.topLeft(), GaussianBlur::blurred(image.copy(area), sigma));
    }
}

QString previewMime(QByteArray& bytes, const QImage& image) {
    bytes = ImageUtils::encoded(image, platform::ImageType::png, 1.0);
    if (bytes.isEmpty()) bytes = ImageUtils::data(image, QStringLiteral("png"));
    // Photos and busy screens compress badly as PNG; a good JPEG is smaller for the agent.
    if (bytes.size() > 1'000'000 && !image.hasAlphaChannel()) {
        const QByteArray jpeg = ImageUtils::jpegData(image, 0.85);
        if (!jpeg.isEmpty()) {
            bytes = jpeg;
            return QStringLiteral("image/jpeg");
        }
    }
    return QStringLiteral("image/png");
}

} // namespace

QString historyFile(const QString& captureId) {
    const QString id = captureId.trimmed();
    if (id.isEmpty() || id.contains(u'/') || id == u"." || id == u"..")
        failTool(QStringLiteral("“%1” is not a capture id. Ids are history file names, as returned by the "
                                "capture tools and search_history.")
                     .arg(captureId));
    QString file = QDir(HistoryManager::directory()).filePath(id);
    if (!QFileInfo(file).isFile())
        failTool(
            QStringLiteral("No capture “%1” in Pictavia's history. It may have been deleted; search_history "
                           "lists what is there.")
                .arg(id));
    return file;
}

bool isDocumentOrMovie(const QString& file) {
    const auto& documents = platform::services().documents;
    return (documents && documents->handles(file)) ||
           HistoryRecord::kindOf(QFileInfo(file).fileName()) == HistoryRecord::Kind::Video;
}

QImage loadImage(const QString& file, int page) {
    if (const auto& documents = platform::services().documents; documents && documents->handles(file)) {
        // Rendered like a screenshot of a 2× display, sharp enough to read.
        auto rendered = documents->renderPage(file, page, 2.0);
        if (!rendered) failTool(rendered.error().message);
        return *rendered;
    }
    if (HistoryRecord::kindOf(QFileInfo(file).fileName()) == HistoryRecord::Kind::Video) {
        const auto& media = platform::services().media;
        if (!media) failTool(QStringLiteral("Movies cannot be read here."));
        const auto info = media->info(file);
        if (!info) failTool(info.error().message);
        auto frame = media->frameAt(file, info->duration / 2);
        if (!frame) failTool(frame.error().message);
        return *frame;
    }
    QFile in(file);
    if (!in.open(QIODevice::ReadOnly))
        failTool(QStringLiteral("Cannot read %1: %2").arg(file, in.errorString()));
    QImage image = ImageUtils::decoded(in.readAll());
    if (image.isNull()) failTool(QStringLiteral("%1 is not an image Pictavia can read.").arg(file));
    return image;
}

Source resolve(const ToolArgs& args, bool load) {
    Source source;
    if (const auto id = args.string(QStringLiteral("capture_id"))) {
        source.file = historyFile(*id);
        source.captureId = QFileInfo(source.file).fileName();
    } else if (const auto path = args.string(QStringLiteral("path"))) {
        QString expanded = *path;
        if (expanded.startsWith(QLatin1String("~/"))) expanded = QDir::homePath() + expanded.mid(1);
        if (!QDir::isAbsolutePath(expanded))
            failTool(QStringLiteral("`path` must be absolute: %1").arg(*path));
        const QFileInfo info(expanded);
        if (!info.isFile()) failTool(QStringLiteral("No file at %1.").arg(expanded));
        source.file = info.absoluteFilePath();
    } else if (args.boolean(QStringLiteral("from_clipboard")).value_or(false)) {
        const auto& clipboard = platform::services().clipboard;
        if (!clipboard) failTool(QStringLiteral("The clipboard is not available."));
        const auto contents = clipboard->contents();
        if (!contents.image.isNull()) {
            source.image = contents.image;
            return source;
        }
        if (contents.files.isEmpty()) failTool(QStringLiteral("The clipboard holds no image."));
        source.file = contents.files.first();
    } else {
        failTool(QStringLiteral("Say which image to use: capture_id, path or from_clipboard."));
    }
    // However it was named, a file of the history is that capture.
    source.captureId = HistoryManager::captureIdOf(source.file);
    if (load) source.image = loadImage(source.file, args.integer(QStringLiteral("page")).value_or(1));
    return source;
}

QJsonObject describe(const QString& file, const QImage& image) {
    QJsonObject fields;
    const QFileInfo info(file);
    if (!file.isEmpty()) {
        if (const QString id = HistoryManager::captureIdOf(file); !id.isEmpty())
            fields.insert(QStringLiteral("id"), id);
        fields.insert(QStringLiteral("path"), info.absoluteFilePath());
        fields.insert(QStringLiteral("bytes"), info.size());
    }
    if (!image.isNull()) {
        fields.insert(QStringLiteral("width"), image.width());
        fields.insert(QStringLiteral("height"), image.height());
    }
    return fields;
}

namespace {

// A capture of the user's history that this client did not make itself.
bool isForeign(const ToolContext& context, const QString& captureId) {
    return !captureId.isEmpty() && (!context.session || !context.session->ownedCaptures.contains(captureId));
}

} // namespace

void withHistoryGate(const ToolContext& context, const QStringList& captureIds, const QString& action,
                     const ToolDone& done, std::function<void()> then) {
    const bool foreign = std::any_of(captureIds.begin(), captureIds.end(),
                                     [&context](const QString& id) { return isForeign(context, id); });
    if (foreign) return context.authorize(AgentAccess::Category::history, action, done, std::move(then));
    then();
}

QString shownText(const QString& text, bool redact) {
    return redact ? SensitiveScanner::redactText(text, SensitiveScanner::kinds()) : text;
}

bool wantsImage(const ToolArgs& args) {
    return args.boolean(QStringLiteral("return_image")).value_or(true);
}

void addPreview(ToolOutput& output, const QImage& image, AgentAccess::ImageSharing sharing, bool redact) {
    if (image.isNull()) return;
    switch (sharing) {
    case AgentAccess::ImageSharing::none:
        return;
    case AgentAccess::ImageSharing::textOnly: {
        const auto text = TextRecognizer::recognize(image);
        if (!text) {
            output.notes.append(QStringLiteral("The text of the image could not be read: ") +
                                text.error().message);
            return;
        }
        const QString shown = shownText(*text, redact);
        output.notes.append(shown.trimmed().isEmpty() ? QStringLiteral("No text in the image.")
                                                      : QStringLiteral("Text in the image:\n") + shown);
        return;
    }
    case AgentAccess::ImageSharing::full:
        break;
    }
    QImage preview = image;
    const int longSide = std::max(image.width(), image.height());
    double factor = 1.0;
    if (longSide > previewMaxSide) {
        factor = double(previewMaxSide) / longSide;
        preview = image.scaled(image.size() * factor, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        factor = double(preview.width()) / image.width();
    }
    if (redact) blurHits(preview, SensitiveScanner::scan(image), factor);
    QByteArray bytes;
    const QString mime = previewMime(bytes, preview);
    output.images.append({QString::fromLatin1(bytes.toBase64()), mime});
}

void finishWithPreview(ToolOutput output, const QImage& image, bool wanted, const ToolDone& done,
                       AgentAccess& access) {
    if (!wanted || image.isNull() || access.imageSharing() == AgentAccess::ImageSharing::none) {
        done(std::move(output));
        return;
    }
    const auto sharing = access.imageSharing();
    const bool redact = access.redactForAgents();
    QtConcurrent::run([output = std::move(output), image, sharing, redact]() mutable {
        addPreview(output, image, sharing, redact);
        return output;
    }).then(QCoreApplication::instance(), [done](ToolOutput finished) { done(std::move(finished)); });
}

void deliver(const ToolArgs& args, const QString& file, const QImage& image, ToolOutput& output) {
    if (args.boolean(QStringLiteral("copy_to_clipboard")).value_or(false)) {
        const auto& clipboard = platform::services().clipboard;
        if (!clipboard) failTool(QStringLiteral("The clipboard is not available."));
        clipboard->setImage(image);
        output.json.insert(QStringLiteral("copied"), true);
    }
    if (args.boolean(QStringLiteral("show_thumbnail")).value_or(false))
        output.json.insert(QStringLiteral("shown"), OutputPipeline::showQuickAccess(file, image));
    const auto target = args.string(QStringLiteral("save_to"));
    if (!target) return;
    QString destination = *target;
    if (destination.startsWith(QLatin1String("~/"))) destination = QDir::homePath() + destination.mid(1);
    if (!QDir::isAbsolutePath(destination)) failTool(QStringLiteral("`save_to` must be an absolute path."));
    const QFileInfo sourceInfo(file);
    const bool folder = QFileInfo(destination).isDir() || destination.endsWith(u'/');
    if (folder) {
        if (!QDir().mkpath(destination))
            failTool(QStringLiteral("Cannot create the folder %1.").arg(destination));
        const QString name = file.isEmpty() ? QStringLiteral("Pictavia image.png") : sourceInfo.fileName();
        destination = QDir(destination).filePath(name);
    } else if (!QDir().mkpath(QFileInfo(destination).absolutePath())) {
        failTool(QStringLiteral("Cannot create the folder for %1.").arg(destination));
    }
    if (!HistoryManager::captureIdOf(destination).isEmpty())
        failTool(
            QStringLiteral("`save_to` cannot be Pictavia's history folder; the result is already there."));
    // An existing file is never replaced: the copy takes the next free name.
    destination =
        FileNamer::uniquePath(QFileInfo(destination).absolutePath(), QFileInfo(destination).fileName());
    const QString suffix = QFileInfo(destination).suffix().toLower();
    QByteArray bytes;
    if (!file.isEmpty() && suffix == sourceInfo.suffix().toLower()) {
        QFile in(file);
        if (!in.open(QIODevice::ReadOnly)) failTool(QStringLiteral("Cannot read %1.").arg(file));
        bytes = in.readAll();
    } else {
        const auto format = ImageUtils::formatNamed(suffix);
        const ImageUtils::Encoded encoded =
            format ? ImageUtils::encode(image, *format) : ImageUtils::Encoded{};
        if (!format || encoded.format != *format)
            failTool(QStringLiteral("Pictavia cannot write .%1 files here; use png, jpg, webp or heic.")
                         .arg(suffix));
        bytes = encoded.bytes;
    }
    QSaveFile out(destination);
    if (!out.open(QIODevice::WriteOnly) || out.write(bytes) != bytes.size() || !out.commit())
        failTool(QStringLiteral("Cannot write %1: %2").arg(destination, out.errorString()));
    output.json.insert(QStringLiteral("saved_to"), QFileInfo(destination).absoluteFilePath());
}

void finishImage(const ToolArgs& args, const ToolContext& context, const QString& file,
                 const QJsonObject& fields, const QString& summary, const ToolDone& done) {
    ToolOutput out;
    const QImage image = loadImage(file);
    out.json = describe(file, image);
    for (auto it = fields.begin(); it != fields.end(); ++it)
        out.json.insert(it.key(), it.value());
    deliver(args, file, image, out);
    if (context.session && out.json.contains(QStringLiteral("id")))
        context.session->ownedCaptures.insert(out.json.value(QStringLiteral("id")).toString());
    out.summary = summary;
    finishWithPreview(std::move(out), image, wantsImage(args), done, context.access());
}

} // namespace ToolMedia
