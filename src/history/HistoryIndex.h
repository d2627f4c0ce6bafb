#pragma once

#include "capture/CaptureContext.h"
#include "history/HistoryRecord.h"

#include <QByteArray>
#include <QFuture>
#include <QHash>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <optional>

// The searchable index of the history folder: one record per capture file, with its
// recognised text, kept in "index.json". Records change on the main thread only; scans
// run one file at a time in the background. Which files are kept can be asked from any
// thread.
//
// A command-line run and the resident app may both write index.json. Each holds the file
// in memory and writes all of it, so the last writer wins; the app rebuilds records of
// files it does not know at its next start (backfill), and reads the text of records a
// command line left unscanned. Good enough for occasional use from scripts.
class QFileSystemWatcher;

class HistoryIndex : public QObject {
    Q_OBJECT
public:
    HistoryIndex(QString indexFile, QString historyDirectory, QObject* parent = nullptr);
    ~HistoryIndex() override;

    // The one index of this run, on the data folder; made on first use.
    static HistoryIndex& shared();
    // Registers shared() with the history folder: it records every stored capture, spares
    // kept files from pruning and forgets files (and their projects) pruning deleted.
    static void attachShared();

    QString indexFile() const { return m_indexFile; }
    QString historyDirectory() const { return m_historyDirectory; }

    const QHash<QString, HistoryRecord>& records() const { return m_records; }
    std::optional<HistoryRecord> record(const QString& name) const;
    int pending() const { return m_pending; }

    // Records a capture file written just now, takes app and window from the context where it
    // has them, and queues the file for scanning.
    void index(const QString& path, const CaptureContext& context);

    // Every word of the query (lower-cased, split at blanks) occurs in the record's searched
    // text, or in the file name when there is no record. No words: everything matches.
    bool matches(const QString& name, const QString& query) const;
    // The names of all records that match, in no order.
    QStringList search(const QString& query) const;
    // Up to about 80 characters of the text around the first query word found in it.
    std::optional<QString> snippet(const QString& name, const QString& query) const;

    bool isKept(const QString& name) const;
    // A file with no record is indexed first; false when there is no such capture.
    bool setKeep(const QString& name, bool keep);
    void keepOnly(const QSet<QString>& names);
    void remove(const QString& name);
    void rename(const QString& oldName, const QString& newName);

    // Once per run: indexes every file of the history folder that has no record, and
    // scans the records never scanned.
    void backfill();

    // Keeps the records in step with the folder while the app runs: files that other
    // processes add (a command-line capture) are indexed, records of deleted files go.
    void followFolder();
    void syncWithFolder();

    // Records new captures without reading them: a short-lived command line leaves the
    // recognition to the resident app instead of making the caller wait for it.
    void deferScans() { m_deferScans = true; }

    // Writes 0.4 s after the last change, so a burst of changes is one write.
    void scheduleSave();
    bool saveNow();
    int writes() const { return m_writes; }

    // Runs the event loop until every queued file is scanned.
    void waitForScans();

    // The words of a query, lower-cased UTF-8.
    static QList<QByteArray> queryWords(const QString& query);
    // For files without a record the lower-cased name is searched.
    bool matchesWords(const QString& name, const QList<QByteArray>& words) const;

signals:
    void recordsChanged();
    void pendingChanged(int pending);

private:
    struct ScanResult;
    static ScanResult scan(const QString& path);

    void load();
    void store(HistoryRecord record);
    void refreshKept();
    void setHaystack(const QString& name, QByteArray haystack);
    void dropHaystack(const QString& name);
    void enqueue(const QString& path);
    QStringList folderFiles() const;
    void indexUnknownFiles(const QStringList& files);
    void drain();
    void apply(const ScanResult& result);

    QString m_indexFile;
    QString m_historyDirectory;
    QHash<QString, HistoryRecord> m_records;
    // Lower-cased UTF-8, searched without conversion, in one array that search splits
    // between threads; m_slots finds a name's place in it.
    struct Haystack {
        QString name;
        QByteArray text;
    };
    QList<Haystack> m_haystacks;
    QHash<QString, qsizetype> m_slots;
    QStringList m_queue;
    bool m_working = false;
    int m_pending = 0;
    bool m_didBackfill = false;
    bool m_deferScans = false;
    int m_writes = 0;
    QTimer m_saveTimer;
    QFileSystemWatcher* m_watcher = nullptr;
    QTimer m_folderTimer;
    QFuture<void> m_scanning;
    mutable QMutex m_keptMutex;
    QSet<QString> m_kept;
};
