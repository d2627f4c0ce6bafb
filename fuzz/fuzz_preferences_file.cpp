// The preferences file is edited by hand: any bytes must parse; writing the same values
// back must not change a byte; writing new ones must keep every other line as it was, in
// order, and read back the values written.
#include "app/IniText.h"

#include <QList>

#include <cstdint>
#include <cstdlib>

namespace {

// The file's lines, a final carriage return aside: a last line without a newline gets the
// file's own line end once lines follow it.
QList<QByteArray> linesOf(const QByteArray& text) {
    QList<QByteArray> lines = text.split('\n');
    if (lines.last().isEmpty()) lines.removeLast();
    for (QByteArray& line : lines)
        if (line.endsWith('\r')) line.chop(1);
    return lines;
}

bool keptInOrder(const QList<QByteArray>& original, const QList<QByteArray>& written) {
    qsizetype at = 0;
    for (const QByteArray& line : original) {
        while (at < written.size() && written[at] != line)
            ++at;
        if (at++ == written.size()) return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const IniText::Parsed parsed = IniText::parse(text);

    QMap<QString, QVariant> values;
    for (auto it = parsed.values.cbegin(); it != parsed.values.cend(); ++it)
        values.insert(it.key(), it.value());
    if (IniText::update(text, values) != text) std::abort();

    const bool hadAdded =
        values.contains(QStringLiteral("added")) || values.contains(QStringLiteral("section/added"));
    values.insert(QStringLiteral("added"), QStringLiteral(" spaced \"value\" "));
    values.insert(QStringLiteral("section/added"), 7);
    const QByteArray written = IniText::update(text, values);
    const IniText::Parsed reread = IniText::parse(written);
    if (reread.values.value(QStringLiteral("added")) != QStringLiteral(" spaced \"value\" ") ||
        reread.values.value(QStringLiteral("section/added")) != QStringLiteral("7"))
        std::abort();
    if (!hadAdded && !keptInOrder(linesOf(text), linesOf(written))) std::abort();
    return 0;
}
