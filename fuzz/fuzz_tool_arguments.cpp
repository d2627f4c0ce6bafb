// Tool arguments are whatever an agent sends: every reader must take any JSON value under
// any key without crashing, and what it reads back must keep its promises.
#include "agents/AgentTool.h"

#include <QJsonDocument>

#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace {

void check(bool condition) {
    if (!condition) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QJsonDocument document = QJsonDocument::fromJson(
        QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    QJsonObject object = document.object();
    if (document.isArray()) object.insert(QStringLiteral("list"), document.array());
    const ToolArgs args(object);
    ToolOutput output;
    for (auto it = object.begin(); it != object.end(); ++it) {
        const QString& key = it.key();
        check(args.has(key));
        if (const auto text = args.string(key)) check(!text->isEmpty() && *text == text->trimmed());
        if (const auto number = args.number(key)) check(std::isfinite(*number));
        if (const auto whole = args.integer(key)) check(std::fabs(*whole - *args.number(key)) <= 0.5);
        (void)args.boolean(key);
        (void)args.array(key);
        (void)args.strings(key);
        (void)args.rect(key);
        (void)ToolArgs::pointFrom(it.value());
        if (const auto text = args.string(key)) output.notes.append(*text);
    }
    output.json = object;
    const QJsonObject result = output.result();
    check(!result.value(QStringLiteral("content")).toArray().isEmpty());
    return 0;
}
