#include "platform/wayland/KWinWindows.h"

#include "platform/wayland/KWinScript.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUuid>

#include <algorithm>
#include <cmath>

namespace platform::wayland {

namespace {

using namespace std::chrono_literals;

// KWin answers in milliseconds; a compositor busy for this long is not going to.
constexpr std::chrono::milliseconds answerTime = 5s;

// Edges are rounded, not sizes, so that neighbouring windows keep sharing their edges where
// KWin places them between whole units.
QRect roundedFrame(const QJsonObject& window) {
    const double x = window.value(u"x").toDouble();
    const double y = window.value(u"y").toDouble();
    const int left = int(std::lround(x));
    const int top = int(std::lround(y));
    const int right = int(std::lround(x + std::max(0.0, window.value(u"width").toDouble())));
    const int bottom = int(std::lround(y + std::max(0.0, window.value(u"height").toDouble())));
    return {left, top, right - left, bottom - top};
}

} // namespace

QString kwinWindowsScript() {
    // KWin 5 has clientList() and numbered desktops; KWin 6 windowList() and desktop objects.
    return QStringLiteral(R"js(
function onCurrentDesktop(window) {
    if (window.onAllDesktops) return true;
    if (typeof window.desktop === "number") return window.desktop === workspace.currentDesktop;
    return window.desktops.indexOf(workspace.currentDesktop) >= 0;
}
var all = workspace.windowList ? workspace.windowList() : workspace.clientList();
var windows = [];
for (var i = 0; i < all.length; ++i) {
    var window = all[i];
    if (!window.normalWindow && !window.dialog) continue;
    var frame = window.frameGeometry;
    windows.push({
        id: String(window.internalId),
        pid: window.pid,
        title: String(window.caption),
        app: String(window.resourceClass),
        x: frame.x, y: frame.y, width: frame.width, height: frame.height,
        onCurrentDesktop: onCurrentDesktop(window),
        minimized: window.minimized,
        stacking: window.stackingOrder,
        active: window.active
    });
}
sendReply(JSON.stringify({windows: windows}));
)js");
}

Result<QList<KWinWindow>> parseKWinWindows(const QByteArray& json) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject() ||
        !document.object().value(u"windows").isArray())
        return Error{QStringLiteral("KWin's window list is not readable.")};
    const QJsonArray entries = document.object().value(u"windows").toArray();
    QList<std::pair<qint64, KWinWindow>> stacked;
    for (const auto& each : entries) {
        const QJsonObject entry = each.toObject();
        KWinWindow window;
        window.internalId = entry.value(u"id").toString();
        // A version 4 UUID: its first 32 bits are random, and 0 is no window.
        const QUuid uuid(window.internalId);
        if (uuid.isNull()) continue;
        window.id = uuid.data1 != 0 ? uuid.data1 : 1;
        window.pid = std::max<qint64>(0, entry.value(u"pid").toInteger());
        window.appId = entry.value(u"app").toString();
        window.title = entry.value(u"title").toString();
        window.rect = roundedFrame(entry);
        window.visible = entry.value(u"onCurrentDesktop").toBool() && !entry.value(u"minimized").toBool();
        window.focused = entry.value(u"active").toBool();
        stacked.append({entry.value(u"stacking").toInteger(), window});
    }
    // KWin numbers its stack from the bottom.
    std::stable_sort(stacked.begin(), stacked.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    QList<KWinWindow> windows;
    for (auto& [order, window] : stacked)
        windows.append(std::move(window));
    return windows;
}

Result<QList<KWinWindow>> requestKWinWindows() {
    const Result<QString> answer = runKWinScript(kwinWindowsScript(), answerTime);
    if (!answer) return answer.error();
    return parseKWinWindows(answer->toUtf8());
}

} // namespace platform::wayland
