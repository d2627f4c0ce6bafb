#include "agents/tools/ImageEdits.h"

#include "agents/tools/AnnotateOperations.h"
#include "agents/tools/DesktopActions.h"
#include "capture/ImageUtils.h"
#include "editor/EditorModel.h"
#include "editor/PresetStore.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace ImageEdits {

QStringList deliver(const CaptureOperations::Saved& saved, const Delivery& delivery) {
    QStringList notes;
    const auto& hooks = DesktopActions::hooks();
    if (delivery.openInEditor) {
        if (hooks.openEditor) {
            hooks.openEditor(saved.path);
            notes << QStringLiteral("Opened in Pictavia's editor.");
        } else {
            notes << QStringLiteral("The editor is not available here.");
        }
    }
    return notes;
}

namespace {

Result<Outcome> now(const Result<Prepared>& prepared, const QString& path, const Delivery& delivery) {
    if (!prepared) return prepared.error();
    return store(*prepared, path, delivery);
}

// Hands the model to the main thread, where it is stored.
Prepared prepared(std::unique_ptr<EditorModel> model, const QString& summary) {
    if (QCoreApplication::instance()) model->moveToThread(QCoreApplication::instance()->thread());
    Prepared result;
    result.model = std::move(model);
    result.summary = summary;
    return result;
}

} // namespace

Result<Prepared> prepareAnnotate(const QString& path, const QJsonArray& operations,
                                 const QString& coordinates, std::optional<double> previewScale,
                                 bool keepExisting, const QList<BeautifyPreset>& presets,
                                 const CaptureOperations::TextFinder& finder) {
    const auto system = AnnotateOperations::coordinatesNamed(coordinates);
    if (!system)
        return Error{
            QStringLiteral("`coordinates` must be \"pixels\", \"normalized\" or \"preview\", not “%1”.")
                .arg(coordinates)};
    const auto parsed = AnnotateOperations::parse(operations);
    if (!parsed) return parsed.error();
    auto model = CaptureOperations::openForEditing(path, keepExisting);
    if (!model) return model.error();
    AnnotateOperations::Options options;
    options.coordinates = *system;
    options.previewScale = previewScale;
    options.findText = finder;
    options.presets = presets;
    const auto applied = AnnotateOperations::apply(**model, *parsed, options);
    if (!applied) return applied.error();
    const int annotations = int((*model)->annotations().size());
    Prepared result =
        prepared(std::move(model).value(),
                 QStringLiteral("%1 operation(s) on %2").arg(parsed->size()).arg(QFileInfo(path).fileName()));
    result.json.insert(QStringLiteral("annotations_added"), applied->annotationsAdded);
    result.json.insert(QStringLiteral("annotations"), annotations);
    result.json.insert(QStringLiteral("operations"), QJsonArray::fromStringList(applied->steps));
    return result;
}

Result<Prepared> prepareRedact(const QString& path, const QStringList& kinds, const QStringList& alsoHide,
                               const QString& style, bool dryRun,
                               const CaptureOperations::TextFinder& finder) {
    const QString lower = style.trimmed().toLower();
    if (!lower.isEmpty() && lower != u"pixelate" && lower != u"blur" && lower != u"gaussian")
        return Error{QStringLiteral("`style` must be \"pixelate\" or \"blur\", not “%1”.").arg(style)};
    auto model = CaptureOperations::openForEditing(path, true);
    if (!model) return model.error();
    const auto found = CaptureOperations::findSensitive((*model)->baseImage(), kinds, alsoHide, finder);
    if (!found) return found.error();
    QJsonArray items;
    for (const auto& finding : *found)
        items.append(CaptureOperations::toJson(finding));
    const QString name = QFileInfo(path).fileName();
    if (dryRun || found->isEmpty()) {
        Prepared listed;
        listed.json = {{QStringLiteral("found"), items}, {QStringLiteral("count"), int(found->size())}};
        listed.notes << (found->isEmpty() ? QStringLiteral("No sensitive data found; nothing was changed.")
                                          : QStringLiteral("Dry run: nothing was changed."));
        listed.summary = QStringLiteral("Found %1 item(s) in %2").arg(found->size()).arg(name);
        return listed;
    }
    CaptureOperations::burnIn(
        **model, *found, lower == u"pixelate" || lower.isEmpty() ? BlurStyle::Pixelate : BlurStyle::Gaussian);
    Prepared result = prepared(std::move(model).value(),
                               QStringLiteral("Redacted %1 item(s) in %2").arg(found->size()).arg(name));
    result.json.insert(QStringLiteral("redacted"), items);
    result.json.insert(QStringLiteral("count"), int(found->size()));
    return result;
}

