// The history for agents: searching and opening captures passes the "history"
// gate, deleting the "manage" gate; then the output tools that copy, pin and
// show things.
#include "agents/AgentAccess.h"
#include "agents/AgentTools.h"
#include "agents/MCPSession.h"
#include "agents/ToolMedia.h"
#include "agents/tools/CaptureActions.h"
#include "agents/tools/LibraryOperations.h"
#include "app/SettingsCatalog.h"
#include "editor/ClipboardOpener.h"
#include "history/HistoryIndex.h"

#include <QDateTime>
#include <QFileInfo>

using namespace ToolSchema;

namespace {

void searchHistory(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    LibraryOperations::SearchRequest request;
    const QDateTime now = QDateTime::currentDateTime();
    request.query = args.string(QStringLiteral("query")).value_or(QString());
    if (const auto kind = args.string(QStringLiteral("kind")); kind && kind->toLower() != u"all") {
        request.kind = LibraryOperations::kindNamed(*kind);
        if (!request.kind)
            failTool(QStringLiteral("`kind` must be image, video or gif, not “%1”.").arg(*kind));
    }
    for (const auto& [key, target, endOfDay] : {std::tuple{QStringLiteral("since"), &request.since, false},
                                                std::tuple{QStringLiteral("until"), &request.until, true}}) {
        const auto text = args.string(key);
        if (!text) continue;
        *target = LibraryOperations::parseDate(*text, now, endOfDay);
        if (!*target)
            failTool(
                QStringLiteral("`%1` must be a date like 2026-03-01, an ISO time, \"today\", \"yesterday\" "
                               "or an age like \"7d\".")
                    .arg(key));
    }
    request.keptOnly = args.boolean(QStringLiteral("kept_only")).value_or(false);
    request.limit = args.integer(QStringLiteral("limit")).value_or(20);
    request.offset = args.integer(QStringLiteral("offset")).value_or(0);
    context.authorize(
        AgentAccess::Category::history, QStringLiteral("search your capture history"), done, [=] {
            const AgentAccess::ImageSharing sharing = context.access().imageSharing();
            QJsonObject result = LibraryOperations::search(LibraryOperations::activeIndex(), request);
            // Snippets are text read from the pixels: an agent allowed file names
            // only gets none.
            QJsonArray captures = result.value(QStringLiteral("captures")).toArray();
            for (auto&& value : captures) {
                QJsonObject item = value.toObject();
                if (sharing == AgentAccess::ImageSharing::none)
                    item.remove(QStringLiteral("snippet"));
                else if (item.contains(QStringLiteral("snippet")))
                    item.insert(QStringLiteral("snippet"),
                                ToolMedia::shownText(item.value(QStringLiteral("snippet")).toString(),
                                                     context.access().redactForAgents()));
                value = item;
            }
            result.insert(QStringLiteral("captures"), captures);
            ToolOutput output;
            output.json = result;
            output.summary = request.query.isEmpty() ? QStringLiteral("Listed history")
                                                     : QStringLiteral("Searched for “%1”").arg(request.query);
            done(std::move(output));
        });
}

void getCapture(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    const ToolMedia::Source source = ToolMedia::resolve(args, false);
    if (source.file.isEmpty()) failTool(QStringLiteral("Give a capture_id or path."));
    const bool wantsText = args.boolean(QStringLiteral("include_text")).value_or(true);
    const bool wantsAnnotations = args.boolean(QStringLiteral("include_annotations")).value_or(true);
    const bool wantsImage = args.boolean(QStringLiteral("include_image")).value_or(true);
    const auto run = [=] {
        const AgentAccess::ImageSharing sharing = context.access().imageSharing();
        ToolOutput output;
        output.json = LibraryOperations::details(LibraryOperations::activeIndex(), source.file,
                                                 wantsText && sharing != AgentAccess::ImageSharing::none,
                                                 wantsAnnotations);
        if (output.json.contains(QStringLiteral("text")))
            output.json.insert(QStringLiteral("text"),
                               ToolMedia::shownText(output.json.value(QStringLiteral("text")).toString(),
                                                    context.access().redactForAgents()));
        output.summary = QStringLiteral("Opened ") + QFileInfo(source.file).fileName();
        QImage image;
        if (wantsImage) {
            // A movie shows its middle frame; one that cannot be read still has its details.
            try {
                image = ToolMedia::loadImage(source.file);
            } catch (const ToolError& error) {
                output.notes.append(QStringLiteral("No preview: ") + error.message);
            }
        }
        ToolMedia::finishWithPreview(std::move(output), image, !image.isNull(), done, context.access());
    };
    ToolMedia::withHistoryGate(context, {source.captureId},
                               QStringLiteral("open a capture from your history"), done, run);
}

void manageCapture(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    const QString actionName = args.string(QStringLiteral("action")).value_or(QString());
    const auto action = LibraryOperations::actionNamed(actionName);
    if (!action) failTool(QStringLiteral("`action` must be keep, unkeep, rename or delete."));
    const ToolMedia::Source source = ToolMedia::resolve(args, false);
    if (source.captureId.isEmpty())
        failTool(QStringLiteral("Only captures in Pictavia's history can be managed: give a capture_id."));
    const QString newName = args.string(QStringLiteral("new_name")).value_or(QString());
    if (*action == LibraryOperations::Action::Rename && newName.isEmpty())
        failTool(QStringLiteral("rename needs `new_name`."));
    const QString id = source.captureId;
    const auto run = [=] {
        ToolOutput output;
        output.json =
            unwrapTool(LibraryOperations::manage(LibraryOperations::activeIndex(), id, *action, newName));
        output.summary = actionName.toLower() + u' ' + id;
        // A renamed capture of the client's own stays its own.
        const QString current = output.json.value(QStringLiteral("id")).toString();
        if (context.session && context.session->ownedCaptures.remove(id) &&
            *action != LibraryOperations::Action::Delete)
            context.session->ownedCaptures.insert(current);
        done(std::move(output));
    };
    // Deleting always asks the "manage" gate, even for the client's own captures.
    if (*action == LibraryOperations::Action::Delete)
        context.authorize(AgentAccess::Category::manage, QStringLiteral("delete the capture “%1”").arg(id),
                          done, run);
    else
        ToolMedia::withHistoryGate(
            context, {id}, QStringLiteral("%1 the capture “%2”").arg(actionName.toLower(), id), done, run);
}

void copyToClipboard(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    const QString text = args.string(QStringLiteral("text")).value_or(QString());
    if (!text.isEmpty()) {
        ToolOutput output;
        output.json = unwrapTool(CaptureActions::copy({}, text));
        output.summary = QStringLiteral("Copied text");
        return done(std::move(output));
    }
    const ToolMedia::Source source = ToolMedia::resolve(args, false);
    // What lands on the clipboard can be read back from it: the user's captures pass
    // the history gate first.
    ToolMedia::withHistoryGate(
        context, {source.captureId}, QStringLiteral("copy a capture from your history"), done, [=] {
            ToolOutput output;
            output.json = unwrapTool(CaptureActions::copy(source.file, {}));
            output.summary = QStringLiteral("Copied ") + QFileInfo(source.file).fileName();
            done(std::move(output));
        });
}

void pinScreenshot(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    const QString action = args.string(QStringLiteral("action")).value_or(QStringLiteral("pin")).toLower();
    const auto run = [=](const QImage& image) {
        ToolOutput output;
        output.json = unwrapTool(CaptureActions::pin(image, ClipboardOpener::scaleOf(image), action));
        output.summary =
            action == u"pin" ? QStringLiteral("Pinned an image") : action + QStringLiteral(" pins");
        done(std::move(output));
    };
    if (action != u"pin") return run(QImage());
    const ToolMedia::Source source = ToolMedia::resolve(args, true);
    ToolMedia::withHistoryGate(context, {source.captureId}, QStringLiteral("pin a capture from your history"),
                               done, [=] { run(source.image); });
}

void showInPictavia(const ToolArgs& args, const ToolContext&, const ToolDone& done) {
    QString file;
    if (args.string(QStringLiteral("capture_id")) || args.string(QStringLiteral("path")))
        file = ToolMedia::resolve(args, false).file;
    ToolOutput output;
    output.json =
        unwrapTool(CaptureActions::show(file, args.string(QStringLiteral("view")).value_or(QString()),
                                        args.string(QStringLiteral("settings_tab")).value_or(QString())));
    output.summary = QStringLiteral("Showed ") + output.json.value(QStringLiteral("shown")).toString();
    done(std::move(output));
}

} // namespace

