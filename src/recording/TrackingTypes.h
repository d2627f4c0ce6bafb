#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>

// A click during a recording: seconds since it started (pauses left out) and where, as
// fractions of the recorded region (0 to 1 from its top-left).
struct ClickMark {
    double time = 0;
    double x = 0;
    double y = 0;

    QJsonObject toJson() const;
    static ClickMark fromJson(const QJsonObject& object);
    bool operator==(const ClickMark&) const = default;
};

// The pointer at one moment: place as for clicks, and which of the recording's pointer
// images it showed.
struct CursorSample {
    double time = 0;
    double x = 0;
    double y = 0;
    int shape = 0;

    QJsonObject toJson() const;
    static CursorSample fromJson(const QJsonObject& object);
    bool operator==(const CursorSample&) const = default;
};

// One pointer image seen during a recording: PNG data, its size and the pixel that points.
struct CursorShape {
    QByteArray png;
    double width = 0;
    double height = 0;
    double hotX = 0;
    double hotY = 0;

    QJsonObject toJson() const;
    static CursorShape fromJson(const QJsonObject& object);
    bool operator==(const CursorShape&) const = default;
};

// The list of `items` as a JSON array, and back; entries that are not objects are skipped.
template <typename T> QJsonArray toJsonArray(const QList<T>& items);
template <typename T> QList<T> fromJsonArray(const QJsonArray& array);

#include <QJsonArray>

template <typename T> QJsonArray toJsonArray(const QList<T>& items) {
    QJsonArray array;
    for (const T& item : items)
        array.append(item.toJson());
    return array;
}

template <typename T> QList<T> fromJsonArray(const QJsonArray& array) {
    QList<T> items;
    for (const QJsonValue& value : array)
        if (value.isObject()) items.append(T::fromJson(value.toObject()));
    return items;
}
