#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QDateTime>
#include <QJsonObject>
#include <QString>

#include <optional>

// One capture in the history: what was read in it, where it came from, its size and length,
// and whether the user keeps it. Keyed by the file name.
struct HistoryRecord {
    enum class Kind { Image, Video, Gif };

    QString name;    // last path component of the capture
    QByteArray text; // recognised text as UTF-8, half the size of a QString; empty until scanned
    std::optional<QString> app;
    std::optional<QString> window;
    QDateTime date;
    Kind kind = Kind::Image;
    int width = 0;
    int height = 0;
    std::optional<double> duration; // seconds, for movies and GIFs
    bool keep = false;

    QString textString() const { return QString::fromUtf8(text); }

    // By the lower-cased extension: mp4, mov, m4v are videos, gif is a GIF, the rest images.
    static Kind kindOf(const QString& fileName);
    static QString kindName(Kind kind);
    static std::optional<Kind> kindNamed(const QString& name);

    // "m:ss" of the rounded duration, minutes not folded into hours; none without a length.
    std::optional<QString> durationLabel() const;

    // The searched text: name, text, app and window on lines of their own, lower-cased.
    QString haystack() const;
    // The same as UTF-8, the form the index searches.
    QByteArray haystackUtf8() const;

    QJsonObject toJson() const;
    // The same object as compact JSON text, appended to out: far faster than going through
    // QJsonObject for a whole index.
    void appendJson(QByteArray& out) const;
    // "yyyy-MM-ddTHH:mm:ssZ" of the UTC time, as Qt::ISODate writes it; empty when invalid.
    static QByteArray isoDate(const QDateTime& date);
    // Reads what isoDate writes without QDateTime::fromString's cost, anything else through it.
    static QDateTime dateFromIso(QByteArrayView text);
    // Lower-cases UTF-8 text as QString::toLower does, ASCII without conversion.
    static void appendLowerUtf8(QByteArray& out, QByteArrayView text);
    // None when the object has no name.
    static std::optional<HistoryRecord> fromJson(const QJsonObject& object);

    bool operator==(const HistoryRecord&) const = default;
};