std::vector<AgentTool> AgentToolGroups::library() {
    const Properties searchProperties{
        {QStringLiteral("query"),
         string(QStringLiteral("Words to find (all must occur). Empty lists everything."))},
        {QStringLiteral("kind"),
         string(QStringLiteral("Only this kind."),
                {QStringLiteral("image"), QStringLiteral("video"), QStringLiteral("gif")})},
        {QStringLiteral("since"),
         string(QStringLiteral("Captured at or after: a date (2026-03-01), an ISO time, \"today\", "
                               "\"yesterday\" or an age like \"7d\"."))},
        {QStringLiteral("until"), string(QStringLiteral("Captured at or before, written like `since`."))},
        {QStringLiteral("kept_only"), boolean(QStringLiteral("Only captures the user keeps."))},
        {QStringLiteral("limit"), integer(QStringLiteral("At most this many results. Default 20."), 1, 200)},
        {QStringLiteral("offset"), integer(QStringLiteral("Skip this many results first, for paging."), 0)}};
    const Properties getProperties = merged(
        source(),
        {{{QStringLiteral("include_image"), boolean(QStringLiteral("Include a preview. Default true."))},
          {QStringLiteral("include_text"),
           boolean(QStringLiteral("Include the text read from it. Default true."))},
          {QStringLiteral("include_annotations"),
           boolean(QStringLiteral("Include its editable annotations. Default true."))}}});
    const Properties manageProperties = merged(
        source(), {{{QStringLiteral("action"), string(QStringLiteral("What to do."),
                                                      {QStringLiteral("keep"), QStringLiteral("unkeep"),
                                                       QStringLiteral("rename"), QStringLiteral("delete")})},
                    {QStringLiteral("new_name"),
                     string(QStringLiteral("For rename: the new file name (extension optional)."))}}});
    const Properties copyProperties =
        merged(source(),
               {{{QStringLiteral("text"), string(QStringLiteral("Copy this text instead of a capture."))}}});
    const Properties pinProperties =
        merged(imageSource(),
               {{{QStringLiteral("action"), string(QStringLiteral("Default \"pin\"."),
                                                   {QStringLiteral("pin"), QStringLiteral("hide"),
                                                    QStringLiteral("show"), QStringLiteral("close")})}}});
    QStringList settingsPages = SettingsCatalog::sections();
    settingsPages << QStringLiteral("AI Agents");
    const Properties showProperties =
        merged(source(),
               {{{QStringLiteral("view"),
                  string(QStringLiteral(
                             "With a capture: editor (default), video_editor (movies), quick_access, finder, "
                             "share or default_app. "
                             "Without one: home (default), library, history, agents or settings."),
                         {QStringLiteral("editor"), QStringLiteral("video_editor"),
                          QStringLiteral("quick_access"), QStringLiteral("finder"), QStringLiteral("share"),
                          QStringLiteral("default_app"), QStringLiteral("home"), QStringLiteral("library"),
                          QStringLiteral("history"), QStringLiteral("agents"), QStringLiteral("settings")})},
                 {QStringLiteral("settings_tab"),
                  string(QStringLiteral("The settings page to open."), settingsPages)}}});

    return {
        {QStringLiteral("search_history"), QStringLiteral("Search capture history"),
         QStringLiteral(
             "Full-text search over the user's captures: the text Pictavia read out of every screenshot and "
             "recording, plus app name, window title and file name. Filter by kind and date. Newest first."),
         true, false, object(searchProperties), searchHistory},
        {QStringLiteral("get_capture"), QStringLiteral("Open a capture"),
         QStringLiteral(
             "Details of one capture: file, size, date, app and window it came from, the text Pictavia read "
             "from it, its editable annotations, and a preview (a frame for videos)."),
         true, false, object(getProperties), getCapture},
        {QStringLiteral("manage_capture"), QStringLiteral("Keep, rename or delete a capture"),
         QStringLiteral("\"keep\" protects a capture from the history limit, \"unkeep\" removes that, "
                        "\"rename\" changes its file name, \"delete\" removes it from history (asks the user "
                        "unless they allowed it)."),
         false, true, object(manageProperties, {QStringLiteral("action")}), manageCapture},
        {QStringLiteral("copy_to_clipboard"), QStringLiteral("Copy to clipboard"),
         QStringLiteral(
             "Puts a capture (as an image, or the file for videos) or some text on the clipboard."),
         false, false, object(copyProperties), copyToClipboard},
        {QStringLiteral("pin_screenshot"), QStringLiteral("Pin a screenshot on screen"),
         QStringLiteral("Floats an image above all windows (a reference the user can keep in view), or "
                        "hides, shows or closes all pins."),
         false, false, object(pinProperties), pinScreenshot},
        {QStringLiteral("show_in_pictavia"), QStringLiteral("Show something to the user"),
         QStringLiteral(
             "Opens a capture or an application window for the user: with a capture, \"editor\" (annotate it "
             "themselves), \"quick_access\" (the floating thumbnail), \"finder\" (reveal the file in the "
             "file "
             "manager), \"default_app\", \"share\" (the file manager, to share it from); without a capture, "
             "\"home\", \"library\", \"agents\", \"settings\", \"history\"."),
         false, false, object(showProperties), showInPictavia},
    };
}
