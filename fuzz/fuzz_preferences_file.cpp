// The preferences file is edited by hand: any bytes must parse, and writing values back
// must keep every line it could not understand and read back the values written.
#include "app/IniText.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const IniText::Parsed parsed = IniText::parse(text);

    QMap<QString, QVariant> values;
    for (auto it = parsed.values.cbegin(); it != parsed.values.cend(); ++it)
        values.insert(it.key(), it.value());
    values.insert(QStringLiteral("added"), QStringLiteral(" spaced \"value\" "));
    values.insert(QStringLiteral("section/added"), 7);

    const IniText::Parsed reread = IniText::parse(IniText::update(text, values));
    if (reread.values.value(QStringLiteral("added")) != QStringLiteral(" spaced \"value\" ") ||
        reread.values.value(QStringLiteral("section/added")) != QStringLiteral("7"))
        std::abort();
    return 0;
}
