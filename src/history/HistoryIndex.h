#pragma once

#include "capture/CaptureContext.h"
#include "history/HistoryJournal.h"
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
// The resident app is the only writer of index.json, and writes it whole to a new file that
// replaces the old one, keeping that as "index.json.previous". Other processes (a command
// line while no app runs) append their changes to the journal beside it (HistoryJournal),
// which the app folds into the index at its start and whenever the journal changes. A file
// that cannot be read is kept aside and the index rebuilt from what can still be read of it,
// the last good copy, the journal and the capture files.
class QFileSystemWatcher;

class HistoryIndex : public QObject {
    Q_OBJECT
public:
    enum class Mode {
        App,     // writes index.json and folds the journal
        Journal, // appends every change to the journal; never writes index.json
    };

    HistoryIndex(QString indexFile, QString historyDirectory, Mode mode = Mode::App,
                 QObject* parent = nullptr);
    ~HistoryIndex() override;

    // The one index of this run, on the data folder; made on first use.
    static HistoryIndex& shared();
    // Where shared() keeps its file, known without loading it.
    static QString sharedIndexFile();
    // The mode shared() is made in; App unless set before its first use.
    static void setSharedMode(Mode mode);

    // The record index() makes for a new capture file: a command line appends it to the
    // journal without loading the index.
    static HistoryRecord newRecord(const QString& path, const CaptureContext& context);
    // Registers shared() with the history folder: it records every stored capture, spares
    // kept files from pruning and forgets files (and their projects) pruning deleted.
    static void attachShared();

    QString indexFile() const { return m_indexFile; }
    QString historyDirectory() const { return m_historyDirectory; }
    Mode mode() const { return m_mode; }

    // Set when index.json could not be read: a sentence for the user saying what was done
    // and where the damaged file is kept.
    std::optional<QString> loadProblem() const { return m_loadProblem; }

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
    // processes add (a command-line capture) are indexed, records of deleted files go, and
    // the journal is folded in when it changes.
    void followFolder();
    void syncWithFolder();
    // Applies the journal, saves and empties it; the captures it adds are queued for
    // scanning. False when the index could not be saved (the journal then stays).
    bool foldJournal();

    // Records new captures without reading them: a short-lived command line leaves the
    // recognition to the resident app instead of making the caller wait for it.
    void deferScans() { m_deferScans = true; }

    // Writes 0.4 s after the last change, so a burst of changes is one write, on another
    // thread: the app answers while a large index is written. saveNow() writes at once, after
    // the one in the background; a journal writer has nothing to save, and saveNow() tells
    // whether every change reached the journal since it was last asked.
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
    // Reads index.json, or rebuilds the records from a damaged one; true when it was damaged.
    bool loadIndexFile();
    bool readIndexFile();
    QHash<QString, HistoryRecord> recover();
    void applyJournal(const QList<HistoryJournal::Entry>& entries, bool queueScans);
    void journal(const HistoryJournal::Entry& entry);
    void watchJournal();
    void store(HistoryRecord record);
    void refreshKept();
    void saveInBackground();
    void setHaystack(const QString& name, QByteArray haystack);
    void dropHaystack(const QString& name);
    void enqueue(const QString& path);
    QStringList folderFiles() const;
    void indexUnknownFiles(const QStringList& files);
    void drain();
    void apply(const ScanResult& result);

    QString m_indexFile;
    QString m_historyDirectory;
    Mode m_mode;
    std::optional<QString> m_loadProblem;
    // False while index.json is a damaged file that could not be moved aside: it is then
    // neither replaced nor kept as the last good copy.
    bool m_mayReplaceFile = true;
    bool m_journalFailed = false;
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
    QTimer m_journalTimer;
    QFuture<void> m_scanning;
    QFuture<bool> m_saving;
    bool m_saveAgain = false; // changes came while m_saving ran
    mutable QMutex m_keptMutex;
    QSet<QString> m_kept;
};
