#include "app/IniText.h"

#include <QList>
#include <QLocale>

namespace IniText {

namespace {

const QString generalSection = QStringLiteral("General");

bool isComment(const QString& trimmed) {
    return trimmed.startsWith(u';') || trimmed.startsWith(u'#');
}

std::optional<QString> sectionName(const QString& trimmed) {
    if (trimmed.size() >= 2 && trimmed.startsWith(u'[') && trimmed.endsWith(u']'))
        return trimmed.mid(1, trimmed.size() - 2).trimmed();
    return std::nullopt;
}

QString fullKey(const QString& section, const QString& key) {
    return section.isEmpty() || section == generalSection ? key : section + u'/' + key;
}

QString unquote(const QString& raw) {
    if (raw.size() < 2 || !raw.startsWith(u'"') || !raw.endsWith(u'"')) return raw;
    QString out;
    const QString body = raw.mid(1, raw.size() - 2);
    for (qsizetype i = 0; i < body.size(); ++i) {
        QChar c = body[i];
        if (c == u'\\' && i + 1 < body.size()) {
            const QChar next = body[++i];
            c = next == u'n' ? QChar(u'\n') : next == u't' ? QChar(u'\t') : next;
        }
        out += c;
    }
    return out;
}

// One line of the file, with what it means.
struct Line {
    QByteArray raw;    // its bytes as in the file, without the newline ("\r" stays)
    bool ended = true; // a newline followed it
    QString text;      // decoded, without a final "\r" or a byte-order mark
    QString key;       // empty unless the line holds a setting
    QString section;
};

QList<Line> lines(const QByteArray& text, QStringList* problems) {
    QList<Line> out;
    QString section;
    const QList<QByteArray> raw = text.split('\n');
    for (qsizetype i = 0; i < raw.size(); ++i) {
        const bool ended = i < raw.size() - 1;
        if (!ended && raw[i].isEmpty()) break; // after the newline that ends the last line
        Line line{raw[i], ended, QString::fromUtf8(raw[i]), {}, section};
        if (line.text.endsWith(u'\r')) line.text.chop(1);
        if (i == 0 && line.text.startsWith(QChar(0xFEFF))) line.text.remove(0, 1);
        const QString trimmed = line.text.trimmed();
        if (trimmed.isEmpty() || isComment(trimmed)) {
            // kept as it is
        } else if (auto name = sectionName(trimmed)) {
            section = *name;
            line.section = section;
        } else if (const qsizetype eq = trimmed.indexOf(u'='); eq > 0) {
            line.key = fullKey(section, trimmed.left(eq).trimmed());
        } else if (problems) {
            problems->append(QStringLiteral("line %1 is not \"key = value\" and was ignored: %2")
                                 .arg(i + 1)
                                 .arg(trimmed.left(60)));
        }
        out.append(line);
    }
    return out;
}

QString valueOf(const Line& line) {
    const QString trimmed = line.text.trimmed();
    return unquote(trimmed.mid(trimmed.indexOf(u'=') + 1).trimmed());
}

// The setting's line with a new value: its bytes up to the "=" stay as they are, so the
// key reads back the same even where decoding it would not give the same bytes.
QByteArray withValue(const QByteArray& raw, const QVariant& value) {
    QByteArray keyPart = raw.left(raw.indexOf('='));
    while (keyPart.endsWith(' ') || keyPart.endsWith('\t'))
        keyPart.chop(1);
    return keyPart + " = " + encodeValue(value).toUtf8() + (raw.endsWith('\r') ? "\r" : "");
}

QString lineFor(const QString& key, const QVariant& value) {
    return key.section(u'/', -1) + QStringLiteral(" = ") + encodeValue(value);
}

QString sectionOf(const QString& key) {
    return key.contains(u'/') ? key.section(u'/', 0, -2) : QString();
}

} // namespace

QString encodeValue(const QVariant& value) {
    QString text;
    switch (value.typeId()) {
    case QMetaType::Bool:
        text = value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
        break;
    case QMetaType::Double:
    case QMetaType::Float:
        text = QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
        break;
    default:
        text = value.toString();
    }
    const bool needsQuotes = text != text.trimmed() || text.startsWith(u'"') || text.contains(u'\n');
    if (!needsQuotes) return text;
    QString quoted = QStringLiteral("\"");
    for (const QChar c : text) {
        if (c == u'\n')
            quoted += QStringLiteral("\\n");
        else if (c == u'"' || c == u'\\')
            quoted += QString(u'\\') + c;
        else
            quoted += c;
    }
    return quoted + u'"';
}

Parsed parse(const QByteArray& text) {
    Parsed parsed;
    for (const Line& line : lines(text, &parsed.problems))
        if (!line.key.isEmpty()) parsed.values.insert(line.key, valueOf(line));
    return parsed;
}

QByteArray update(const QByteArray& original, const QMap<QString, QVariant>& values) {
    const QList<Line> all = lines(original, nullptr);
    // New lines end like the file's first line.
    const QByteArray lineEnd = !all.isEmpty() && all.first().raw.endsWith('\r') ? "\r" : "";

    // The last line of a key is the one that counts when reading; update that one.
    QMap<QString, qsizetype> lastLineOf;
    for (qsizetype i = 0; i < all.size(); ++i)
        if (!all[i].key.isEmpty()) lastLineOf[all[i].key] = i;

    QList<Line> out;
    for (qsizetype i = 0; i < all.size(); ++i) {
        const Line& line = all[i];
        if (line.key.isEmpty()) {
            out.append(line); // comments, blank lines, sections, lines not understood: byte for byte
            continue;
        }
        const auto value = values.constFind(line.key);
        // A key no longer set goes with every line of it: an earlier one would bring its
        // old value back.
        if (value == values.cend()) continue;
        // An earlier line of a key given twice, and a line whose value stays, are kept as
        // they are.
        if (lastLineOf.value(line.key) != i || valueOf(line) == unquote(encodeValue(*value))) {
            out.append(line);
            continue;
        }
        Line changed = line;
        changed.raw = withValue(line.raw, *value);
        out.append(changed);
    }

    // New keys go after the last line of their section, or into a new section at the end.
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        if (lastLineOf.contains(it.key())) continue;
        const QString section = sectionOf(it.key());
        qsizetype insertAt = -1;
        for (qsizetype i = 0; i < out.size(); ++i) {
            const bool sameSection =
                out[i].section == section || (section.isEmpty() && out[i].section == generalSection);
            if (sameSection && (!out[i].key.isEmpty() || sectionName(out[i].text.trimmed())))
                insertAt = i + 1;
            else if (section.isEmpty() && insertAt < 0 && sectionName(out[i].text.trimmed()))
                insertAt = i; // plain keys must come before the first section
        }
        if (insertAt < 0) {
            if (!section.isEmpty()) {
                if (!out.isEmpty() && !out.last().text.trimmed().isEmpty())
                    out.append({lineEnd, true, QString(), {}, section});
                const QString header = u'[' + section + u']';
                out.append({header.toUtf8() + lineEnd, true, header, {}, section});
            }
            insertAt = out.size();
        }
        const QString text = lineFor(it.key(), it.value());
        out.insert(insertAt, {text.toUtf8() + lineEnd, true, text, it.key(), section});
    }

    QByteArray text;
    for (qsizetype i = 0; i < out.size(); ++i) {
        text += out[i].raw;
        if (out[i].ended)
            text += '\n';
        else if (i + 1 < out.size()) // the last line had none, and lines now follow it
            text += (out[i].raw.endsWith('\r') ? QByteArray() : lineEnd) + '\n';
    }
    return text;
}

} // namespace IniText
