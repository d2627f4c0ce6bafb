#include "agents/CodexConfig.h"

namespace CodexConfig {

namespace {

// A key or header segment without the quotes TOML allows around it.
QByteArray unquoted(QByteArray key) {
    key = key.trimmed();
    if (key.size() >= 2 && (key.front() == '"' || key.front() == '\'') && key.back() == key.front())
        return key.mid(1, key.size() - 2);
    return key;
}

enum class Header { other, main, sub };

// `trimmed` starts with "[": [mcp_servers.pictavia] is the main table, any table under it
// a sub-table. Spacing and quoting of the segments do not matter, as in TOML itself.
// Arrays of tables ("[[...]]") are never Pictavia's.
Header headerKind(const QByteArray& trimmed) {
    if (trimmed.startsWith("[[")) return Header::other;
    const qsizetype close = trimmed.indexOf(']');
    if (close < 0) return Header::other;
    const QByteArrayList segments = trimmed.mid(1, close - 1).split('.');
    if (segments.size() < 2 || unquoted(segments[0]) != "mcp_servers" || unquoted(segments[1]) != "pictavia")
        return Header::other;
    return segments.size() == 2 ? Header::main : Header::sub;
}

// The text of a TOML string value: basic strings ("...") with their escapes, literal
// strings ('...') as they are; anything else trimmed of surrounding double quotes.
QString stringValue(QByteArray value) {
    value = value.trimmed();
    if (value.startsWith('\'')) {
        const qsizetype end = value.indexOf('\'', 1);
        return QString::fromUtf8(value.mid(1, end < 0 ? -1 : end - 1));
    }
    if (!value.startsWith('"')) return QString::fromUtf8(value);
    QByteArray text;
    for (qsizetype i = 1; i < value.size(); ++i) {
        const char c = value[i];
        if (c == '"') return QString::fromUtf8(text);
        if (c != '\\' || i + 1 >= value.size()) {
            text += c;
            continue;
        }
        const char escaped = value[++i];
        switch (escaped) {
        case 'b':
            text += '\b';
            break;
        case 't':
            text += '\t';
            break;
        case 'n':
            text += '\n';
            break;
        case 'f':
            text += '\f';
            break;
        case 'r':
            text += '\r';
            break;
        case 'u':
        case 'U': {
            const int digits = escaped == 'u' ? 4 : 8;
            bool ok = false;
            const uint code = value.mid(i + 1, digits).toUInt(&ok, 16);
            if (!ok || value.mid(i + 1, digits).size() != digits) return QString::fromUtf8(text);
            const char32_t point = code;
            text += QString::fromUcs4(&point, 1).toUtf8();
            i += digits;
            break;
        }
        default: // \" and \\, and anything TOML would refuse, kept as the character
            text += escaped;
        }
    }
    return QString::fromUtf8(text); // no closing quote
}

QByteArray basicString(const QString& text) {
    QByteArray quoted = "\"";
    for (const char c : text.toUtf8()) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            quoted += '\\';
            quoted += c;
        } else if (byte < 0x20 || byte == 0x7f) {
            quoted += QByteArray("\\u") + QByteArray::number(byte, 16).rightJustified(4, '0');
        } else {
            quoted += c;
        }
    }
    return quoted + '"';
}

} // namespace

Stripped strip(const QByteArray& text) {
    Stripped result;
    Header section = Header::other;
    // Comment lines at the end of Pictavia's section, right above someone else's table,
    // are that table's and stay with it.
    QByteArrayList attached;
    for (qsizetype start = 0; start < text.size();) {
        const qsizetype newline = text.indexOf('\n', start);
        const qsizetype end = newline < 0 ? text.size() : newline + 1;
        const QByteArray line = text.mid(start, end - start);
        start = end;
        const QByteArray trimmed = line.trimmed();
        if (trimmed.startsWith('[')) {
            section = headerKind(trimmed);
            if (section == Header::other) {
                result.lines += attached;
                result.lines.append(line);
            } else {
                result.found = true;
            }
            attached.clear();
            continue;
        }
        if (section == Header::other) {
            result.lines.append(line);
            continue;
        }
        if (trimmed.startsWith('#'))
            attached.append(line);
        else
            attached.clear();
        // Only the main table's own key counts: a sub-table such as [mcp_servers.pictavia.env]
        // may well hold a variable called "command".
        const qsizetype equals = trimmed.indexOf('=');
        if (section == Header::main && equals > 0 && unquoted(trimmed.left(equals)) == "command")
            result.command = stringValue(trimmed.mid(equals + 1));
    }
    return result;
}

QByteArray join(const QByteArrayList& lines) {
    return lines.join();
}

QByteArray table(const QString& helperPath) {
    return "[mcp_servers.pictavia]\ncommand = " + basicString(helperPath) + "\nargs = []\n";
}

QByteArray withServer(const QByteArray& text, const QString& helperPath) {
    QByteArray body = join(strip(text).lines);
    const QByteArray lineEnd = text.contains("\r\n") ? "\r\n" : "\n";
    // One blank line before the table, however many the file ended with: connecting
    // again gives the same file.
    while (!body.isEmpty() && QByteArrayView(" \t\r\n").contains(body.back()))
        body.chop(1);
    if (!body.isEmpty()) body += lineEnd + lineEnd;
    QByteArray added = table(helperPath);
    if (lineEnd != "\n") added.replace("\n", lineEnd);
    return body + added;
}

} // namespace CodexConfig
