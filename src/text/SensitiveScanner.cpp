#include "text/SensitiveScanner.h"

#include "common/Log.h"
#include "platform/Platform.h"
#include "text/Homoglyphs.h"

#include <unicode/regex.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <array>
#include <climits>
#include <memory>

namespace SensitiveScanner {

namespace {

// Positions in kinds().
enum Kind { email, jwt, awsKey, key, iban, cardNumber, ipAddress, phone };

enum class Check { none, luhn, digitCount };

struct PatternSource {
    const char16_t* expression;
    Kind kind;
    bool caseInsensitive;
    Check check;
};

// In priority order: where matches on a line overlap, the earlier pattern wins.
constexpr std::array<PatternSource, 9> sources = {{
    {uR"re([A-Za-z0-9._%+\-]+@[A-Za-z0-9.\-]+\.[A-Za-z]{2,})re", email, false, Check::none},
    {uR"re(\beyJ[A-Za-z0-9_\-]{8,}\.[A-Za-z0-9_\-]{8,}\.[A-Za-z0-9_\-]{8,})re", jwt, false, Check::none},
    {uR"re(\bAKIA[0-9A-Z]{16}\b)re", awsKey, false, Check::none},
    {uR"re(\b(?:sk|pk|rk|ghp|gho|xox[abps])[_\-][A-Za-z0-9\-_]{12,}\b)re", key, false, Check::none},
    {uR"re(\b(?:api[_\- ]?key|secret|token|password|passwd|bearer)\b[:= ]+\S{6,})re", key, true, Check::none},
    {uR"re(\b[A-Z]{2}[0-9]{2}(?:[ ]?[A-Z0-9]{4}){3,7}\b)re", iban, false, Check::none},
    {uR"re(\b(?:\d[ \-]?){13,19}\b)re", cardNumber, false, Check::luhn},
    {uR"re(\b(?:(?:25[0-5]|2[0-4]\d|1?\d?\d)\.){3}(?:25[0-5]|2[0-4]\d|1?\d?\d)\b)re", ipAddress, false,
     Check::none},
    {uR"re((?:\+|00)?\d[\d \-().]{7,17}\d)re", phone, false, Check::digitCount},
}};

constexpr int minimumLength = 4; // scalars

// Some patterns take time quadratic in the length of a run without blanks (the e-mail
// pattern looks for an "@" after every start). Runs of a few thousand characters, far longer
// than a line on a screen, still search to the end; on longer ones a search gives up after
// some tens of milliseconds and leaves the rest of its text unsearched.
constexpr int32_t searchSteps = 1000;

using Patterns = std::array<std::unique_ptr<icu::RegexPattern>, sources.size()>;

// Compiled on first use. A RegexPattern is immutable once built and may be shared by
// threads; each use makes a matcher of its own.
const Patterns& patterns() {
    static const Patterns compiled = [] {
        Patterns result;
        for (std::size_t i = 0; i < sources.size(); ++i) {
            UParseError where{};
            UErrorCode status = U_ZERO_ERROR;
            result[i].reset(icu::RegexPattern::compile(
                icu::UnicodeString(sources[i].expression),
                sources[i].caseInsensitive ? UREGEX_CASE_INSENSITIVE : 0, where, status));
            if (U_FAILURE(status)) {
                qCWarning(lcPictavia, "Sensitive-data pattern %zu does not compile: %s", i,
                          u_errorName(status));
                result[i].reset();
            }
        }
        return result;
    }();
    return compiled;
}

// The decimal digits (any script, as \d reads them) of a range of `text`.
QList<int> digits(const icu::UnicodeString& text, int32_t start, int32_t end) {
    QList<int> values;
    for (int32_t i = start; i < end;) {
        const UChar32 c = text.char32At(i);
        if (u_isdigit(c)) values.append(u_charDigitValue(c));
        i += U16_LENGTH(c);
    }
    return values;
}

bool passesLuhn(const QList<int>& digits) {
    if (digits.size() < 13 || digits.size() > 19) return false;
    int sum = 0;
    bool doubled = false;
    for (auto it = digits.crbegin(); it != digits.crend(); ++it) {
        int d = *it;
        if (doubled) {
            d *= 2;
            if (d > 9) d -= 9;
        }
        sum += d;
        doubled = !doubled;
    }
    return sum % 10 == 0;
}

bool passes(Check check, const icu::UnicodeString& text, int32_t start, int32_t end) {
    switch (check) {
    case Check::none:
        return true;
    case Check::luhn:
        return passesLuhn(digits(text, start, end));
    case Check::digitCount: {
        const qsizetype count = digits(text, start, end).size();
        return count >= 9 && count <= 15;
    }
    }
    return false;
}

struct Match {
    qsizetype start = 0;
    qsizetype length = 0;
    Kind kind = email;
};

// The findings in one piece of text, as ranges of its UTF-16 units.
QList<Match> findMatches(const QString& text) {
    const QString folded = Homoglyphs::fold(text);
    // Ranges found in the folded text are used on the original: the same units.
    Q_ASSERT(folded.size() == text.size());
    const icu::UnicodeString input(reinterpret_cast<const char16_t*>(folded.constData()),
                                   static_cast<int32_t>(std::min<qsizetype>(folded.size(), INT32_MAX)));
    QList<Match> taken;
    const auto overlapsTaken = [&taken](int32_t start, int32_t end) {
        return std::any_of(taken.cbegin(), taken.cend(),
                           [&](const Match& m) { return start < m.start + m.length && m.start < end; });
    };
    for (std::size_t i = 0; i < sources.size(); ++i) {
        const icu::RegexPattern* pattern = patterns()[i].get();
        if (!pattern) continue;
        UErrorCode status = U_ZERO_ERROR;
        const std::unique_ptr<icu::RegexMatcher> matcher(pattern->matcher(input, status));
        if (U_FAILURE(status)) continue;
        matcher->setTimeLimit(searchSteps, status);
        while (matcher->find(status) && U_SUCCESS(status)) {
            const int32_t start = matcher->start(status);
            const int32_t end = matcher->end(status);
            if (U_FAILURE(status)) break;
            if (overlapsTaken(start, end)) continue;
            if (!passes(sources[i].check, input, start, end)) continue;
            if (input.countChar32(start, end - start) < minimumLength) continue;
            taken.append({start, end - start, sources[i].kind});
        }
    }
    return taken;
}

// A normalised box with its origin at the bottom left, in pixels from the top left.
QRectF toPixels(const QRectF& normalised, QSize imageSize) {
    const QRectF box = normalised.normalized();
    const double width = imageSize.width();
    const double height = imageSize.height();
    return {box.left() * width, (1.0 - box.bottom()) * height, box.width() * width, box.height() * height};
}

// Boxes that overlap or share an edge.
bool meet(const QRectF& a, const QRectF& b) {
    return a.left() <= b.right() && b.left() <= a.right() && a.top() <= b.bottom() && b.top() <= a.bottom();
}

} // namespace

QList<SensitiveHit> scan(const QImage& image) {
    platform::TextRecognitionEngine* engine = platform::services().textRecognition.get();
    if (!engine || image.isNull()) return {};
    // Without language correction: keys and addresses are not words of any language.
    const auto lines = engine->recognize(image, platform::RecognitionLevel::accurate, false);
    if (!lines || lines->isEmpty()) return {};
    return scanLines(*lines, image.size());
}

QList<SensitiveHit> scanLines(const QList<platform::RecognizedLine>& lines, QSize imageSize) {
    QList<SensitiveHit> hits;
    for (const platform::RecognizedLine& line : lines) {
        for (const Match& m : findMatches(line.text)) {
            const QRectF box = line.boxFor(m.start, m.length).value_or(line.box);
            hits.append({QUuid::createUuid(), toPixels(box, imageSize), kinds().at(m.kind),
                         line.text.mid(m.start, m.length)});
        }
    }

    QList<SensitiveHit> kept;
    for (const SensitiveHit& hit : std::as_const(hits)) {
        if (hit.rect.width() <= 2 || hit.rect.height() <= 2) continue;
        const auto met = std::find_if(kept.begin(), kept.end(),
                                      [&](const SensitiveHit& k) { return meet(k.rect, hit.rect); });
        if (met != kept.end())
            met->rect = met->rect.united(hit.rect);
        else
            kept.append(hit);
    }
    return kept;
}

const QStringList& kinds() {
    static const QStringList all = {
        QStringLiteral("email"),      QStringLiteral("JWT"),   QStringLiteral("AWS key"),
        QStringLiteral("key"),        QStringLiteral("IBAN"),  QStringLiteral("card number"),
        QStringLiteral("IP address"), QStringLiteral("phone"),
    };
    return all;
}

QString redactText(const QString& text, const QStringList& hidden) {
    if (hidden.isEmpty()) return text;
    QString redacted = text;
    for (const Match& m : findMatches(text))
        if (hidden.contains(kinds().at(m.kind)))
            redacted.replace(m.start, m.length, QString(m.length, QChar(0x2022)));
    Q_ASSERT(redacted.size() == text.size());
    return redacted;
}

} // namespace SensitiveScanner
