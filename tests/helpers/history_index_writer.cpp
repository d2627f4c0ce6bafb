// A process for the history tests to run beside them and kill.
//   history_index_writer save INDEX HISTORY     loads the index and saves it over and over,
//                                               printing "saving N" before each save
//   history_index_writer append INDEX PREFIX N  appends N journal lines for PREFIX-i.png
#include "history/HistoryIndex.h"
#include "history/HistoryJournal.h"

#include <QCoreApplication>

#include <cstdio>

namespace {

int saveForever(const QString& indexFile, const QString& historyDirectory) {
    HistoryIndex index(indexFile, historyDirectory);
    for (long round = 1;; ++round) {
        std::printf("saving %ld\n", round);
        std::fflush(stdout);
        if (!index.saveNow()) return 1;
    }
}

int append(const QString& indexFile, const QString& prefix, int count) {
    for (int i = 0; i < count; ++i) {
        HistoryJournal::Entry entry;
        entry.record.name = QStringLiteral("%1-%2.png").arg(prefix).arg(i);
        entry.record.text = "appended by " + prefix.toUtf8();
        if (!HistoryJournal::append(indexFile, entry)) return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.size() == 4 && arguments[1] == u"save") return saveForever(arguments[2], arguments[3]);
    if (arguments.size() == 5 && arguments[1] == u"append")
        return append(arguments[2], arguments[3], arguments[4].toInt());
    std::fprintf(stderr, "usage: history_index_writer save INDEX HISTORY | append INDEX PREFIX COUNT\n");
    return 2;
}
