// Codex's config.toml is edited by hand and by Codex: any bytes must strip without harm,
// a file without Pictavia's table must come back unchanged, and adding the table must
// give a file that strips to exactly that table's command, whatever surrounds it.
#include "agents/CodexConfig.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QString helper = QStringLiteral("/opt/Pictavia \"new\"\\bin/pictavia-mcp");

    const CodexConfig::Stripped stripped = CodexConfig::strip(text);
    if (!stripped.found && CodexConfig::join(stripped.lines) != text) std::abort();

    const QByteArray connected = CodexConfig::withServer(text, helper);
    const CodexConfig::Stripped again = CodexConfig::strip(connected);
    if (!again.found || again.command != helper) std::abort();
    if (CodexConfig::withServer(connected, helper) != connected) std::abort();
    return 0;
}
