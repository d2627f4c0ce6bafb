// The history index is read from disk at start-up, whatever state a crash or another
// process left it in: any bytes must give an index that saves and reads back the same. An
// unreadable file is kept aside, byte for byte, and what can be salvaged of it is used.
#include "history/HistoryIndex.h"
#include "platform/json/HistoryJson.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstdint>
#include <cstdlib>

namespace {

QByteArray bytesOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static QTemporaryDir dir;
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QString path = dir.path() + QStringLiteral("/index.json");
    const QString history = dir.path() + QStringLiteral("/History");
    QDir folder(dir.path());
    for (const QString& name : folder.entryList(QDir::Files | QDir::Hidden))
        folder.remove(name);
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) std::abort();
        file.write(input);
    }
    const bool wellFormed = historyjson::read(path, [](historyjson::Fields&) {});
    qsizetype salvaged = 0;
    historyjson::salvage(path, [&salvaged](historyjson::Fields& fields) {
        if (fields.width < 0 && fields.height < 0 && fields.text.isNull()) std::abort();
        ++salvaged;
    });
    if (salvaged > static_cast<qsizetype>(size)) std::abort();

    HistoryIndex index(path, history);
    if (wellFormed == index.loadProblem().has_value()) std::abort();
    if (!wellFormed) {
        const QStringList aside = folder.entryList({QStringLiteral("index.json.damaged-*")}, QDir::Files);
        if (aside.size() != 1 || bytesOf(folder.filePath(aside.first())) != input) std::abort();
    }
    for (const HistoryRecord& record : index.records()) {
        (void)record.durationLabel();
        (void)index.snippet(record.name, QStringLiteral("a e"));
        if (!index.matches(record.name, {})) std::abort();
    }
    if (!index.saveNow()) std::abort();
    const HistoryIndex reread(path, history);
    if (reread.loadProblem() || reread.records().size() != index.records().size()) std::abort();
    return 0;
}