Result<Prepared> prepareRemoveBackground(const QString& path,
                                         const CaptureOperations::CutOutOptions& options) {
    auto model = CaptureOperations::openForEditing(path, true);
    if (!model) return model.error();
    const auto done = CaptureOperations::removeBackground(**model, options);
    if (!done) return done.error();
    Prepared result = prepared(std::move(model).value(),
                               QStringLiteral("Background removed from %1").arg(QFileInfo(path).fileName()));
    // Transparency needs a format that keeps it.
    const QString background = options.background.trimmed().toLower();
    if (background.isEmpty() || background == u"transparent" || background == u"none")
        result.json.insert(QStringLiteral("format"), QStringLiteral("png"));
    return result;
}

Result<Prepared> prepareBeautify(const QString& path, const CaptureOperations::BeautifyOptions& options) {
    auto model = CaptureOperations::openForEditing(path, true);
    if (!model) return model.error();
    const auto done = CaptureOperations::beautify(**model, options);
    if (!done) return done.error();
    return prepared(std::move(model).value(),
                    QStringLiteral("Beautified %1").arg(QFileInfo(path).fileName()));
}

Result<Outcome> store(const Prepared& prepared, const QString& path, const Delivery& delivery) {
    Outcome outcome;
    outcome.notes = prepared.notes;
    outcome.summary = prepared.summary;
    if (!prepared.model) {
        outcome.json = prepared.json;
        return outcome;
    }
    Delivery adjusted = delivery;
    QJsonObject extra = prepared.json;
    if (extra.contains(QStringLiteral("format")) && !adjusted.format)
        adjusted.format = extra.value(QStringLiteral("format")).toString();
    extra.remove(QStringLiteral("format"));
    const auto saved = CaptureOperations::saveEdited(*prepared.model, path, adjusted.save, adjusted.format);
    if (!saved) return saved.error();
    outcome.json = saved->toJson();
    if (adjusted.save == CaptureOperations::SaveMode::Replace)
        outcome.json.insert(QStringLiteral("replaced"), true);
    for (auto it = extra.constBegin(); it != extra.constEnd(); ++it)
        outcome.json.insert(it.key(), it.value());
    outcome.image = prepared.model->renderFinal().value_or(QImage());
    outcome.notes += deliver(*saved, adjusted);
    outcome.summary += QStringLiteral(" → ") + saved->id;
    return outcome;
}

Result<Outcome> annotate(const QString& path, const QJsonArray& operations, const QString& coordinates,
                         std::optional<double> previewScale, bool keepExisting, const Delivery& delivery,
                         const CaptureOperations::TextFinder& finder) {
    return now(prepareAnnotate(path, operations, coordinates, previewScale, keepExisting,
                               PresetStore::shared().presets(), finder),
               path, delivery);
}

Result<Outcome> redact(const QString& path, const QStringList& kinds, const QStringList& alsoHide,
                       const QString& style, bool dryRun, const Delivery& delivery,
                       const CaptureOperations::TextFinder& finder) {
    return now(prepareRedact(path, kinds, alsoHide, style, dryRun, finder), path, delivery);
}

Result<Outcome> combine(const QStringList& paths, const QString& direction, double spacing,
                        const QString& fill, const Delivery& delivery) {
    if (paths.size() < 2) return Error{QStringLiteral("Give at least two captures to combine.")};
    if (paths.size() > 20) return Error{QStringLiteral("At most 20 captures can be combined.")};
    const QString way = direction.trimmed().toLower();
    if (!way.isEmpty() && way != u"vertical" && way != u"horizontal")
        return Error{QStringLiteral("`direction` must be \"vertical\" or \"horizontal\".")};
    std::optional<QColor> color;
    if (!fill.trimmed().isEmpty() && fill.trimmed().toLower() != u"transparent") {
        color = AnnotateOperations::parseColor(fill);
        if (!color) return Error{QStringLiteral("`fill` “%1” is not a colour.").arg(fill)};
    }
    QList<QImage> images;
    for (const QString& path : paths) {
        const QImage image = ImageUtils::readFile(path);
        if (image.isNull())
            return Error{
                QStringLiteral("“%1” is not an image Pictavia can read.").arg(QFileInfo(path).fileName())};
        images << image;
    }
    const QImage combined =
        CaptureOperations::combine(images, way != u"horizontal", std::max(0.0, spacing), color);
    const auto saved = CaptureOperations::storeNew(
        combined, 1.0, QFileInfo(paths.first()).completeBaseName() + QStringLiteral(" combined"),
        delivery.format);
    if (!saved) return saved.error();
    Outcome outcome;
    outcome.json = saved->toJson();
    outcome.image = combined;
    outcome.notes = deliver(*saved, delivery);
    outcome.summary = QStringLiteral("Combined %1 captures → %2").arg(paths.size()).arg(saved->id);
    return outcome;
}

} // namespace ImageEdits
