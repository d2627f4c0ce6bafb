#include "agents/MCPInstructions.h"

#include <QJsonObject>

namespace MCPInstructions {

namespace {

// "a", "a and b", "a, b and c".
QString spoken(const QStringList& items) {
    if (items.size() < 2) return items.value(0);
    return QStringList(items.begin(), items.end() - 1).join(QStringLiteral(", ")) + QStringLiteral(" and ") +
           items.last();
}

class Listed {
public:
    explicit Listed(const QStringList& names) : m_names(names) {}
    bool has(const char* name) const { return m_names.contains(QLatin1String(name)); }
    bool any(std::initializer_list<const char*> names) const {
        for (const char* name : names)
            if (has(name)) return true;
        return false;
    }

private:
    const QStringList& m_names;
};

} // namespace

QString forTools(const QStringList& toolNames) {
    const Listed tools(toolNames);
    const bool records = tools.any({"record_screen", "start_recording"});
    const bool edits = tools.any(
        {"annotate_image", "redact_sensitive_data", "remove_background", "beautify_image", "combine_images"});

    QStringList abilities;
    if (tools.has("take_screenshot")) abilities << QStringLiteral("capture the screen, a window or an area");
    if (records) abilities << QStringLiteral("record video or GIFs");
    if (tools.has("extract_text")) abilities << QStringLiteral("read text (OCR) and QR codes");
    QStringList imageVerbs;
    if (tools.has("annotate_image")) imageVerbs << QStringLiteral("annotate");
    if (tools.has("redact_sensitive_data")) imageVerbs << QStringLiteral("redact");
    if (tools.has("remove_background")) imageVerbs << QStringLiteral("cut out the subject of");
    if (tools.has("beautify_image")) imageVerbs << QStringLiteral("beautify");
    if (tools.has("combine_images")) imageVerbs << QStringLiteral("combine");
    if (tools.has("export_captures")) imageVerbs << QStringLiteral("export");
    if (!imageVerbs.isEmpty()) abilities << spoken(imageVerbs) + QStringLiteral(" images");
    if (tools.has("edit_video")) abilities << QStringLiteral("trim, zoom and convert recordings");
    if (tools.has("transcribe_recording"))
        abilities << QStringLiteral("caption recordings from their speech, recognised on this computer");
    if (tools.has("search_history")) abilities << QStringLiteral("search the user's capture history");

    QString text = records
                       ? QStringLiteral("Pictavia is a Linux screenshot and screen-recording app running on "
                                        "this computer.")
                       : QStringLiteral("Pictavia is a Linux screenshot app running on this computer.");
    if (!abilities.isEmpty())
        text += QStringLiteral(" These tools drive it: ") + abilities.join(u"; ") + u'.';

    QStringList advice;
    if (tools.any({"take_screenshot", "record_screen", "start_recording"})) {
        QString line = QStringLiteral("Every capture is saved in Pictavia's history and identified by "
                                      "`capture_id` (its file name).");
        if (edits)
            line += QStringLiteral(" Pass that id to the editing tools; each edit saves a new capture and "
                                   "returns its id.");
        advice << line;
        QStringList where;
        if (tools.has("get_status")) where << QStringLiteral("get_status → displays");
        if (tools.has("list_windows")) where << QStringLiteral("list_windows → frames");
        line =
            QStringLiteral("Screen coordinates are in points with the origin at the top-left of a display");
        if (!where.isEmpty()) line += QStringLiteral(" (see ") + where.join(QStringLiteral(", ")) + u')';
        line +=
            QStringLiteral(". Image coordinates are in pixels of that image, top-left origin. Previews you "
                           "receive may be scaled down; their scale is reported");
        line += tools.has("annotate_image")
                    ? QStringLiteral(" — or pass coordinates: \"normalized\" (0–1) or \"preview\".")
                    : QStringLiteral(".");
        advice << line;
    }
    if (tools.has("annotate_image"))
        advice << QStringLiteral(
            "To point at something in an image, prefer `target_text` (Pictavia finds the "
            "text) over guessing coordinates.");
    if (tools.has("take_screenshot"))
        advice << QStringLiteral(
            "Use take_screenshot with target \"window\" and an app name for a clean shot of "
            "one app.");
    if (records) {
        QStringList uses;
        if (tools.has("record_screen")) uses << QStringLiteral("record_screen for short clips");
        if (tools.has("start_recording") && tools.has("stop_recording"))
            uses << QStringLiteral("start_recording/stop_recording for longer ones");
        QString line = QStringLiteral("Recording asks the user for permission unless they allowed it.");
        if (!uses.isEmpty()) line += QStringLiteral(" Use ") + uses.join(QStringLiteral(", or ")) + u'.';
        advice << line;
    }
    advice << QStringLiteral(
        "The user controls what you can see: previews may be text-only, sensitive data may "
        "be blurred in previews (never in saved files), and some powers may be turned off. "
        "If a tool is refused, tell the user how to change it (Pictavia ▸ AI Agents) rather "
        "than retrying.");
    if (tools.has("show_in_pictavia"))
        advice << QStringLiteral(
            "Prefer showing results to the user with show_in_pictavia (editor, Quick Access "
            "thumbnail, file manager).");

    text += QStringLiteral("\n\nHow to use it well:");
    for (const QString& line : std::as_const(advice))
        text += QStringLiteral("\n- ") + line;
    return text;
}

QString forTools(const QJsonArray& toolList) {
    QStringList names;
    for (const QJsonValue& tool : toolList)
        names << tool.toObject().value(QStringLiteral("name")).toString();
    return forTools(names);
}

} // namespace MCPInstructions
