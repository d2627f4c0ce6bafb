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
    QString text;
    QString key; // empty unless the line holds a setting
    QString section;
};

QList<Line> lines(const QByteArray& text, QStringList* problems) {
    QList<Line> out;
    QString section;
    const QStringList raw = QString::fromUtf8(text).split(u'\n');
    for (qsizetype i = 0; i < raw.size(); ++i) {
        QString lineText = raw[i];
        if (lineText.endsWith(u'\r')) lineText.chop(1);
        if (i == raw.size() - 1 && lineText.isEmpty()) break; // the newline that ends the last line
        Line line{lineText, {}, section};
        const QString trimmed = lineText.trimmed();
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
    QList<Line> all = lines(original, nullptr);

    // The last line of a key is the one that counts when reading; update that one.
    QMap<QString, qsizetype> lastLineOf;
    for (qsizetype i = 0; i < all.size(); ++i)
        if (!all[i].key.isEmpty()) lastLineOf[all[i].key] = i;

    QList<Line> out;
    for (qsizetype i = 0; i < all.size(); ++i) {
        const Line& line = all[i];
        if (line.key.isEmpty()) {
            out.append(line);
            continue;
        }
        const auto value = values.constFind(line.key);
        if (value == values.cend() || lastLineOf.value(line.key) != i)
            continue; // removed, or an earlier duplicate
        const QString indent = line.text.left(line.text.indexOf(line.text.trimmed()));
        // The key is kept as written: deriving it again from the full key could read back
        // as another key (names holding "/" or "[").
        const QString keyText = line.text.trimmed().left(line.text.trimmed().indexOf(u'=')).trimmed();
        out.append({indent + keyText + QStringLiteral(" = ") + encodeValue(*value), line.key, line.section});
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
                    out.append({QString(), {}, section});
                out.append({u'[' + section + u']', {}, section});
            }
            insertAt = out.size();
        }
        out.insert(insertAt, {lineFor(it.key(), it.value()), it.key(), section});
    }

    QByteArray text;
    for (const Line& line : out)
        text += line.text.toUtf8() + '\n';
    return text;
}

} // namespace IniText
