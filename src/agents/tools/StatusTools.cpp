// What an agent asks first: the displays, the windows on them, and the styles and options
// the other tools accept.
#include "agents/AgentAccess.h"
#include "agents/AgentTools.h"
#include "agents/tools/ToolInfo.h"
#include "app/Prefs.h"
#include "app/SettingsCatalog.h"
#include "capture/CaptureCoordinator.h"
#include "capture/HistoryManager.h"
#include "capture/ImageUtils.h"
#include "capture/ScreenCaptureService.h"
#include "editor/BackgroundStyle.h"
#include "editor/ColorPalette.h"
#include "editor/PresetStore.h"
#include "platform/Platform.h"
#include "recording/ScreenRecorder.h"
#include "text/SensitiveScanner.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QFontDatabase>

#include <algorithm>

using namespace ToolSchema;

namespace {

QJsonArray displayList() {
    QJsonArray list;
    const QList<platform::DisplayInfo> displays = ScreenCaptureService::shared().displays();
    const auto underPointer = ScreenCaptureService::shared().displayUnderPointer();
    for (const platform::DisplayInfo& display : displays) {
        const double scale = display.scale > 0 ? display.scale : 1.0;
        const QRectF points(display.geometry.x() / scale, display.geometry.y() / scale,
                            display.geometry.width() / scale, display.geometry.height() / scale);
        list.append(QJsonObject{
            {QStringLiteral("id"), static_cast<qint64>(display.id)},
            {QStringLiteral("name"), display.name},
            {QStringLiteral("frame"), ToolInfo::rectJson(points)},
            {QStringLiteral("pixel_width"), display.geometry.width()},
            {QStringLiteral("pixel_height"), display.geometry.height()},
            {QStringLiteral("scale"), scale},
            {QStringLiteral("primary"), display.primary},
            {QStringLiteral("under_mouse"), underPointer && underPointer->id == display.id},
        });
    }
    return list;
}

QJsonObject historySummary() {
    const QFileInfoList files =
        QDir(HistoryManager::directory()).entryInfoList(QDir::Files | QDir::NoDotAndDotDot);
    qint64 bytes = 0;
    for (const QFileInfo& file : files)
        bytes += file.size();
    return QJsonObject{{QStringLiteral("folder"), HistoryManager::directory()},
                       {QStringLiteral("captures"), static_cast<qint64>(files.size())},
                       {QStringLiteral("bytes"), bytes},
                       {QStringLiteral("limit"), Prefs::integer(QStringLiteral("historyLimit"))}};
}

QJsonObject outputSettings() {
    return QJsonObject{
        {QStringLiteral("image_format"), Prefs::text(QStringLiteral("imageFormat"))},
        {QStringLiteral("copy_to_clipboard"), Prefs::flag(QStringLiteral("copyToClipboard"))},
        {QStringLiteral("save_to_disk"), Prefs::flag(QStringLiteral("autoSaveToDisk"))},
        {QStringLiteral("save_folder"), Prefs::saveDirectory()},
        {QStringLiteral("show_quick_access"), Prefs::flag(QStringLiteral("showQuickAccess"))},
        {QStringLiteral("window_shadow"), Prefs::flag(QStringLiteral("windowShadow"))},
        {QStringLiteral("auto_beautify"), Prefs::flag(QStringLiteral("autoBeautify"))},
    };
}

QJsonObject agentSettings(AgentAccess& access) {
    QJsonObject policies;
    for (const auto category : {AgentAccess::Category::capture, AgentAccess::Category::record,
                                AgentAccess::Category::history, AgentAccess::Category::manage})
        policies.insert(AgentAccess::categoryName(category),
                        AgentAccess::policyName(access.policy(category)));
    return QJsonObject{
        {QStringLiteral("policies"), policies},
        {QStringLiteral("image_sharing"), AgentAccess::imageSharingName(access.imageSharing())},
        {QStringLiteral("image_sharing_means"), AgentAccess::imageSharingExplanation(access.imageSharing())},
        {QStringLiteral("sensitive_data_hidden"), access.redactForAgents()},
        {QStringLiteral("notice_shown"), access.announce()},
    };
}

void getStatus(const ToolArgs&, const ToolContext& context, const ToolDone& done) {
    const auto& services = platform::services();
    ToolOutput out;
    out.json = QJsonObject{
        {QStringLiteral("app"), QStringLiteral("Pictavia")},
        {QStringLiteral("version"), QCoreApplication::applicationVersion()},
        {QStringLiteral("displays"), displayList()},
        {QStringLiteral("permissions"),
         QJsonObject{
             {QStringLiteral("screen_capture"), services.screen != nullptr},
             {QStringLiteral("text_recognition"), services.textRecognition != nullptr},
             {QStringLiteral("window_arrangement"), services.screen != nullptr},
             // Scrolling other programs takes synthesised input (XTEST on X11).
             {QStringLiteral("scrolling_capture"), !CaptureCoordinator::scrollingUnavailable(false)}}},
        {QStringLiteral("recording"), ScreenRecorder::shared().state() != ScreenRecorder::State::idle},
        {QStringLiteral("history"), historySummary()},
        {QStringLiteral("output"), outputSettings()},
        {QStringLiteral("agent_access"), agentSettings(context.access())},
    };
    out.summary = QStringLiteral("Read the status");
    done(std::move(out));
}

void listWindows(const ToolArgs& args, const ToolContext&, const ToolDone& done) {
    const auto filter = args.string(QStringLiteral("app"));
    const bool ownToo = filter && QStringLiteral("Pictavia").contains(*filter, Qt::CaseInsensitive);
    QJsonArray list;
    for (const platform::WindowInfo& window : ToolInfo::windows()) {
        const bool own = window.pid == QCoreApplication::applicationPid();
        if (own && !ownToo) continue;
        if (filter && !window.ownerName.contains(*filter, Qt::CaseInsensitive) && !(own && ownToo)) continue;
        list.append(
            QJsonObject{{QStringLiteral("id"), static_cast<qint64>(window.id)},
                        {QStringLiteral("app"), window.ownerName},
                        {QStringLiteral("title"), window.title},
                        {QStringLiteral("pid"), window.pid},
                        {QStringLiteral("frame"), ToolInfo::rectJson(ToolInfo::pointFrame(window.frame))}});
    }
    ToolOutput out;
    out.json.insert(QStringLiteral("windows"), list);
    out.summary = QStringLiteral("Listed %1 windows").arg(list.size());
    if (list.isEmpty()) {
        if (const auto missing = ToolInfo::windowsUnavailable()) {
            out.json.insert(QStringLiteral("note"), *missing);
            out.summary = *missing;
        }
    }
    done(std::move(out));
}

void listStyles(const ToolArgs&, const ToolContext&, const ToolDone& done) {
    QJsonArray presets;
    for (const BeautifyPreset& preset : PresetStore::shared().presets())
        presets.append(QJsonObject{{QStringLiteral("name"), preset.name},
                                   {QStringLiteral("background"), preset.style},
                                   {QStringLiteral("padding"), preset.padding},
                                   {QStringLiteral("corner_radius"), preset.radius}});
    QJsonArray backgrounds;
    for (const BackgroundStyle style : Backgrounds::allCases())
        backgrounds.append(QJsonObject{{QStringLiteral("name"), Backgrounds::raw(style)},
                                       {QStringLiteral("label"), Backgrounds::label(style)}});
    QJsonArray palette;
    for (const QColor& color : ColorPalette::load())
        palette.append(color.name(color.alpha() < 255 ? QColor::HexArgb : QColor::HexRgb));
    QJsonArray formats;
    for (const auto& [name, type] :
         {std::pair{"png", platform::ImageType::png}, std::pair{"jpg", platform::ImageType::jpeg},
          std::pair{"webp", platform::ImageType::webp}, std::pair{"heic", platform::ImageType::heic}})
        if (ImageUtils::canEncode(type)) formats.append(QLatin1String(name));
    const auto choices = [](const char* key) {
        QJsonArray values;
        if (const auto* setting = SettingsCatalog::find(QLatin1String(key)))
            for (const auto& choice : setting->choices)
                values.append(choice.value);
        return values;
    };
    ToolOutput out;
    out.json = QJsonObject{
        {QStringLiteral("presets"), presets},
        {QStringLiteral("backgrounds"), backgrounds},
        {QStringLiteral("fonts"), QJsonArray::fromStringList(QFontDatabase::families())},
        {QStringLiteral("colors"),
         QJsonObject{
             {QStringLiteral("names"), QJsonArray{"red", "orange", "yellow", "green", "blue", "purple",
                                                  "pink", "white", "black", "gray", "brand"}},
             {QStringLiteral("palette"), palette},
             {QStringLiteral("hex"), QStringLiteral("#RRGGBB or #AARRGGBB")}}},
        {QStringLiteral("emoji"), QJsonArray{"👉", "✅", "❌", "⚠️", "⭐", "🔥", "💡", "❤️", "👀", "🎉"}},
        {QStringLiteral("annotation_types"),
         QJsonArray{"arrow",   "line",     "rectangle",     "ellipse",    "highlight",
                    "blur",    "pixelate", "spotlight",     "text",       "step",
                    "counter", "emoji",    "freehand",      "crop",       "rotate",
                    "flip",    "resize",   "expand_canvas", "background", "clear_annotations"}},
        {QStringLiteral("text_styles"), QJsonArray{"plain", "filled", "outlined"}},
        {QStringLiteral("blur_styles"), QJsonArray{"pixelate", "gaussian"}},
        {QStringLiteral("image_formats"), formats},
        {QStringLiteral("video"), QJsonObject{{QStringLiteral("formats"), QJsonArray{"mp4", "gif"}},
                                              {QStringLiteral("codecs"), choices("recCodec")},
                                              {QStringLiteral("gif_quality"), choices("gifQuality")}}},
        {QStringLiteral("sensitive_kinds"), QJsonArray::fromStringList(SensitiveScanner::kinds())},
    };
    out.summary = QStringLiteral("Listed styles");
    done(std::move(out));
}

} // namespace

