#pragma once

#include <QString>

#include <array>
#include <utility>

// Characters of other scripts that are drawn like Latin letters or ASCII digits, and the
// plain characters they imitate. Text recognition reads a Cyrillic "о" in an address as
// readily as a Latin "o"; folding lets one set of patterns find both.
namespace Homoglyphs {

// Every entry maps one scalar of the Basic Multilingual Plane to one ASCII scalar, so a
// folded string keeps the length and the UTF-16 indices of the original.
using Entry = std::pair<char16_t, char16_t>;
inline constexpr std::size_t tableSize = 46;
const std::array<Entry, tableSize>& table();

// `c` folded: its plain look-alike, or `c` itself.
char16_t fold(char16_t c);

// `text` with every look-alike replaced; the same length, unit for unit.
QString fold(const QString& text);

} // namespace Homoglyphs
