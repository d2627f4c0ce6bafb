#include "history/HistoryRecord.h"

#include <QFileInfo>
#include <QJsonValue>
#include <QLocale>

#include <algorithm>
#include <cmath>
#include <string_view>

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
    const QByteArray nameUtf8 = name.toUtf8();
    const QByteArray appUtf8 = app.value_or(QString()).toUtf8();
    const QByteArray windowUtf8 = window.value_or(QString()).toUtf8();
    QByteArray out;
    out.reserve(nameUtf8.size() + text.size() + appUtf8.size() + windowUtf8.size() + 3);
    appendLowerUtf8(out, nameUtf8);
    out += '\n';
    appendLowerUtf8(out, text);
    out += '\n';
    appendLowerUtf8(out, appUtf8);
    out += '\n';
    appendLowerUtf8(out, windowUtf8);
    return out;
}

void HistoryRecord::appendLowerUtf8(QByteArray& out, QByteArrayView text) {
    const char* at = text.data();
    const char* const end = at + text.size();
    while (at < end) {
        const char* run = at;
        while (at < end && static_cast<unsigned char>(*at) < 0x80)
            ++at;
        const qsizetype start = out.size();
        out.resize(start + (at - run));
        char* to = out.data() + start;
        for (const char* from = run; from < at; ++from)
            *to++ = (*from >= 'A' && *from <= 'Z') ? static_cast<char>(*from + ('a' - 'A')) : *from;
        // Runs between ASCII bytes are whole characters; Qt knows their cases.
        run = at;
        while (at < end && static_cast<unsigned char>(*at) >= 0x80)
            ++at;
        if (at > run) out += QString::fromUtf8(run, at - run).toLower().toUtf8();
    }
}

namespace {

// Room for the worst case of writeString: every byte escaped as \u00XX, and the quotes.
qsizetype stringBound(qsizetype bytes) {
    return bytes * 6 + 2;
}

char* writeString(char* to, QByteArrayView text) {
    static const char hex[] = "0123456789abcdef";
    *to++ = '"';
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && c != '"' && c != '\\') {
            *to++ = c;
            continue;
        }
        *to++ = '\\';
        switch (c) {
        case '"':
        case '\\':
            *to++ = c;
            break;
        case '\n':
            *to++ = 'n';
            break;
        case '\r':
            *to++ = 'r';
            break;
        case '\t':
            *to++ = 't';
            break;
        case '\b':
            *to++ = 'b';
            break;
        case '\f':
            *to++ = 'f';
            break;
        default:
            *to++ = 'u';
            *to++ = '0';
            *to++ = '0';
            *to++ = hex[byte >> 4];
            *to++ = hex[byte & 0xf];
        }
    }
    *to++ = '"';
    return to;
}

// Names, apps and windows are nearly always ASCII: those skip the conversion to UTF-8.
char* writeString(char* to, const QString& text) {
    for (const QChar c : text)
        if (c.unicode() >= 0x80) return writeString(to, QByteArrayView(text.toUtf8()));
    QByteArray ascii(text.size(), Qt::Uninitialized);
    char* at = ascii.data();
    for (const QChar c : text)
        *at++ = static_cast<char>(c.unicode());
    return writeString(to, QByteArrayView(ascii));
}

char* writeKey(char* to, std::string_view key) {
    *to++ = ',';
    *to++ = '"';
    to = std::copy(key.begin(), key.end(), to);
    *to++ = '"';
    *to++ = ':';
    return to;
}

char* writeBytes(char* to, QByteArrayView bytes) {
    return std::copy(bytes.begin(), bytes.end(), to);
}

void appendDigits(char* to, int value, int digits) {
    for (int i = digits - 1; i >= 0; --i) {
        to[i] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
}

int digitsAt(QByteArrayView text, qsizetype at, qsizetype count) {
    int value = 0;
    for (qsizetype i = at; i < at + count; ++i) {
        const char c = text[i];
        if (c < '0' || c > '9') return -1;
        value = value * 10 + (c - '0');
    }
    return value;
}

} // namespace