namespace ToolInfo {

QList<platform::WindowInfo> windows() {
    const auto& screen = platform::services().screen;
    QList<platform::WindowInfo> list;
    if (!screen) return list;
    for (const platform::WindowInfo& window : screen->windows())
        if (window.layer == 0 && !window.frame.isEmpty()) list.append(window);
    return list;
}

std::optional<QString> windowsUnavailable() {
    const auto& screen = platform::services().screen;
    if (!screen) return QStringLiteral("No display is available.");
    // Windows without a place (a desktop that tells only their titles) cannot be targeted.
    const QList<platform::WindowInfo> all = screen->windows();
    if (std::any_of(all.begin(), all.end(), [](const platform::WindowInfo& w) { return !w.frame.isEmpty(); }))
        return std::nullopt;
    // A backend without a window list refuses every window grab with its reason, where a
    // missing window is just "Window not found"; 0 is never a window's number.
    const auto refused = screen->grabWindow(0);
    if (!refused && refused.error().code == 2 && refused.error().message != u"Window not found")
        return refused.error().message;
    return std::nullopt;
}

QRectF pointFrame(const QRect& rootPixels) {
    double scale = 1.0;
    for (const platform::DisplayInfo& display : ScreenCaptureService::shared().displays())
        if (display.geometry.contains(rootPixels.center())) scale = display.scale > 0 ? display.scale : 1.0;
    return QRectF(rootPixels.x() / scale, rootPixels.y() / scale, rootPixels.width() / scale,
                  rootPixels.height() / scale);
}

QJsonObject rectJson(const QRectF& rect) {
    return QJsonObject{{QStringLiteral("x"), rect.x()},
                       {QStringLiteral("y"), rect.y()},
                       {QStringLiteral("width"), rect.width()},
                       {QStringLiteral("height"), rect.height()}};
}

} // namespace ToolInfo

std::vector<AgentTool> AgentToolGroups::status() {
    return {
        {QStringLiteral("get_status"), QStringLiteral("Pictavia status"),
         QStringLiteral(
             "What Pictavia can do right now: displays (ids, frames, scale), permissions, whether a "
             "recording is running, history size, output settings and what the user lets agents see. "
             "Call this first."),
         true, false, object({}), getStatus},
        {QStringLiteral("list_windows"), QStringLiteral("List windows"),
         QStringLiteral(
             "On-screen app windows, front to back, with ids, app names, titles and frames (points, "
             "top-left origin). Use the id or app name with take_screenshot, start_recording or "
             "scrolling_capture."),
         true, false,
         object({{QStringLiteral("app"),
                  string(QStringLiteral("Only windows of apps whose name contains this. \"Pictavia\" lists "
                                        "Pictavia's own windows."))}}),
         listWindows},
        {QStringLiteral("list_styles"), QStringLiteral("List styles and options"),
         QStringLiteral(
             "Everything the editing tools accept: beautify presets, background styles, fonts, colors, "
             "emoji, annotation types, image formats, video and GIF options, and the kinds of "
             "sensitive data Pictavia can detect."),
         true, false, object({}), listStyles},
    };
}
