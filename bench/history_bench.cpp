// The history index at 100,000 captures with screenshot-like recognised text: loading
// index.json, a two-word search, saving, and the memory the index holds, each against its
// target (ratio below 1 meets it).
#include "history/HistoryIndex.h"
#include "history/HistoryIndexFile.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <cstdio>
#include <malloc.h>
#include <memory>

namespace {

constexpr int recordCount = 100000;

const char* const vocabulary[] = {
    "File",     "Edit",      "View",      "Window",   "Help",    "Settings", "General", "Account", "Privacy",
    "Save",     "Cancel",    "Open",      "Close",    "Inbox",   "Drafts",   "Sent",    "Archive", "Reply",
    "Forward",  "Subject",   "From",      "To",       "Meeting", "tomorrow", "at",      "the",     "and",
    "of",       "Total",     "Amount",    "Due",      "Date",    "Payment",  "Card",    "Number",  "Order",
    "Shipping", "Address",   "Street",    "Berlin",   "London",  "Project",  "Status",  "Done",    "Pending",
    "Error",    "Warning",   "build",     "failed",   "passed",  "main.cpp", "return",  "include", "struct",
    "const",    "void",      "user@mail", "Download", "Upload",  "Share",    "Search",  "Results", "Page",
    "Next",     "Previous",  "Q3",        "Revenue",  "Growth",  "12.5%",    "€1,240",  "$99.00",  "Monday",
    "Tuesday",  "Friday",    "January",   "March",    "Notes",   "Terminal", "git",     "commit",  "push",
    "origin",   "Dashboard", "Report",    "Export",   "Import",  "Profile",  "Log",     "out",     "Welcome"};
constexpr int vocabularySize = sizeof(vocabulary) / sizeof(vocabulary[0]);

// Lines of interface words, 20 to 1,200 characters a screenshot.
QString ocrText(QRandomGenerator& random) {
    const int length = 20 + static_cast<int>(random.bounded(1180));
    QString text;
    while (text.size() < length) {
        const int words = 2 + static_cast<int>(random.bounded(8));
        for (int i = 0; i < words; ++i) {
            if (i > 0) text += u' ';
            text += QString::fromUtf8(vocabulary[random.bounded(vocabularySize)]);
        }
        text += u'\n';
    }
    return text;
}

QByteArray indexBytes() {
    QRandomGenerator random(42);
    QJsonArray records;
    const QDateTime start(QDate(2023, 1, 1), QTime(8, 0), Qt::UTC);
    for (int i = 0; i < recordCount; ++i) {
        HistoryRecord r;
        r.name = QStringLiteral("Pictavia %1 at %2.png").arg(i).arg(random.bounded(86400));
        r.text = ocrText(random).toUtf8();
        r.app = QString::fromUtf8(vocabulary[random.bounded(vocabularySize)]);
        r.window = QStringLiteral("%1 - %2").arg(
            QString::fromUtf8(vocabulary[random.bounded(vocabularySize)]), QString::number(i));
        r.date = start.addSecs(i * 300);
        r.width = 1440;
        r.height = 900;
        r.keep = i % 50 == 0;
        records.append(r.toJson());
    }
    return QJsonDocument(QJsonObject{{QStringLiteral("version"), 1}, {QStringLiteral("records"), records}})
        .toJson(QJsonDocument::Compact);
}

// Heap bytes in use: resident size would hide an index that reuses the memory freed after
// generating the file.
double heapMegabytes() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd) / (1024.0 * 1024.0);
}

void report(const char* what, double value, double target, const char* unit) {
    std::printf("%-28s %10.1f %s   target < %.0f %s   ratio %.2f\n", what, value, unit, target, unit,
                value / target);
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    const QString path = dir.path() + QStringLiteral("/index.json");
    {
        const QByteArray bytes = indexBytes();
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) return 1;
        std::printf("index.json: %d records, %.1f MB\n", recordCount, bytes.size() / 1e6);
    }

    const double before = heapMegabytes();
    QElapsedTimer timer;
    timer.start();
    auto index = std::make_unique<HistoryIndex>(path, dir.path() + QStringLiteral("/History"));
    const double loadMs = timer.nsecsElapsed() / 1e6;
    const double memoryMb = heapMegabytes() - before;
    if (index->records().size() != recordCount) return 1;

    // Two words the generated text holds, and two it never does (every record is read whole).
    const auto searchMs = [&index, &timer](const QString& query, qsizetype& found) {
        constexpr int searches = 20;
        timer.restart();
        for (int i = 0; i < searches; ++i)
            found = index->search(query).size();
        return timer.nsecsElapsed() / 1e6 / searches;
    };
    qsizetype matching = 0;
    qsizetype missing = 0;
    const double matchingMs = searchMs(QStringLiteral("payment berlin"), matching);
    const double missingMs = searchMs(QStringLiteral("invoice overdue"), missing);
    if (matching == 0 || missing != 0) return 1;

    timer.restart();
    if (!index->saveNow()) return 1;
    const double saveMs = timer.nsecsElapsed() / 1e6;
    // The part of a save that makes it safe: the same bytes to a new file, flushed to the
    // disk, renamed over the index with the old one kept as the last good copy.
    QByteArray saved;
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) return 1;
        saved = file.readAll();
    }
    timer.restart();
    if (!HistoryIndexFile::write(path, saved, true)) return 1;
    const double writeMs = timer.nsecsElapsed() / 1e6;

    report("load", loadMs, 500, "ms");
    report("search, two words", matchingMs, 20, "ms");
    std::printf("  (\"payment berlin\": %lld matches)\n", static_cast<long long>(matching));
    report("search, two absent words", missingMs, 20, "ms");
    std::printf("  (\"invoice overdue\": %lld matches)\n", static_cast<long long>(missing));
    report("save", saveMs, 500, "ms");
    std::printf("  (of which about %.1f ms write, flush to disk and rename)\n", writeMs);
    report("memory of the index", memoryMb, 200, "MB");
    return 0;
}
