// The preferences agents may read and change: a curated list under snake_case names, each
// with the values it takes. Commands run after captures, the history limit and the AI agent
// settings stay with the user.
#include "agents/AgentAccess.h"
#include "agents/AgentTools.h"
#include "agents/MCPSession.h"
#include "app/Prefs.h"
#include "app/SettingsCatalog.h"

#include <QDir>

#include <cmath>

using namespace ToolSchema;

namespace {

struct AgentSetting {
    const char* name; // what agents call it
    const char* key;  // the preference
};

// In the order of the settings page.
constexpr AgentSetting agentSettings[] = {
    {"freeze_screen", "freezeScreen"},
    {"show_magnifier", "showMagnifier"},
    {"window_shadow", "windowShadow"},
    {"hide_desktop_icons", "hideDesktopWidgets"},
    {"capture_sound", "captureSound"},
    {"scroll_direction", "scrollAxis"},
    {"copy_to_clipboard", "copyToClipboard"},
    {"save_to_disk", "autoSaveToDisk"},
    {"ask_for_name", "askForName"},
    {"image_format", "imageFormat"},
    {"jpeg_quality", "jpegQuality"},
    {"downscale_hidpi", "downscaleRetina"},
    {"save_folder", "saveDirectory"},
    {"file_name_template", "filenameTemplate"},
    {"keep_editable", "saveEditableProjects"},
    {"show_quick_access", "showQuickAccess"},
    {"quick_access_size", "qaoSize"},
    {"recording_fps", "recFPS"},
    {"recording_max_resolution", "recMaxResolution"},
    {"recording_codec", "recCodec"},
    {"recording_show_cursor", "recShowCursor"},
    {"recording_show_clicks", "recShowClicks"},
    {"recording_show_keystrokes", "recShowKeystrokes"},
    {"recording_microphone", "recMic"},
    {"recording_system_audio", "recSystemAudio"},
    {"recording_mono_audio", "recMonoAudio"},
    {"recording_countdown", "recCountdown"},
    {"gif_fps", "gifFPS"},
    {"gif_max_width", "gifMaxWidth"},
    {"gif_quality", "gifQuality"},
    {"auto_beautify", "autoBeautify"},
    {"beautify_background", "beautifyStyle"},
    {"beautify_padding", "beautifyPadding"},
    {"beautify_corner_radius", "beautifyRadius"},
};

// Names agents might use for what only the user changes, and why not.
QString userOnlyReason(const QString& name) {
    const QString lower = name.toLower();
    if (lower.startsWith(QLatin1String("post")) || lower.contains(QLatin1String("script")) ||
        lower.contains(QLatin1String("command")) || lower.contains(QLatin1String("shortcut")) ||
        lower == u"recstartshortcut" || lower == u"recstopshortcut")
        return QStringLiteral("“%1”: commands that run after captures can only be changed by the user.")
            .arg(name);
    if (lower.contains(QLatin1String("history")))
        return QStringLiteral("“%1”: the history limit can only be changed by the user.").arg(name);
    if (lower.startsWith(QLatin1String("agent")) || lower.startsWith(QLatin1String("ai")) ||
        lower.contains(QLatin1String("sharing")) || lower.contains(QLatin1String("redact")))
        return QStringLiteral("“%1”: AI access can only be changed by the user, in Pictavia ▸ AI Agents.")
            .arg(name);
    return {};
}

const AgentSetting* findSetting(const QString& name) {
    for (const AgentSetting& setting : agentSettings)
        if (name == QLatin1String(setting.name) || name == QLatin1String(setting.key)) return &setting;
    return nullptr;
}

Prefs::Type typeOf(const QString& key) {
    for (const Prefs::Default& d : Prefs::defaults())
        if (d.key == key) return d.type;
    return Prefs::Type::Text;
}

QJsonValue currentValue(const QString& key) {
    switch (typeOf(key)) {
    case Prefs::Type::Flag:
        return Prefs::flag(key);
    case Prefs::Type::Integer:
        return Prefs::integer(key);
    case Prefs::Type::Real:
        return Prefs::real(key);
    case Prefs::Type::Text:
        return Prefs::text(key);
    }
    return {};
}

// What the setting accepts, as agents read it.
QJsonObject allowed(const QString& key) {
    const SettingsCatalog::Setting* entry = SettingsCatalog::find(key);
    if (key == u"jpegQuality")
        return {{QStringLiteral("type"), QStringLiteral("number")},
                {QStringLiteral("minimum"), 0.1},
                {QStringLiteral("maximum"), 1}};
    switch (typeOf(key)) {
    case Prefs::Type::Flag:
        return {{QStringLiteral("type"), QStringLiteral("boolean")}};
    case Prefs::Type::Integer:
    case Prefs::Type::Real: {
        QJsonObject range{{QStringLiteral("type"), QStringLiteral("integer")}};
        if (entry && entry->control == SettingsCatalog::Control::Number) {
            range.insert(QStringLiteral("minimum"), entry->minimum);
            range.insert(QStringLiteral("maximum"), entry->maximum);
            if (!entry->unit.isEmpty()) range.insert(QStringLiteral("unit"), entry->unit);
        }
        return range;
    }
    case Prefs::Type::Text:
        break;
    }
    if (entry && entry->control == SettingsCatalog::Control::Choice) {
        QJsonArray values;
        for (const auto& choice : entry->choices)
            values.append(choice.value);
        return {{QStringLiteral("type"), QStringLiteral("string")}, {QStringLiteral("enum"), values}};
    }
    if (key == u"saveDirectory")
        return {{QStringLiteral("type"), QStringLiteral("string")},
                {QStringLiteral("format"), QStringLiteral("absolute folder path")}};
    return {{QStringLiteral("type"), QStringLiteral("string")}};
}

// The value to store, or a ToolError saying what the setting takes.
QVariant checked(const AgentSetting& setting, const QJsonValue& value) {
    const QString key = QLatin1String(setting.key);
    const QJsonObject rule = allowed(key);
    const QString type = rule.value(QStringLiteral("type")).toString();
    const QString name = QLatin1String(setting.name);
    if (type == u"boolean") {
        const auto flag = ToolArgs::booleanFrom(value);
        if (!flag) failTool(QStringLiteral("“%1” takes true or false.").arg(name));
        return *flag;
    }
    if (type == u"integer" || type == u"number") {
        const auto number = ToolArgs::numberFrom(value);
        const bool hasRange = rule.contains(QStringLiteral("minimum"));
        const double min = rule.value(QStringLiteral("minimum")).toDouble();
        const double max = rule.value(QStringLiteral("maximum")).toDouble();
        if (!number || (hasRange && (*number < min || *number > max)))
            failTool(hasRange
                         ? QStringLiteral("“%1” takes a number from %2 to %3.").arg(name).arg(min).arg(max)
                         : QStringLiteral("“%1” takes a number.").arg(name));
        if (type == u"integer") return static_cast<int>(std::round(*number));
        return *number;
    }
    const auto text = ToolArgs::stringFrom(value);
    if (rule.contains(QStringLiteral("enum"))) {
        QStringList values;
        for (const auto& v : rule.value(QStringLiteral("enum")).toArray())
            values.append(v.toString());
        for (const QString& v : values)
            if (text && v.compare(*text, Qt::CaseInsensitive) == 0) return v;
        failTool(QStringLiteral("“%1” takes one of: %2.").arg(name, values.join(QStringLiteral(", "))));
    }
    if (!text) failTool(QStringLiteral("“%1” takes a non-empty text.").arg(name));
    if (key == u"saveDirectory") {
        QString path = *text;
        if (path.startsWith(QLatin1String("~/"))) path = QDir::homePath() + path.mid(1);
        if (!QDir::isAbsolutePath(path))
            failTool(QStringLiteral("“save_folder” takes an absolute folder path."));
        return path;
    }
    return *text;
}

QJsonObject settingsListing() {
    QJsonObject all;
    for (const AgentSetting& setting : agentSettings) {
        const QString key = QLatin1String(setting.key);
        QJsonObject entry = allowed(key);
        entry.insert(QStringLiteral("value"), currentValue(key));
        if (const auto* catalogue = SettingsCatalog::find(key)) {
            entry.insert(QStringLiteral("title"), catalogue->title);
            entry.insert(QStringLiteral("section"), catalogue->section);
        }
        all.insert(QLatin1String(setting.name), entry);
    }
    return all;
}

void getSettings(const ToolArgs&, const ToolContext&, const ToolDone& done) {
    ToolOutput out;
    out.json.insert(QStringLiteral("settings"), settingsListing());
    out.notes.append(
        QStringLiteral("Change them with update_settings, e.g. {\"settings\": {\"image_format\": "
                       "\"jpg\"}}. Commands that run after captures, the history limit and AI access "
                       "can only be changed by the user."));
    out.summary = QStringLiteral("Read the settings");
    done(std::move(out));
}

void updateSettings(const ToolArgs& args, const ToolContext& context, const ToolDone& done) {
    const QJsonValue given = args.raw().value(QStringLiteral("settings"));
    if (!given.isObject() || given.toObject().isEmpty())
        failTool(
            QStringLiteral("Pass `settings`: an object of setting names and new values (see get_settings)."));
    const QJsonObject requested = given.toObject();
    QList<std::pair<const AgentSetting*, QVariant>> changes;
    QStringList refusals;
    for (auto it = requested.begin(); it != requested.end(); ++it) {
        if (const QString reason = userOnlyReason(it.key()); !reason.isEmpty()) {
            refusals.append(reason);
            continue;
        }
        const AgentSetting* setting = findSetting(it.key());
        if (!setting) {
            refusals.append(
                QStringLiteral("“%1” is not a setting agents can change; get_settings lists them.")
                    .arg(it.key()));
            continue;
        }
        changes.append({setting, checked(*setting, it.value())});
    }
    if (!refusals.isEmpty()) failTool(refusals.join(u' ') + QStringLiteral(" Nothing was changed."));
    QStringList described;
    for (const auto& [setting, value] : changes)
        described.append(QStringLiteral("%1 to %2").arg(QLatin1String(setting->name), value.toString()));
    const QString action = QStringLiteral("change settings: ") + described.join(QStringLiteral(", "));
    context.authorize(AgentAccess::Category::manage, action, done, [changes, described, done] {
        QJsonObject previous, now;
        for (const auto& [setting, value] : changes) {
            const QString key = QLatin1String(setting->key);
            previous.insert(QLatin1String(setting->name), currentValue(key));
            Prefs::setValue(key, value);
            now.insert(QLatin1String(setting->name), currentValue(key));
        }
        Prefs::sync();
        ToolOutput out;
        out.json = QJsonObject{{QStringLiteral("changed"), now}, {QStringLiteral("previous"), previous}};
        out.summary = QStringLiteral("Changed ") + described.join(QStringLiteral(", "));
        done(std::move(out));
    });
}

} // namespace

std::vector<AgentTool> AgentToolGroups::settings() {
    return {
        {QStringLiteral("get_settings"), QStringLiteral("Read settings"),
         QStringLiteral(
             "Pictavia's capture, output and recording settings that agents may change, with their "
             "current values and allowed values."),
         true, false, object({}), getSettings},
        {QStringLiteral("update_settings"), QStringLiteral("Change settings"),
         QStringLiteral(
             "Changes Pictavia settings (see get_settings for keys and allowed values), e.g. "
             "{\"image_format\": \"jpg\", \"recording_fps\": 60}. Asks the user unless they allowed "
             "it. Commands that run after captures, the history limit and AI access can only be "
             "changed by the user."),
         false, false,
         object({{QStringLiteral("settings"),
                  QJsonObject{{QStringLiteral("type"), QStringLiteral("object")},
                              {QStringLiteral("description"),
                               QStringLiteral("Setting names (get_settings) and their new values.")}}}},
                {QStringLiteral("settings")}),
         updateSettings},
    };
}
