#pragma once

#include "common/Result.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QVariantMap>

#include <cmath>
#include <functional>
#include <limits>
#include <optional>

// Readers of the values of keyed documents (property lists, JSON). Numbers arrive as
// doubles from JSON and as integers or reals from property lists; anything else of the
// wrong type is refused rather than converted.
namespace KeyedValues {

inline std::optional<double> number(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        if (const double d = value.toDouble(); std::isfinite(d)) return d;
        return std::nullopt;
    default:
        return std::nullopt;
    }
}

inline std::optional<int> wholeNumber(const QVariant& value) {
    const auto d = number(value);
    if (!d || *d != std::floor(*d) || *d < std::numeric_limits<int>::min() ||
        *d > std::numeric_limits<int>::max())
        return std::nullopt;
    return int(*d);
}

inline std::optional<bool> boolean(const QVariant& value) {
    if (value.typeId() != QMetaType::Bool) return std::nullopt;
    return value.toBool();
}

inline std::optional<QString> text(const QVariant& value) {
    if (value.typeId() != QMetaType::QString) return std::nullopt;
    return value.toString();
}

inline std::optional<QByteArray> bytes(const QVariant& value) {
    if (value.typeId() != QMetaType::QByteArray) return std::nullopt;
    return value.toByteArray();
}

inline std::optional<QDateTime> date(const QVariant& value) {
    if (value.typeId() != QMetaType::QDateTime || !value.toDateTime().isValid()) return std::nullopt;
    return value.toDateTime();
}

// Reads optional keys into their fields and keeps the first error: an absent key leaves
// the field's default, a present one that its reader refuses is `invalid(key, expectation)`.
class Reader {
public:
    using Invalid = std::function<Error(const QString& key, const QString& expectation)>;
    Reader(const QVariantMap& map, Invalid invalid) : m_map(map), m_invalid(std::move(invalid)) {}

    template <typename T, typename Read>
    void optional(const char* key, const char* expectation, T& field, Read read) {
        if (m_error) return;
        const auto it = m_map.constFind(QLatin1String(key));
        if (it == m_map.constEnd()) return;
        auto value = read(*it);
        if (!value)
            m_error = m_invalid(QLatin1String(key), QLatin1String(expectation));
        else
            field = std::move(*value);
    }

    const std::optional<Error>& error() const { return m_error; }

private:
    const QVariantMap& m_map;
    Invalid m_invalid;
    std::optional<Error> m_error;
};

} // namespace KeyedValues
