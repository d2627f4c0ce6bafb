// Editing captures for agents: annotate, redact, cut out, beautify, combine and
// export. Each edit is stored as a new capture (or in place of the original)
// with its project, so the user can go on editing it; what the agent sees of
// the result follows the user's image-sharing setting. Captures a client made
// itself are its own to edit; others come from the user's history and pass the
// "history" gate first.
#include "agents/AgentAccess.h"
#include "agents/AgentTools.h"
#include "agents/MCPSession.h"
#include "agents/ToolMedia.h"
#include "agents/tools/AnnotateOperations.h"
#include "agents/tools/CaptureOperations.h"
#include "agents/tools/ImageEdits.h"
#include "capture/HistoryManager.h"
#include "editor/BackgroundStyle.h"
#include "editor/PresetStore.h"
#include "history/HistoryRecord.h"
#include "text/SensitiveScanner.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QFuture>
#include <QJsonArray>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>
#include <cmath>

using namespace ToolSchema;

namespace {

// The capture a call edits: only files, not the clipboard, since the result is
// stored beside its source.
ToolMedia::Source editedSource(const ToolArgs& args) {
    ToolMedia::Source source = ToolMedia::resolve(args, false);
    if (source.file.isEmpty())
        failTool(
            QStringLiteral("Give a capture_id or path to edit; clipboard images can be pinned or copied, "
                           "not edited in place."));
    return source;
}

// Runs `edit` on the file to edit once the history gate allows (for the source and `moreIds`).
// A document page or a movie frame first becomes a capture of the client's own, which the
// edit then starts from.
void whenEditable(const ToolArgs& args, const ToolContext& context, const ToolMedia::Source& source,
                  const QStringList& moreIds, const QString& action, const ToolDone& done,
                  std::function<void(const QString& file)> edit) {
    ToolMedia::withHistoryGate(context, QStringList{source.captureId} + moreIds, action, done, [=] {
        if (!ToolMedia::isDocumentOrMovie(source.file)) return edit(source.file);
        const int page = args.integer(QStringLiteral("page")).value_or(1);
        QString name = QFileInfo(source.file).completeBaseName();
        if (HistoryRecord::kindOf(QFileInfo(source.file).fileName()) != HistoryRecord::Kind::Video)
            name += QStringLiteral(" page %1").arg(page);
        const auto stored = unwrapTool(CaptureOperations::storeNew(ToolMedia::loadImage(source.file, page),
                                                                   1.0, name, QStringLiteral("png")));
        if (context.session) context.session->ownedCaptures.insert(stored.id);
        edit(stored.path);
    });
}

// A number argument, refused unless it lies in [minimum, maximum]; absent when not given.
std::optional<double> numberWithin(const ToolArgs& args, const QString& key, double minimum, double maximum) {
    const auto value = args.number(key);
    if (args.has(key) && (!value || *value < minimum || *value > maximum))
        failTool(QStringLiteral("`%1` must be a number from %2 to %3.").arg(key).arg(minimum).arg(maximum));
    return value;
}

ImageEdits::Delivery deliveryOf(const ToolArgs& args) {
    ImageEdits::Delivery delivery;
    const QString save = args.string(QStringLiteral("save")).value_or(QString());
    const auto mode = CaptureOperations::saveModeNamed(save);
    if (!mode) failTool(QStringLiteral("`save` must be \"new\" or \"replace\", not “%1”.").arg(save));
    delivery.save = *mode;
    delivery.openInEditor = args.boolean(QStringLiteral("open_in_editor")).value_or(false);
    delivery.format = args.string(QStringLiteral("format"));
    // Clipboard, thumbnail and save_to go through the shared output step.
    return delivery;
}

// The outcome of an edit as the tool's answer, with the preview the user lets
// agents see. The stored result is the client's own from now on.
void answer(const ToolArgs& args, const ToolContext& context, const ImageEdits::Outcome& outcome,
            const ToolDone& done) {
    const QString id = outcome.json.value(QStringLiteral("id")).toString();
    if (!id.isEmpty() && context.session) context.session->ownedCaptures.insert(id);
    ToolOutput output;
    output.json = outcome.json;
    output.notes = outcome.notes;
    output.summary = outcome.summary;
    const QString file = outcome.json.value(QStringLiteral("path")).toString();
    if (!file.isEmpty()) ToolMedia::deliver(args, file, outcome.image, output);
    ToolMedia::finishWithPreview(std::move(output), outcome.image,
                                 !file.isEmpty() && ToolMedia::wantsImage(args), done, context.access());
}

// Prepares the edit on a worker thread (recognition and cut-outs take a while), then
// stores it and answers on the main thread.
void inBackground(const ToolArgs& args, const ToolContext& context, const QString& path,
                  const ImageEdits::Delivery& delivery, const ToolDone& done,
                  std::function<Result<ImageEdits::Prepared>()> prepare) {
    QtConcurrent::run([prepare = std::move(prepare)] {
        return std::make_shared<Result<ImageEdits::Prepared>>(prepare());
    }).then(QCoreApplication::instance(), [=](const std::shared_ptr<Result<ImageEdits::Prepared>>& prepared) {
        answeringErrors(done, [&] {
            context.checkCancelled();
            if (!*prepared) failTool(prepared->error().message);
            const auto outcome = unwrapTool(ImageEdits::store(prepared->value(), path, delivery));
            if (outcome.json.contains(QStringLiteral("id"))) return answer(args, context, outcome, done);
            // Nothing stored (a dry run): the fields alone, no preview.
            ToolOutput output;
            output.json = outcome.json;
            output.notes = outcome.notes;
            output.summary = outcome.summary;
            done(std::move(output));
        });
    });
}

void annotateImage(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    const auto operations = args.array(QStringLiteral("operations"));
    if (!operations)
        failTool(
            QStringLiteral("`operations` is required: a list like [{\"type\": \"arrow\", \"from\": [x, y], "
                           "\"to\": [x, y]}]."));
    // Bad operations are reported before anything is read.
    unwrapTool(AnnotateOperations::parse(*operations));
    const ToolMedia::Source source = editedSource(args);
    const ImageEdits::Delivery delivery = deliveryOf(args);
    const QString coordinates = args.string(QStringLiteral("coordinates")).value_or(QString());
    if (!AnnotateOperations::coordinatesNamed(coordinates))
        failTool(QStringLiteral("`coordinates` must be \"pixels\", \"normalized\" or \"preview\", not “%1”.")
                     .arg(coordinates));
    const bool keepExisting = args.boolean(QStringLiteral("keep_existing")).value_or(true);
    const QList<BeautifyPreset> presets = PresetStore::shared().presets();
    whenEditable(args, context, source, {}, QStringLiteral("annotate a capture from your history"), done,
                 [=](const QString& file) {
                     inBackground(args, context, file, delivery, done, [=] {
                         // The preview scale follows from the image the capture renders to.
                         return ImageEdits::prepareAnnotate(file, *operations, coordinates, std::nullopt,
                                                            keepExisting, presets);
                     });
                 });
}

// The texts of found sensitive data, as the user lets agents see them: none when they
// share no text, masked when they hide sensitive data from agents.
void hideFoundTexts(QJsonObject& fields, AgentAccess::ImageSharing sharing, bool redact) {
    for (const char* name : {"found", "redacted"}) {
        const QString key = QLatin1String(name);
        if (!fields.contains(key)) continue;
        QJsonArray items = fields.value(key).toArray();
        for (auto&& value : items) {
            QJsonObject item = value.toObject();
            if (sharing == AgentAccess::ImageSharing::none)
                item.remove(QStringLiteral("text"));
            else
                item.insert(QStringLiteral("text"),
                            ToolMedia::shownText(item.value(QStringLiteral("text")).toString(), redact));
            value = item;
        }
        fields.insert(key, items);
    }
}

void redactSensitiveData(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    const ToolMedia::Source source = editedSource(args);
    const ImageEdits::Delivery delivery = deliveryOf(args);
    const QStringList kinds = args.strings(QStringLiteral("kinds"));
    const QStringList alsoHide =
        args.strings(QStringLiteral("also_redact")) + args.strings(QStringLiteral("also_hide"));
    const QString style = args.string(QStringLiteral("style")).value_or(QString());
    const bool dryRun = args.boolean(QStringLiteral("dry_run")).value_or(false);
    const AgentAccess::ImageSharing sharing = context.access().imageSharing();
    const bool redact = context.access().redactForAgents();
    whenEditable(args, context, source, {}, QStringLiteral("redact a capture from your history"), done,
                 [=](const QString& file) {
                     inBackground(args, context, file, delivery, done, [=] {
                         auto prepared = ImageEdits::prepareRedact(file, kinds, alsoHide, style, dryRun);
                         if (prepared) hideFoundTexts(prepared.value().json, sharing, redact);
                         return prepared;
                     });
                 });
}

void removeBackground(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    const ToolMedia::Source source = editedSource(args);
    const ImageEdits::Delivery delivery = deliveryOf(args);
    CaptureOperations::CutOutOptions options;
    options.background = args.string(QStringLiteral("background")).value_or(QStringLiteral("transparent"));
    QStringList ids;
    if (const auto id = args.string(QStringLiteral("background_capture_id"))) {
        const QString file = ToolMedia::historyFile(*id);
        options.backgroundImage = ToolMedia::loadImage(file);
        ids << QFileInfo(file).fileName();
    } else if (const auto path = args.string(QStringLiteral("background_path"))) {
        options.backgroundImage = ToolMedia::loadImage(*path);
        ids << HistoryManager::captureIdOf(*path);
    }
    options.padding = numberWithin(args, QStringLiteral("padding"), 0, 2000).value_or(0);
    options.cornerRadius = numberWithin(args, QStringLiteral("corner_radius"), 0, 1000).value_or(0);
    options.shadow = args.boolean(QStringLiteral("shadow")).value_or(true);
    options.cropToSubject = args.boolean(QStringLiteral("crop_to_subject")).value_or(false);
    whenEditable(args, context, source, ids, QStringLiteral("edit a capture from your history"), done,
                 [=](const QString& file) {
                     inBackground(args, context, file, delivery, done,
                                  [=] { return ImageEdits::prepareRemoveBackground(file, options); });
                 });
}

void beautifyImage(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    const ToolMedia::Source source = editedSource(args);
    const ImageEdits::Delivery delivery = deliveryOf(args);
    auto options = CaptureOperations::BeautifyOptions::withPresets();
    options.preset = args.string(QStringLiteral("preset"));
    options.background = args.string(QStringLiteral("background"));
    options.padding = numberWithin(args, QStringLiteral("padding"), 0, 2000);
    options.cornerRadius = numberWithin(args, QStringLiteral("corner_radius"), 0, 1000);
    options.windowShadow = args.boolean(QStringLiteral("window_shadow"));
    whenEditable(args, context, source, {}, QStringLiteral("edit a capture from your history"), done,
                 [=](const QString& file) {
                     inBackground(args, context, file, delivery, done,
                                  [=] { return ImageEdits::prepareBeautify(file, options); });
                 });
}

// The files of the `captures` list, and the ids of those in the history.
std::pair<QStringList, QStringList> captureFiles(const ToolArgs& args) {
    QStringList files, ids;
    for (const QString& id : args.strings(QStringLiteral("captures"))) {
        files << (QFileInfo(id).isAbsolute() && QFileInfo(id).isFile() ? id : ToolMedia::historyFile(id));
        ids << HistoryManager::captureIdOf(files.last());
    }
    if (files.isEmpty())
        failTool(QStringLiteral("`captures` is required: a list of capture ids (or absolute paths)."));
    return {files, ids};
}

void combineImages(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    const auto [files, ids] = captureFiles(args);
    ImageEdits::Delivery delivery;
    delivery.format = args.string(QStringLiteral("format"));
    delivery.openInEditor = args.boolean(QStringLiteral("open_in_editor")).value_or(false);
    ToolMedia::withHistoryGate(
        context, ids, QStringLiteral("combine captures from your history"), done, [=, files = files] {
            answer(args, context,
                   unwrapTool(ImageEdits::combine(
                       files, args.string(QStringLiteral("direction")).value_or(QString()),
                       numberWithin(args, QStringLiteral("spacing"), 0, 2000).value_or(0),
                       args.string(QStringLiteral("fill")).value_or(QString()), delivery)),
                   done);
        });
}

void exportCaptures(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    CaptureOperations::ExportRequest request;
    const auto [files, ids] = captureFiles(args);
    request.files = files;
    request.destination = args.string(QStringLiteral("destination")).value_or(QString());
    request.format = args.string(QStringLiteral("format")).value_or(QString());
    if (const auto width = args.integer(QStringLiteral("max_width"))) {
        if (*width < 1) failTool(QStringLiteral("`max_width` must be at least 1."));
        request.maxWidth = *width;
    }
    request.overwrite = args.boolean(QStringLiteral("overwrite")).value_or(false);
    ToolMedia::withHistoryGate(context, ids, QStringLiteral("export captures from your history"), done, [=] {
        const auto exported = unwrapTool(CaptureOperations::exportCaptures(request));
        ToolOutput output;
        output.json = {{QStringLiteral("paths"), QJsonArray::fromStringList(exported.paths)},
                       {QStringLiteral("count"), exported.items}};
        output.summary = QStringLiteral("Exported %1 capture(s)").arg(request.files.size());
        done(std::move(output));
    });
}

} // namespace

