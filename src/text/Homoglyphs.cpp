#include "text/Homoglyphs.h"

#include <QtGlobal>

#include <algorithm>

namespace Homoglyphs {

namespace {

// Sorted by look-alike, for binary search.
constexpr std::array<Entry, tableSize> entries = {{
    // Greek capitals
    {u'\u0391', u'A'}, // Alpha
    {u'\u0392', u'B'}, // Beta
    {u'\u0395', u'E'}, // Epsilon
    {u'\u0396', u'Z'}, // Zeta
    {u'\u0397', u'H'}, // Eta
    {u'\u0399', u'I'}, // Iota
    {u'\u039A', u'K'}, // Kappa
    {u'\u039C', u'M'}, // Mu
    {u'\u039D', u'N'}, // Nu
    {u'\u039F', u'O'}, // Omicron
    {u'\u03A1', u'P'}, // Rho
    {u'\u03A4', u'T'}, // Tau
    {u'\u03A5', u'Y'}, // Upsilon
    {u'\u03A7', u'X'}, // Chi
    // Greek small letters
    {u'\u03B1', u'a'}, // alpha
    {u'\u03BD', u'v'}, // nu
    {u'\u03BF', u'o'}, // omicron
    {u'\u03C1', u'p'}, // rho
    // Cyrillic capitals
    {u'\u0410', u'A'}, // A
    {u'\u0412', u'B'}, // Ve
    {u'\u0415', u'E'}, // Ie
    {u'\u041A', u'K'}, // Ka
    {u'\u041C', u'M'}, // Em
    {u'\u041D', u'H'}, // En
    {u'\u041E', u'O'}, // O
    {u'\u0420', u'P'}, // Er
    {u'\u0421', u'C'}, // Es
    {u'\u0422', u'T'}, // Te
    {u'\u0425', u'X'}, // Ha
    // Cyrillic small letters
    {u'\u0430', u'a'}, // a
    {u'\u0435', u'e'}, // ie
    {u'\u043E', u'o'}, // o
    {u'\u0440', u'p'}, // er
    {u'\u0441', u'c'}, // es
    {u'\u0443', u'y'}, // u
    {u'\u0445', u'x'}, // ha
    // Full-width digits
    {u'\uFF10', u'0'},
    {u'\uFF11', u'1'},
    {u'\uFF12', u'2'},
    {u'\uFF13', u'3'},
    {u'\uFF14', u'4'},
    {u'\uFF15', u'5'},
    {u'\uFF16', u'6'},
    {u'\uFF17', u'7'},
    {u'\uFF18', u'8'},
    {u'\uFF19', u'9'},
}};

constexpr bool wellFormed() {
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const auto [from, to] = entries[i];
        // A look-alike is a whole scalar (never half of a surrogate pair) and folds to ASCII.
        if (from < 0x80 || (from >= 0xD800 && from <= 0xDFFF) || to >= 0x80) return false;
        if (i > 0 && entries[i - 1].first >= from) return false;
    }
    return true;
}
static_assert(wellFormed(), "look-alikes must be sorted BMP scalars that fold to ASCII");

} // namespace

const std::array<Entry, tableSize>& table() {
    return entries;
}

char16_t fold(char16_t c) {
    if (c < 0x80) return c;
    const auto it = std::lower_bound(entries.begin(), entries.end(), c,
                                     [](const Entry& e, char16_t key) { return e.first < key; });
    return it != entries.end() && it->first == c ? it->second : c;
}

QString fold(const QString& text) {
    QString folded = text;
    // Surrogates are never keys, so characters outside the BMP pass through unchanged.
    for (QChar& c : folded)
        c = QChar(fold(c.unicode()));
    Q_ASSERT(folded.size() == text.size());
    return folded;
}

} // namespace Homoglyphs
