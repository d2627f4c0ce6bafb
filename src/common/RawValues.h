#pragma once

#include <QString>
#include <QStringList>
#include <QStringView>

#include <array>
#include <optional>
#include <utility>

// The text form of an enumeration, as stored in preferences and files.
template <typename Enum, std::size_t N> class RawValues {
public:
    constexpr explicit RawValues(std::array<std::pair<Enum, const char*>, N> entries) : m_entries(entries) {}

    std::optional<Enum> parse(QStringView text) const {
        for (const auto& [value, raw] : m_entries)
            if (text == QLatin1String(raw)) return value;
        return std::nullopt;
    }

    QString raw(Enum value) const {
        for (const auto& [candidate, raw] : m_entries)
            if (candidate == value) return QLatin1String(raw);
        return {};
    }

    // Every text, in declaration order.
    QStringList raws() const {
        QStringList all;
        for (const auto& entry : m_entries)
            all << QLatin1String(entry.second);
        return all;
    }

private:
    std::array<std::pair<Enum, const char*>, N> m_entries;
};
