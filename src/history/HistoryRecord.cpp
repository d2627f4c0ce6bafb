#include "history/HistoryRecord.h"

#include <QFileInfo>
#include <QJsonValue>

#include <cmath>

namespace {

const QString keyName = QStringLiteral("name");
const QString keyText = QStringLiteral("text");
const QString keyApp = QStringLiteral("app");
const QString keyWindow = QStringLiteral("window");
const QString keyDate = QStringLiteral("date");
const QString keyKind = QStringLiteral("kind");
const QString keyWidth = QStringLiteral("width");
const QString keyHeight = QStringLiteral("height");
const QString keyDuration = QStringLiteral("duration");
const QString keyKeep = QStringLiteral("keep");

std::optional<QString> optionalText(const QJsonObject& object, const QString& key) {
    const QJsonValue value = object.value(key);
    if (!value.isString()) return std::nullopt;
    return value.toString();
}

} // namespace

HistoryRecord::Kind HistoryRecord::kindOf(const QString& fileName) {
    const QString extension = QFileInfo(fileName).suffix().toLower();
    if (extension == u"mp4" || extension == u"mov" || extension == u"m4v") return Kind::Video;
    if (extension == u"gif") return Kind::Gif;
    return Kind::Image;
}

QString HistoryRecord::kindName(Kind kind) {
    switch (kind) {
    case Kind::Video:
        return QStringLiteral("video");
    case Kind::Gif:
        return QStringLiteral("gif");
    case Kind::Image:
        break;
    }
    return QStringLiteral("image");
}

std::optional<HistoryRecord::Kind> HistoryRecord::kindNamed(const QString& name) {
    for (const Kind kind : {Kind::Image, Kind::Video, Kind::Gif})
        if (kindName(kind) == name) return kind;
    return std::nullopt;
}

std::optional<QString> HistoryRecord::durationLabel() const {
    if (!duration || !(*duration > 0) || !std::isfinite(*duration)) return std::nullopt;
    const long long seconds = std::llround(*duration);
    return QString::asprintf("%lld:%02lld", seconds / 60, seconds % 60);
}

QString HistoryRecord::haystack() const {
    return (name + u'\n' + text + u'\n' + app.value_or(QString()) + u'\n' + window.value_or(QString()))
        .toLower();
}

QByteArray HistoryRecord::haystackUtf8() const {
    return haystack().toUtf8();
}

QJsonObject HistoryRecord::toJson() const {
    QJsonObject object{{keyName, name},
                       {keyText, text},
                       {keyDate, date.toUTC().toString(Qt::ISODate)},
                       {keyKind, kindName(kind)},
                       {keyWidth, width},
                       {keyHeight, height},
                       {keyKeep, keep}};
    if (app) object.insert(keyApp, *app);
    if (window) object.insert(keyWindow, *window);
    if (duration) object.insert(keyDuration, *duration);
    return object;
}

std::optional<HistoryRecord> HistoryRecord::fromJson(const QJsonObject& object) {
    HistoryRecord record;
    record.name = object.value(keyName).toString();
    if (record.name.isEmpty()) return std::nullopt;
    record.text = object.value(keyText).toString();
    record.app = optionalText(object, keyApp);
    record.window = optionalText(object, keyWindow);
    record.date = QDateTime::fromString(object.value(keyDate).toString(), Qt::ISODate);
    record.kind = kindNamed(object.value(keyKind).toString()).value_or(kindOf(record.name));
    record.width = object.value(keyWidth).toInt();
    record.height = object.value(keyHeight).toInt();
    if (const QJsonValue duration = object.value(keyDuration); duration.isDouble())
        record.duration = duration.toDouble();
    record.keep = object.value(keyKeep).toBool();
    return record;
}