std::vector<AgentTool> AgentToolGroups::image() {
    const Properties editing = merged(imageSource(), {editOutput()});
    const QString annotateDescription = QStringLiteral(
        "Draws on a capture with Pictavia's editor and saves the result as an editable capture. Operations "
        "run in order:\narrow/line {from, to} · rectangle/ellipse/highlight/blur/pixelate/spotlight {rect} · "
        "text {at, text, font_size, font, text_style: plain|filled|outlined} · step/counter {at, number?} "
        "(numbered badges) · emoji {at, emoji, size} · freehand {points} · crop {rect | aspect: \"16:9\"} · "
        "rotate {degrees: 90|-90|180} · flip {direction} · resize {width | scale} · expand_canvas "
        "{top,left,bottom,right | all, fill} · background {preset | style, padding, corner_radius} · "
        "clear_annotations.\nInstead of coordinates, most operations accept `target_text`: Pictavia finds "
        "that text in the image and aims at it (an arrow points at it, a box/highlight/blur covers it, a "
        "step badge sits beside it, text goes below it). Style per operation: color (name, #hex, or "
        "\"brand\"), stroke_width, opacity, shadow, font_size.\nCoordinates are image pixels, top-left "
        "origin, unless `coordinates` says \"normalized\" (0–1) or \"preview\" (pixels of the preview you "
        "were shown).");
    const QJsonObject operation{
        {QStringLiteral("type"), QStringLiteral("object")},
        {QStringLiteral("properties"),
         QJsonObject{
             {QStringLiteral("type"), string(QStringLiteral("The operation."), AnnotateOperations::names())},
             {QStringLiteral("from"), point(QStringLiteral("Arrow or line start."))},
             {QStringLiteral("to"), point(QStringLiteral("Arrow or line end (the arrow's tip)."))},
             {QStringLiteral("rect"), rect(QStringLiteral("The area of a box, highlight, blur or crop."))},
             {QStringLiteral("at"), point(QStringLiteral("Top left of text or emoji; centre of a badge."))},
             {QStringLiteral("points"),
              array(point(QStringLiteral("A point.")), QStringLiteral("Freehand path."))},
             {QStringLiteral("target_text"),
              string(QStringLiteral("Aim at this text, found in the image, instead of coordinates."))},
             {QStringLiteral("occurrence"),
              integer(QStringLiteral("Which match of target_text, 1 = first."), 1)},
             {QStringLiteral("position"),
              string(QStringLiteral("Where text, badges or emoji go beside target_text."),
                     {QStringLiteral("below"), QStringLiteral("above"), QStringLiteral("left"),
                      QStringLiteral("right")})},
             {QStringLiteral("align"),
              string(QStringLiteral("Text under or over its target."),
                     {QStringLiteral("left"), QStringLiteral("center"), QStringLiteral("right")})},
             {QStringLiteral("text"), string(QStringLiteral("The text to write."))},
             {QStringLiteral("font_size"), number(QStringLiteral("Font size in pixels."))},
             {QStringLiteral("font"), string(QStringLiteral("Font family. Default: the bold system font."))},
             {QStringLiteral("text_style"),
              string(QStringLiteral("Text look."),
                     {QStringLiteral("plain"), QStringLiteral("filled"), QStringLiteral("outlined")})},
             {QStringLiteral("number"), integer(QStringLiteral("Badge number. Default: the next one."))},
             {QStringLiteral("emoji"), string(QStringLiteral("The emoji."))},
             {QStringLiteral("size"), number(QStringLiteral("Emoji size in pixels."))},
             {QStringLiteral("aspect"),
              string(QStringLiteral("Crop to this shape, centred, e.g. \"16:9\", \"1:1\"."))},
             {QStringLiteral("degrees"), integer(QStringLiteral("Rotation: 90, -90 or 180."))},
             {QStringLiteral("direction"),
              string(QStringLiteral("Flip direction."),
                     {QStringLiteral("horizontal"), QStringLiteral("vertical")})},
             {QStringLiteral("width"), number(QStringLiteral("Resize to this width in pixels."))},
             {QStringLiteral("scale"), number(QStringLiteral("Resize by this factor."))},
             {QStringLiteral("top"), number(QStringLiteral("Canvas to add above."))},
             {QStringLiteral("left"), number(QStringLiteral("Canvas to add on the left."))},
             {QStringLiteral("bottom"), number(QStringLiteral("Canvas to add below."))},
             {QStringLiteral("right"), number(QStringLiteral("Canvas to add on the right."))},
             {QStringLiteral("all"), number(QStringLiteral("Canvas to add on every side."))},
             {QStringLiteral("fill"), string(QStringLiteral("New canvas colour. Default transparent."))},
             {QStringLiteral("preset"), string(QStringLiteral("Beautify preset name (list_styles)."))},
             {QStringLiteral("style"),
              string(QStringLiteral("Background style (list_styles → backgrounds)."))},
             {QStringLiteral("padding"), number(QStringLiteral("Background padding."))},
             {QStringLiteral("corner_radius"), number(QStringLiteral("Corner radius on the background."))},
             {QStringLiteral("blur_style"),
              string(QStringLiteral("Blur look."), {QStringLiteral("pixelate"), QStringLiteral("gaussian")})},
             {QStringLiteral("color"), string(QStringLiteral("A colour name, #hex or \"brand\"."))},
             {QStringLiteral("stroke_width"), number(QStringLiteral("Line width in pixels."))},
             {QStringLiteral("opacity"), number(QStringLiteral("0 to 1."))},
             {QStringLiteral("shadow"), boolean(QStringLiteral("Drop shadow under the mark."))}}},
        {QStringLiteral("required"), QJsonArray{QStringLiteral("type")}}};
    const Properties annotateProperties = merged(
        editing,
        {{{QStringLiteral("operations"),
           array(operation, QStringLiteral("The operations, run in order."), 200)},
          {QStringLiteral("coordinates"),
           string(QStringLiteral("How to read coordinates. Default \"pixels\"."),
                  {QStringLiteral("pixels"), QStringLiteral("normalized"), QStringLiteral("preview")})},
          {QStringLiteral("keep_existing"),
           boolean(QStringLiteral("Keep the capture's existing editable annotations. Default true."))}}});
    const Properties redactProperties = merged(
        editing,
        {{{QStringLiteral("kinds"),
           array(string(QStringLiteral("A kind (list_styles → sensitive data)."), SensitiveScanner::kinds()),
                 QStringLiteral("Only these kinds. Default: all."))},
          {QStringLiteral("also_redact"), array(string(QStringLiteral("A text.")),
                                                QStringLiteral("Also hide every place these texts appear."))},
          {QStringLiteral("style"), string(QStringLiteral("How to hide. Default \"pixelate\"."),
                                           {QStringLiteral("pixelate"), QStringLiteral("blur")})},
          {QStringLiteral("dry_run"),
           boolean(QStringLiteral("Only list what was found; change nothing."))}}});
    const Properties cutOutProperties = merged(
        editing,
        {{{QStringLiteral("background"),
           string(
               QStringLiteral("\"transparent\" (default), a background style, or a colour (#hex or name)."))},
          {QStringLiteral("background_capture_id"),
           string(QStringLiteral("Put this capture behind the subject."))},
          {QStringLiteral("background_path"),
           string(QStringLiteral("Put this image file behind the subject."))},
          {QStringLiteral("padding"), number(QStringLiteral("Space around the subject, in points."), 0)},
          {QStringLiteral("corner_radius"), number(QStringLiteral("Corner radius of the background."), 0)},
          {QStringLiteral("shadow"),
           boolean(QStringLiteral("Shadow along the subject's outline. Default true."))},
          {QStringLiteral("crop_to_subject"), boolean(QStringLiteral("Trim the image to the subject."))}}});
    const Properties beautifyProperties = merged(
        editing,
        {{{QStringLiteral("preset"), string(QStringLiteral("Beautify preset name (list_styles)."))},
          {QStringLiteral("background"),
           string(QStringLiteral("A background style (list_styles → backgrounds); window captures also "
                                 "\"desktop\" or \"none\"."))},
          {QStringLiteral("padding"), number(QStringLiteral("Padding around the image, in points."), 0)},
          {QStringLiteral("corner_radius"), number(QStringLiteral("Corner radius, in points."), 0)},
          {QStringLiteral("window_shadow"),
           boolean(QStringLiteral("Window captures: keep the window's shadow."))}}});
    const Properties combineProperties = merged(
        output(),
        {{{QStringLiteral("captures"), array(string(QStringLiteral("A capture id.")),
                                             QStringLiteral("Two or more captures, in order."), 20)},
          {QStringLiteral("direction"), string(QStringLiteral("Default \"vertical\"."),
                                               {QStringLiteral("vertical"), QStringLiteral("horizontal")})},
          {QStringLiteral("spacing"), number(QStringLiteral("Pixels between the images. Default 0."), 0)},
          {QStringLiteral("fill"),
           string(QStringLiteral("Colour behind and between them. Default transparent."))},
          {QStringLiteral("format"), string(QStringLiteral("Image format. Default: the user's setting."))},
          {QStringLiteral("open_in_editor"),
           boolean(QStringLiteral("Open the result in Pictavia's editor so the user can adjust it."))}}});
    const Properties exportProperties{
        {QStringLiteral("captures"),
         array(string(QStringLiteral("A capture id.")), QStringLiteral("The captures."))},
        {QStringLiteral("destination"),
         string(QStringLiteral(
             "A folder (or, for pdf and zip, a file path). Default: the user's save folder."))},
        {QStringLiteral("format"),
         string(QStringLiteral(
                    "Convert to an image format, or write one PDF or ZIP. Default: files as they are."),
                {QStringLiteral("png"), QStringLiteral("jpeg"), QStringLiteral("heic"),
                 QStringLiteral("webp"), QStringLiteral("pdf"), QStringLiteral("zip")})},
        {QStringLiteral("max_width"), integer(QStringLiteral("Shrink wider images to this width."), 1)},
        {QStringLiteral("overwrite"),
         boolean(QStringLiteral("Replace files of the same name. Default false: a free name is used."))}};

    return {
        {QStringLiteral("annotate_image"), QStringLiteral("Annotate an image"), annotateDescription, false,
         false, object(annotateProperties, {QStringLiteral("operations")}), annotateImage},
        {QStringLiteral("redact_sensitive_data"), QStringLiteral("Redact sensitive data"),
         QStringLiteral(
             "Finds emails, phone numbers, card numbers, IBANs, API keys/tokens, JWTs and IP addresses in an "
             "image (on this computer) and blurs them permanently. The hidden pixels are not kept anywhere. "
             "Can also hide any text you name. Use dry_run to only list what was found."),
         // With save "replace" the hidden pixels are gone for good.
         false, true, object(redactProperties), redactSensitiveData},
        {QStringLiteral("remove_background"), QStringLiteral("Remove background"),
         QStringLiteral("Cuts the subject (people, products, pets, objects) out of an image with on-device "
                        "background removal, then optionally puts something new behind it: keep it "
                        "\"transparent\" (PNG), a background style (list_styles → backgrounds, e.g. "
                        "glassOcean, corvanta, white), a solid color (#hex or name), or another image "
                        "(background_capture_id / background_path). The shadow follows the subject's "
                        "outline. Works best on photos; plain UI screenshots often have no clear subject."),
         false, false, object(cutOutProperties), removeBackground},
        {QStringLiteral("beautify_image"), QStringLiteral("Beautify an image"),
         QStringLiteral("Puts a capture on a gradient, glass or solid background with padding, rounded "
                        "corners and a shadow, by preset name or explicit style. Window captures can also "
                        "swap what is behind the window: \"desktop\" (the real desktop it was captured on), "
                        "\"none\" (transparent) or any style."),
         false, false, object(beautifyProperties), beautifyImage},
        {QStringLiteral("combine_images"), QStringLiteral("Combine images"),
         QStringLiteral("Stacks several captures into one image, vertically or side by side, with spacing, "
                        "e.g. before/after or a step-by-step strip."),
         false, false, object(combineProperties, {QStringLiteral("captures")}), combineImages},
        {QStringLiteral("export_captures"), QStringLiteral("Export captures"),
         QStringLiteral("Writes captures out of Pictavia: as individual files (optionally converted to "
                        "PNG/JPEG/HEIC/WebP and resized), as one PDF (one page per image), or as a ZIP. "
                        "Default destination: the user's save folder."),
         // `overwrite` replaces files of the same name.
         false, true, object(exportProperties, {QStringLiteral("captures")}), exportCaptures},
    };
}