QByteArray HistoryRecord::isoDate(const QDateTime& date) {
    if (!date.isValid()) return {};
    const qint64 seconds = date.toSecsSinceEpoch();
    constexpr qint64 year10000 = 253402300800;
    if (seconds < 0 || seconds >= year10000) return date.toUTC().toString(Qt::ISODate).toUtf8();
    // Civil date from days since 1970 (Howard Hinnant's algorithm), far cheaper than toString.
    const qint64 days = seconds / 86400;
    const int secondOfDay = static_cast<int>(seconds % 86400);
    const qint64 z = days + 719468;
    const qint64 era = z / 146097;
    const qint64 dayOfEra = z - era * 146097;
    const qint64 yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const qint64 dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const qint64 monthIndex = (5 * dayOfYear + 2) / 153;
    const int day = static_cast<int>(dayOfYear - (153 * monthIndex + 2) / 5 + 1);
    const int month = static_cast<int>(monthIndex < 10 ? monthIndex + 3 : monthIndex - 9);
    const int year = static_cast<int>(yearOfEra + era * 400 + (month <= 2 ? 1 : 0));
    QByteArray out("0000-00-00T00:00:00Z");
    char* to = out.data();
    appendDigits(to, year, 4);
    appendDigits(to + 5, month, 2);
    appendDigits(to + 8, day, 2);
    appendDigits(to + 11, secondOfDay / 3600, 2);
    appendDigits(to + 14, secondOfDay / 60 % 60, 2);
    appendDigits(to + 17, secondOfDay % 60, 2);
    return out;
}

QDateTime HistoryRecord::dateFromIso(QByteArrayView text) {
    if (text.isEmpty()) return {};
    if (text.size() == 20 && text[4] == '-' && text[7] == '-' && text[10] == 'T' && text[13] == ':' &&
        text[16] == ':' && text[19] == 'Z') {
        const int year = digitsAt(text, 0, 4);
        const int month = digitsAt(text, 5, 2);
        const int day = digitsAt(text, 8, 2);
        const int hour = digitsAt(text, 11, 2);
        const int minute = digitsAt(text, 14, 2);
        const int second = digitsAt(text, 17, 2);
        const QDate date(year, month, day);
        if (date.isValid() && hour >= 0 && hour < 24 && minute >= 0 && minute < 60 && second >= 0 &&
            second < 60)
            return QDateTime(date, QTime(hour, minute, second), Qt::UTC);
    }
    return QDateTime::fromString(QString::fromUtf8(text), Qt::ISODate);
}

void HistoryRecord::appendJson(QByteArray& out) const {
    // One bound for the whole object, then plain pointer writes: appending piece by piece
    // costs more than the escaping.
    qsizetype bound = 160 + stringBound(text.size()) + stringBound(3 * name.size());
    if (app) bound += 16 + stringBound(3 * app->size());
    if (window) bound += 16 + stringBound(3 * window->size());
    const qsizetype start = out.size();
    if (out.capacity() < start + bound) out.reserve(std::max(2 * out.capacity(), start + bound));
    out.resize(start + bound);
    char* const begin = out.data();
    char* to = begin + start;
    *to++ = '{';
    to = writeBytes(to, "\"name\":");
    to = writeString(to, name);
    to = writeKey(to, "text");
    to = writeString(to, QByteArrayView(text));
    if (app) {
        to = writeKey(to, "app");
        to = writeString(to, *app);
    }
    if (window) {
        to = writeKey(to, "window");
        to = writeString(to, *window);
    }
    to = writeKey(to, "date");
    to = writeString(to, QByteArrayView(isoDate(date)));
    to = writeKey(to, "kind");
    to = writeString(to, QByteArrayView(kindName(kind).toLatin1()));
    to = writeKey(to, "width");
    to = writeBytes(to, QByteArray::number(width));
    to = writeKey(to, "height");
    to = writeBytes(to, QByteArray::number(height));
    // JSON has no infinities or NaN; such a length reads back as none.
    if (duration && std::isfinite(*duration)) {
        to = writeKey(to, "duration");
        to = writeBytes(to, QByteArray::number(*duration, 'g', QLocale::FloatingPointShortest));
    }
    to = writeKey(to, "keep");
    to = writeBytes(to, keep ? QByteArrayView("true") : QByteArrayView("false"));
    *to++ = '}';
    out.resize(to - begin);
}

std::optional<HistoryRecord> HistoryRecord::fromJson(const QJsonObject& object) {
    HistoryRecord record;
    record.name = object.value(keyName).toString();
    if (record.name.isEmpty()) return std::nullopt;
    record.text = object.value(keyText).toString().toUtf8();
    record.app = optionalText(object, keyApp);
    record.window = optionalText(object, keyWindow);
    record.date = QDateTime::fromString(object.value(keyDate).toString(), Qt::ISODate);
    record.kind = kindNamed(object.value(keyKind).toString()).value_or(kindOf(record.name));
    record.width = object.value(keyWidth).toInt();
    record.height = object.value(keyHeight).toInt();
    // JSON has no infinities; a number too large for a double reads as none, as it is written.
    if (const QJsonValue duration = object.value(keyDuration);
        duration.isDouble() && std::isfinite(duration.toDouble()))
        record.duration = duration.toDouble();
    record.keep = object.value(keyKeep).toBool();
    return record;
}

QJsonObject HistoryRecord::toJson() const {
    QJsonObject object{{keyName, name},
                       {keyText, textString()},
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
