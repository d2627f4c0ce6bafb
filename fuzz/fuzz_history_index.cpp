// The history index is read from disk at start-up, whatever state a crash or another
// process left it in: any bytes must give an index (empty when unreadable) that saves and
// reads back the same.
#include "history/HistoryIndex.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static QTemporaryDir dir;
    const QString path = dir.path() + QStringLiteral("/index.json");
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) std::abort();
        file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    }
    HistoryIndex index(path, dir.path() + QStringLiteral("/History"));
    for (const HistoryRecord& record : index.records()) {
        (void)record.durationLabel();
        (void)index.snippet(record.name, QStringLiteral("a e"));
        if (!index.matches(record.name, {})) std::abort();
    }
    if (!index.saveNow()) std::abort();
    const HistoryIndex reread(path, dir.path() + QStringLiteral("/History"));
    if (reread.records().size() != index.records().size()) std::abort();
    return 0;
}
