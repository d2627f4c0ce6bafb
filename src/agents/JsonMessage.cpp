#include "agents/JsonMessage.h"

#include <QJsonArray>
#include <QLocale>

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace JsonMessage {

namespace {

// Which members' text is kept: those of the message, of its "params", of "params"/"_meta".
enum Capture { None = -1, OfMessage, OfParams, OfMeta };

QString capturePath(Capture level, const QString& key) {
    switch (level) {
    case OfMessage:
        return key;
    case OfParams:
        return QStringLiteral("params.") + key;
    case OfMeta:
        return QStringLiteral("params._meta.") + key;
    case None:
        break;
    }
    return {};
}

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

qsizetype firstNonSpace(const QByteArray& text) {
    qsizetype i = 0;
    while (i < text.size() && isSpace(text[i]))
        ++i;
    return i;
}

class Reader {
public:
    // With `build` false the text is only checked: values stay empty.
    Reader(const QByteArray& text, Message* capture, bool build = true, qsizetype offset = 0)
        : m_begin(text.constData()), m_p(m_begin + offset), m_end(m_begin + text.size()), m_capture(capture),
          m_build(build) {}

    bool document(QJsonValue& out, Parsed::Shape& shape) {
        skipSpace();
        shape = m_p == m_end  ? Parsed::Shape::Other
                : *m_p == '{' ? Parsed::Shape::Object
                : *m_p == '[' ? Parsed::Shape::Array
                              : Parsed::Shape::Other;
        if (!value(out, shape == Parsed::Shape::Object ? OfMessage : None, 0)) return false;
        skipSpace();
        return m_p == m_end;
    }

    bool value(QJsonValue& out, Capture capture, int depth) {
        if (m_p == m_end) return false;
        switch (*m_p) {
        case '{': {
            QJsonObject object;
            if (!members(object, capture, depth + 1)) return false;
            out = object;
            return true;
        }
        case '[': {
            QJsonArray array;
            if (!elements(array, depth + 1)) return false;
            out = array;
            return true;
        }
        case '"': {
            QString text;
            if (!string(text)) return false;
            out = text;
            return true;
        }
        case 't':
            out = true;
            return literal("true");
        case 'f':
            out = false;
            return literal("false");
        case 'n':
            out = QJsonValue::Null;
            return literal("null");
        default:
            return number(out);
        }
    }

    // The batch element at the reading position, in a text already checked, and the comma
    // after it: the message, when the element is an object. False at the closing bracket.
    bool batchElement(std::optional<Message>& message, const QByteArray& line) {
        skipSpace();
        if (m_p == m_end || *m_p == ']') return false;
        QJsonValue element;
        if (*m_p == '{') {
            message.emplace();
            message->line = line;
            m_capture = &*message;
            value(element, OfMessage, 1);
            m_capture = nullptr;
            message->object = element.toObject();
        } else {
            const bool build = std::exchange(m_build, false);
            value(element, None, 1);
            m_build = build;
        }
        skipSpace();
        if (m_p < m_end && *m_p == ',') ++m_p;
        return true;
    }

    qsizetype position() const { return m_p - m_begin; }

private:
    bool members(QJsonObject& object, Capture capture, int depth) {
        if (depth > maxDepth) return false;
        ++m_p;
        skipSpace();
        if (m_p < m_end && *m_p == '}') return ++m_p, true;
        while (true) {
            skipSpace();
            QString key;
            if (m_p == m_end || *m_p != '"' || !string(key)) return false;
            skipSpace();
            if (m_p == m_end || *m_p++ != ':') return false;
            skipSpace();
            const char* start = m_p;
            if (!m_capture) capture = None;
            Capture inner = None;
            if (capture == OfMessage && key == u"params")
                inner = OfParams;
            else if (capture == OfParams && key == u"_meta")
                inner = OfMeta;
            QJsonValue member;
            if (!value(member, inner, depth)) return false;
            if (capture != None)
                m_capture->spans.emplace_back(capturePath(capture, key),
                                              std::pair(start - m_begin, m_p - start));
            if (m_build) object.insert(key, member);
            skipSpace();
            if (m_p == m_end) return false;
            if (*m_p == '}') return ++m_p, true;
            if (*m_p++ != ',') return false;
        }
    }

    bool elements(QJsonArray& array, int depth) {
        if (depth > maxDepth) return false;
        ++m_p;
        skipSpace();
        if (m_p < m_end && *m_p == ']') return ++m_p, true;
        while (true) {
            skipSpace();
            QJsonValue element;
            if (!value(element, None, depth)) return false;
            if (m_build) array.append(element);
            skipSpace();
            if (m_p == m_end) return false;
            if (*m_p == ']') return ++m_p, true;
            if (*m_p++ != ',') return false;
        }
    }

    bool literal(const char* word) {
        const auto length = static_cast<qsizetype>(std::strlen(word));
        if (m_end - m_p < length || std::memcmp(m_p, word, static_cast<size_t>(length)) != 0) return false;
        m_p += length;
        return true;
    }

    static bool isDigit(char c) { return c >= '0' && c <= '9'; }

    bool number(QJsonValue& out) {
        const char* start = m_p;
        if (m_p < m_end && *m_p == '-') ++m_p;
        if (m_p == m_end || !isDigit(*m_p)) return false;
        if (*m_p == '0') {
            ++m_p;
        } else {
            while (m_p < m_end && isDigit(*m_p))
                ++m_p;
        }
        bool integral = true;
        if (m_p < m_end && *m_p == '.') {
            integral = false;
            ++m_p;
            if (m_p == m_end || !isDigit(*m_p)) return false;
            while (m_p < m_end && isDigit(*m_p))
                ++m_p;
        }
        if (m_p < m_end && (*m_p == 'e' || *m_p == 'E')) {
            integral = false;
            ++m_p;
            if (m_p < m_end && (*m_p == '+' || *m_p == '-')) ++m_p;
            if (m_p == m_end || !isDigit(*m_p)) return false;
            while (m_p < m_end && isDigit(*m_p))
                ++m_p;
        }
        if (integral) {
            qint64 whole = 0;
            if (std::from_chars(start, m_p, whole).ec == std::errc()) {
                out = whole;
                return true;
            }
        }
        out = toDouble(start, m_p);
        return true;
    }

    bool string(QString& out) {
        ++m_p; // the opening quote
        while (true) {
            const char* run = m_p;
            while (m_p < m_end && static_cast<unsigned char>(*m_p) >= 0x20 && *m_p != '"' && *m_p != '\\' &&
                   static_cast<unsigned char>(*m_p) < 0x80)
                ++m_p;
            if (m_p > run && m_build) out += QLatin1StringView(run, m_p - run);
            if (m_p == m_end) return false;
            const auto c = static_cast<unsigned char>(*m_p);
            if (c == '"') return ++m_p, true;
            if (c < 0x20) return false;
            if (c == '\\') {
                if (!escape(out)) return false;
            } else if (!utf8(out)) {
                return false;
            }
        }
    }

    bool escape(QString& out) {
        if (m_end - m_p < 2) return false;
        const char kind = m_p[1];
        m_p += 2;
        switch (kind) {
        case '"':
            put(out, QLatin1Char('"'));
            return true;
        case '\\':
            put(out, QLatin1Char('\\'));
            return true;
        case '/':
            put(out, QLatin1Char('/'));
            return true;
        case 'b':
            put(out, QLatin1Char('\b'));
            return true;
        case 'f':
            put(out, QLatin1Char('\f'));
            return true;
        case 'n':
            put(out, QLatin1Char('\n'));
            return true;
        case 'r':
            put(out, QLatin1Char('\r'));
            return true;
        case 't':
            put(out, QLatin1Char('\t'));
            return true;
        case 'u': {
            if (m_end - m_p < 4) return false;
            char16_t unit = 0;
            for (int i = 0; i < 4; ++i) {
                const char h = m_p[i];
                const int digit = isDigit(h)               ? h - '0'
                                  : (h >= 'a' && h <= 'f') ? h - 'a' + 10
                                  : (h >= 'A' && h <= 'F') ? h - 'A' + 10
                                                           : -1;
                if (digit < 0) return false;
                unit = static_cast<char16_t>(unit * 16 + digit);
            }
            m_p += 4;
            // Surrogates, paired or not, are kept as the UTF-16 units they name.
            put(out, QChar(unit));
            return true;
        }
        default:
            return false;
        }
    }

    // One multi-byte UTF-8 sequence; overlong forms, surrogates and values past
    // U+10FFFF are refused.
    bool utf8(QString& out) {
        const auto* s = reinterpret_cast<const unsigned char*>(m_p);
        const auto left = m_end - m_p;
        char32_t code = 0;
        int length = 0;
        if (s[0] >= 0xC2 && s[0] <= 0xDF) {
            length = 2;
            code = s[0] & 0x1F;
        } else if (s[0] >= 0xE0 && s[0] <= 0xEF) {
            length = 3;
            code = s[0] & 0x0F;
        } else if (s[0] >= 0xF0 && s[0] <= 0xF4) {
            length = 4;
            code = s[0] & 0x07;
        } else {
            return false;
        }
        if (left < length) return false;
        for (int i = 1; i < length; ++i) {
            if ((s[i] & 0xC0) != 0x80) return false;
            code = (code << 6) | (s[i] & 0x3F);
        }
        if ((length == 3 && code < 0x800) || (length == 4 && (code < 0x10000 || code > 0x10FFFF)) ||
            (code >= 0xD800 && code <= 0xDFFF))
            return false;
        m_p += length;
        if (code >= 0x10000) {
            put(out, QChar(QChar::highSurrogate(code)));
            put(out, QChar(QChar::lowSurrogate(code)));
        } else {
            put(out, QChar(static_cast<char16_t>(code)));
        }
        return true;
    }

    void put(QString& out, QChar c) const {
        if (m_build) out += c;
    }

    void skipSpace() {
        while (m_p < m_end && isSpace(*m_p))
            ++m_p;
    }

public:
    // A valid number literal as a double; out-of-range ones become infinities or zero.
    static double toDouble(const char* start, const char* end) {
        double value = 0;
        const auto result = std::from_chars(start, end, value);
        if (result.ec == std::errc::result_out_of_range) {
            // Too large or too small: which one shows in the exponent's sign.
            const bool negative = *start == '-';
            const char* e = start;
            while (e < end && *e != 'e' && *e != 'E')
                ++e;
            const bool tiny = e < end && e + 1 < end && e[1] == '-';
            value = tiny ? 0.0 : std::numeric_limits<double>::infinity();
            if (negative) value = -value;
        }
        return value;
    }

private:
    const char* m_begin;
    const char* m_p;
    const char* m_end;
    Message* m_capture;
    bool m_build;
};

} // namespace

std::optional<QByteArray> Message::raw(const QString& path) const {
    // The last occurrence wins, as in the object itself.
    for (auto it = spans.rbegin(); it != spans.rend(); ++it)
        if (it->first == path) return line.mid(it->second.first, it->second.second);
    return std::nullopt;
}

std::optional<Parsed> parse(const QByteArray& line) {
    Parsed parsed;
    Message single;
    single.line = line;
    // A batch is only checked here; Batch reads its elements when they are answered.
    const qsizetype start = firstNonSpace(line);
    const bool batch = start < line.size() && line[start] == '[';
    Reader reader(line, &single, !batch);
    QJsonValue value;
    if (!reader.document(value, parsed.shape)) return std::nullopt;
    if (parsed.shape == Parsed::Shape::Object) {
        single.object = value.toObject();
        parsed.object = std::move(single);
    } else if (parsed.shape == Parsed::Shape::Array) {
        parsed.batch = Batch(line);
    }
    return parsed;
}

Batch::Batch(QByteArray line) : m_line(std::move(line)), m_offset(m_line.indexOf('[') + 1) {}

std::optional<Message> Batch::next() {
    while (m_offset >= 0) {
        Reader reader(m_line, nullptr, true, m_offset);
        std::optional<Message> message;
        if (!reader.batchElement(message, m_line)) {
            *this = Batch(); // done: the line is let go
            return std::nullopt;
        }
        m_offset = reader.position();
        if (message) return message;
    }
    return std::nullopt;
}

QString requestKey(const QByteArray& raw) {
    if (raw.isEmpty()) return QStringLiteral("s:");
    const char first = raw.front();
    if (first != '-' && (first < '0' || first > '9')) {
        if (first == '"') return QStringLiteral("s:") + stringValue(raw);
        return QStringLiteral("s:") + QString::fromUtf8(raw);
    }
    const bool integral = !raw.contains('.') && !raw.contains('e') && !raw.contains('E');
    if (integral) return QStringLiteral("n:") + QString::fromLatin1(raw == "-0" ? QByteArray("0") : raw);
    const double value = Reader::toDouble(raw.constData(), raw.constData() + raw.size());
    if (std::isfinite(value) && value == std::trunc(value) && std::fabs(value) < 9007199254740992.0)
        return QStringLiteral("n:") + QString::number(static_cast<qint64>(value));
    if (std::isfinite(value) && value != 0)
        return QStringLiteral("n:") + QString::number(value, 'g', QLocale::FloatingPointShortest);
    return QStringLiteral("n:") + QString::fromLatin1(raw.toLower());
}

QString stringValue(const QByteArray& raw) {
    QJsonValue value;
    Reader reader(raw, nullptr);
    if (!reader.value(value, None, 0)) return {};
    return value.toString();
}

} // namespace JsonMessage
