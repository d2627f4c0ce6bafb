#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QString>

#include <optional>

// One capture in the history: what was read in it, where it came from, its size and length,
// and whether the user keeps it. Keyed by the file name.
struct HistoryRecord {
    enum class Kind { Image, Video, Gif };

    QString name; // last path component of the capture
    QString text; // recognised text; empty until scanned, and for movies
    std::optional<QString> app;
    std::optional<QString> window;
    QDateTime date;
    Kind kind = Kind::Image;
    int width = 0;
    int height = 0;
    std::optional<double> duration; // seconds, for movies and GIFs
    bool keep = false;

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
    // None when the object has no name.
    static std::optional<HistoryRecord> fromJson(const QJsonObject& object);

    bool operator==(const HistoryRecord&) const = default;
};
