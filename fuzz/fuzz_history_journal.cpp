// The history journal is appended to by other processes, any of which may be killed
// mid-line: any bytes must read as the entries of its whole lines, which write back the
// same, and fold into an index that saves and reads back the same.
#include "history/HistoryIndex.h"
#include "history/HistoryJournal.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstdint>
#include <cstdlib>

namespace {

// Dates are kept to the second.
bool same(const QHash<QString, HistoryRecord>& a, const QHash<QString, HistoryRecord>& b) {
    if (a.size() != b.size()) return false;
    for (HistoryRecord record : a) {
        const auto other = b.constFind(record.name);
        if (other == b.cend() || record.date.toSecsSinceEpoch() != other->date.toSecsSinceEpoch())
            return false;
        record.date = other->date;
        if (!(record == *other)) return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static QTemporaryDir dir;
    const QString indexFile = dir.path() + QStringLiteral("/index.json");
    const QString history = dir.path() + QStringLiteral("/History");
    QDir folder(dir.path());
    for (const QString& name : folder.entryList(QDir::Files | QDir::Hidden))
        folder.remove(name);
    {
        QFile file(HistoryJournal::pathFor(indexFile));
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) std::abort();
        file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    }
    const QList<HistoryJournal::Entry> entries = HistoryJournal::read(indexFile);
    for (const HistoryJournal::Entry& entry : entries) {
        const QByteArray line = HistoryJournal::toLine(entry);
        const auto again = HistoryJournal::fromLine(line);
        if (line.contains('\n') || !again || HistoryJournal::toLine(*again) != line) std::abort();
    }

    const HistoryIndex commandLine(indexFile, history, HistoryIndex::Mode::Journal);
    HistoryIndex app(indexFile, history);
    if (app.records().size() != commandLine.records().size()) std::abort();
    if (!entries.isEmpty() && !HistoryJournal::read(indexFile).isEmpty()) std::abort();
    const HistoryIndex reread(indexFile, history);
    if (!same(reread.records(), app.records())) std::abort();
    return 0;
}
