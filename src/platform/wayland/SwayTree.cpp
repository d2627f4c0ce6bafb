#include "platform/wayland/SwayTree.h"

#include "platform/wayland/SwayIpc.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>

namespace platform::wayland {

namespace {

// The tree is outside input: its depth is bounded so that a hostile reply cannot exhaust
// the stack.
constexpr int maxDepth = 64;

struct Place {
    QString output;
    QRect outputRect;
    QString workspace;
    bool floating = false;
};

QRect rectOf(const QJsonObject& node) {
    const QJsonObject rect = node.value(u"rect").toObject();
    return {rect.value(u"x").toInt(), rect.value(u"y").toInt(), std::max(0, rect.value(u"width").toInt()),
            std::max(0, rect.value(u"height").toInt())};
}

// The children of a node, most recently focused first; `focus` lists their ids in that order.
QList<QJsonObject> byFocus(const QJsonArray& children, const QJsonArray& focus) {
    QList<std::pair<qsizetype, QJsonObject>> ranked;
    for (const QJsonValue& child : children) {
        if (!child.isObject()) continue;
        const QJsonObject node = child.toObject();
        const qint64 id = node.value(u"id").toInteger(-1);
        qsizetype rank = focus.size();
        for (qsizetype i = 0; i < focus.size(); ++i) {
            if (focus[i].toInteger(-2) == id) {
                rank = i;
                break;
            }
        }
        ranked.append({rank, node});
    }
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    QList<QJsonObject> nodes;
    for (auto& [rank, node] : ranked)
        nodes.append(std::move(node));
    return nodes;
}

void collect(const QJsonObject& node, Place place, int depth, QList<SwayWindow>& windows) {
    if (depth > maxDepth) return;
    const QString type = node.value(u"type").toString();
    const QString name = node.value(u"name").toString();
    if (type == u"output") {
        place.output = name;
        place.outputRect = rectOf(node);
    }
    if (type == u"workspace") place.workspace = name;
    if (type == u"floating_con") place.floating = true;

    const QJsonArray tiled = node.value(u"nodes").toArray();
    const QJsonArray floating = node.value(u"floating_nodes").toArray();
    // A view is a leaf container that an application draws: it has a pid or an app id.
    const bool view =
        (type == u"con" || type == u"floating_con") && tiled.isEmpty() && floating.isEmpty() &&
        (node.contains(u"pid") || node.contains(u"app_id") || node.contains(u"window_properties"));
    if (view) {
        SwayWindow window;
        window.id = uint32_t(node.value(u"id").toInteger());
        window.pid = std::max<qint64>(0, node.value(u"pid").toInteger());
        window.appId = node.value(u"app_id").toString();
        if (window.appId.isEmpty())
            window.appId = node.value(u"window_properties").toObject().value(u"class").toString();
        window.title = name;
        window.output = place.output;
        window.outputRect = place.outputRect;
        window.workspace = place.workspace;
        window.rect = rectOf(node);
        window.visible = node.value(u"visible").toBool();
        window.focused = node.value(u"focused").toBool();
        window.floating = place.floating;
        windows.append(window);
        return;
    }
    const QJsonArray focus = node.value(u"focus").toArray();
    // Floating windows are drawn above the tiled ones of their workspace.
    for (const QJsonObject& child : byFocus(floating, focus)) {
        Place inner = place;
        inner.floating = true;
        collect(child, inner, depth + 1, windows);
    }
    for (const QJsonObject& child : byFocus(tiled, focus))
        collect(child, place, depth + 1, windows);
}

} // namespace

Result<QList<SwayWindow>> parseSwayTree(const QByteArray& json) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return Error{QStringLiteral("The compositor's window tree is not readable JSON.")};
    const QJsonObject root = document.object();
    if (root.value(u"type").toString() != u"root")
        return Error{QStringLiteral("The compositor's window tree has no root.")};
    QList<SwayWindow> windows;
    collect(root, {}, 0, windows);
    return windows;
}

Result<QList<SwayWindow>> requestSwayWindows() {
    const QString socket = swaySocketPath();
    if (socket.isEmpty()) return QList<SwayWindow>();
    const Result<QByteArray> reply = requestSwayTree(socket);
    if (!reply) return reply.error();
    return parseSwayTree(*reply);
}

std::optional<QRect> pixelsOnOutput(const SwayWindow& window, const QSize& outputPixels) {
    const QRect output = window.outputRect;
    const QRect part = window.rect.intersected(output);
    if (part.isEmpty() || outputPixels.isEmpty()) return std::nullopt;
    // Edges are scaled, not sizes, so that neighbouring windows share their edge pixels.
    const double sx = double(outputPixels.width()) / output.width();
    const double sy = double(outputPixels.height()) / output.height();
    const QPoint from = part.topLeft() - output.topLeft();
    const QPoint to = from + QPoint(part.width(), part.height());
    const QPoint topLeft(int(std::lround(from.x() * sx)), int(std::lround(from.y() * sy)));
    const QPoint bottomRight(int(std::lround(to.x() * sx)), int(std::lround(to.y() * sy)));
    const QRect pixels =
        QRect(topLeft, bottomRight - QPoint(1, 1)).intersected(QRect(QPoint(), outputPixels));
    if (pixels.isEmpty()) return std::nullopt;
    return pixels;
}

} // namespace platform::wayland
