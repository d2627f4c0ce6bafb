#include "history/HistoryIndex.h"

#include "common/FolderNames.h"

#include "app/AppPaths.h"
#include "capture/HistoryManager.h"
#include "capture/ImageUtils.h"
#include "editor/ProjectStore.h"
#include "history/HistoryIndexFile.h"
#include "platform/Platform.h"
#include "platform/json/HistoryJson.h"
#include "text/TextRecognizer.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QFutureWatcher>
#include <QImageReader>
#include <QtConcurrent/QtConcurrentRun>

#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

constexpr int formatVersion = 1;
constexpr int saveDelayMs = 400;
constexpr qsizetype snippetLength = 80;
constexpr qsizetype snippetLead = 30; // characters shown before the match
constexpr int maxGifFrames = 100000;

// How common a byte is in screen text, lower is rarer: the search looks for a word's rarest
// byte with memchr, which outruns memmem on the short words people type.
int commonness(unsigned char c) {
    static constexpr char byFrequency[] = " etaoinsrhldcumfpgwybvkxjqz";
    if (const char* at = std::strchr(byFrequency, c); at != nullptr && c != 0)
        return static_cast<int>(sizeof byFrequency) - static_cast<int>(at - byFrequency);
    return 0; // digits, punctuation and non-ASCII bytes are rarer than any letter
}

qsizetype anchorOf(const QByteArray& word) {
    qsizetype anchor = 0;
    for (qsizetype i = 1; i < word.size(); ++i)
        if (commonness(static_cast<unsigned char>(word[i])) <
            commonness(static_cast<unsigned char>(word[anchor])))
            anchor = i;
    return anchor;
}

bool contains(const QByteArray& haystack, const QByteArray& word, qsizetype anchor) {
    const qsizetype length = word.size();
    if (length > haystack.size()) return false;
    const char* const start = haystack.constData();
    qsizetype from = 0;
#if defined(__SSE2__)
    // Sixteen places at a time, those where both the first and the last byte of the word
    // sit; only they are compared in full.
    if (length >= 2) {
        const __m128i first = _mm_set1_epi8(word[0]);
        const __m128i last = _mm_set1_epi8(word[length - 1]);
        for (; from + length - 1 + 16 <= haystack.size(); from += 16) {
            const __m128i atFirst =
                _mm_cmpeq_epi8(first, _mm_loadu_si128(reinterpret_cast<const __m128i*>(start + from)));
            const __m128i atLast = _mm_cmpeq_epi8(
                last, _mm_loadu_si128(reinterpret_cast<const __m128i*>(start + from + length - 1)));
            for (unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(_mm_and_si128(atFirst, atLast)));
                 mask != 0; mask &= mask - 1) {
                const qsizetype at = from + __builtin_ctz(mask);
                if (std::memcmp(start + at + 1, word.constData() + 1, static_cast<size_t>(length - 2)) == 0)
                    return true;
            }
        }
    }
#endif
    // Where the anchor byte may sit for the whole word to fit.
    const char* at = start + from + anchor;
    const char* const last = start + (haystack.size() - length) + anchor;
    const char key = word[anchor];
    while (at <= last) {
        at = static_cast<const char*>(std::memchr(at, key, static_cast<size_t>(last - at + 1)));
        if (at == nullptr) return false;
        if (std::memcmp(at - anchor, word.constData(), static_cast<size_t>(length)) == 0) return true;
        ++at;
    }
    return false;
}

bool contains(const QByteArray& haystack, const QByteArray& word) {
    return contains(haystack, word, anchorOf(word));
}

bool containsAll(const QByteArray& haystack, const QList<QByteArray>& words) {
    for (const QByteArray& word : words)
        if (!contains(haystack, word)) return false;
    return true;
}

std::optional<HistoryRecord> recordFrom(historyjson::Fields& fields) {
    HistoryRecord record;
    record.name = QString::fromUtf8(fields.name);
    if (record.name.isEmpty()) return std::nullopt;
    record.text = std::move(fields.text);
    if (fields.app) record.app = QString::fromUtf8(*fields.app);
    if (fields.window) record.window = QString::fromUtf8(*fields.window);
    record.date = HistoryRecord::dateFromIso(fields.date);
    record.kind = fields.kind == "video"   ? HistoryRecord::Kind::Video
                  : fields.kind == "gif"   ? HistoryRecord::Kind::Gif
                  : fields.kind == "image" ? HistoryRecord::Kind::Image
                                           : HistoryRecord::kindOf(record.name);
    record.width = fields.width;
    record.height = fields.height;
    record.duration = fields.duration;
    record.keep = fields.keep;
    return record;
}

// The whole index, written to a new file that replaces the old one. Pieces of records are
// made on the other cores while this thread writes the ones ready, so the disk is busy while
// the rest is made.
bool writeIndexFile(const QString& indexFile, const QHash<QString, HistoryRecord>& records) {
    QList<const HistoryRecord*> order;
    order.reserve(records.size());
    for (const HistoryRecord& record : records)
        order.append(&record);
    constexpr qsizetype piece = 4096;
    QList<QFuture<QByteArray>> pieces;
    for (qsizetype from = 0; from < order.size(); from += piece)
        pieces.append(QtConcurrent::run([&order, from] {
            const qsizetype to = std::min(order.size(), from + piece);
            qsizetype size = 64;
            for (qsizetype i = from; i < to; ++i)
                size += order[i]->text.size() + 256;
            QByteArray bytes;
            bytes.reserve(size + size / 8);
            for (qsizetype i = from; i < to; ++i) {
                if (i > 0) bytes += ',';
                order[i]->appendJson(bytes);
            }
            return bytes;
        }));
    HistoryIndexFile::Writer file(indexFile);
    bool written = file.append("{\"version\":" + QByteArray::number(formatVersion) + ",\"records\":[");
    for (QFuture<QByteArray>& bytes : pieces)
        written = file.append(bytes.takeResult()) && written; // every piece is waited for
    return written && file.append("]}") && file.commit(true);
}

HistoryIndex::Mode& sharedMode() {
    static HistoryIndex::Mode mode = HistoryIndex::Mode::App;
    return mode;
}

} // namespace

struct HistoryIndex::ScanResult {
    QString name;
    QString text;
    int width = 0;
    int height = 0;
    std::optional<double> duration;
};

HistoryIndex::HistoryIndex(QString indexFile, QString historyDirectory, Mode mode, QObject* parent)
    : QObject(parent), m_indexFile(std::move(indexFile)), m_historyDirectory(std::move(historyDirectory)),
      m_mode(mode) {
    // A journal writer leaves recognition to the app, which scans what it folds in.
    m_deferScans = mode == Mode::Journal;
    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(saveDelayMs);
    connect(&m_saveTimer, &QTimer::timeout, this, &HistoryIndex::saveInBackground);
    load();
}

HistoryIndex::~HistoryIndex() {
    // The scan reads platform services that may go with us.
    m_scanning.waitForFinished();
    m_saving.waitForFinished();
}

QString HistoryIndex::sharedIndexFile() {
    return AppPaths::dataDirectory() + QStringLiteral("/index.json");
}

HistoryIndex& HistoryIndex::shared() {
    // Lives for the whole run, like the history folder it describes.
    static HistoryIndex* index =
        new HistoryIndex(sharedIndexFile(), HistoryManager::directory(), sharedMode());
    return *index;
}

void HistoryIndex::setSharedMode(Mode mode) {
    sharedMode() = mode;
}

HistoryRecord HistoryIndex::newRecord(const QString& path, const CaptureContext& context) {
    const QFileInfo file(path);
    HistoryRecord record;
    record.name = file.fileName();
    const QDateTime born = file.birthTime();
    record.date = born.isValid() ? born : QDateTime::currentDateTime();
    record.kind = HistoryRecord::kindOf(record.name);
    record.app = context.appName;
    record.window = context.windowTitle;
    return record;
}

void HistoryIndex::attachShared() {
    HistoryIndex& index = shared();
    HistoryManager::setIndex(
        {[&index](const QString& path, const CaptureContext& context) { index.index(path, context); },
         [&index](const QString& name) { return index.isKept(name); },
         [&index](const QSet<QString>& remaining) {
             index.keepOnly(remaining);
             ProjectStore::pruneOrphans(remaining);
         }});
}

std::optional<HistoryRecord> HistoryIndex::record(const QString& name) const {
    const auto found = m_records.constFind(name);
    if (found == m_records.cend()) return std::nullopt;
    return *found;
}

void HistoryIndex::index(const QString& path, const CaptureContext& context) {
    const QFileInfo file(path);
    HistoryRecord record;
    if (const auto existing = m_records.constFind(file.fileName()); existing != m_records.cend()) {
        record = *existing;
        if (context.appName) record.app = context.appName;
        if (context.windowTitle) record.window = context.windowTitle;
        if (const QDateTime born = file.birthTime(); born.isValid()) record.date = born;
    } else {
        record = newRecord(path, context);
    }
    journal({HistoryJournal::Entry::Op::Add, record, {}, {}});
    store(std::move(record));
    scheduleSave();
    if (!m_deferScans) enqueue(path);
}

QList<QByteArray> HistoryIndex::queryWords(const QString& query) {
    QList<QByteArray> words;
    for (const QString& word : query.toLower().split(u' ', Qt::SkipEmptyParts)) {
        const QString trimmed = word.trimmed();
        if (!trimmed.isEmpty()) words.append(trimmed.toUtf8());
    }
    return words;
}

bool HistoryIndex::matchesWords(const QString& name, const QList<QByteArray>& words) const {
    if (words.isEmpty()) return true;
    const auto found = m_slots.constFind(name);
    if (found != m_slots.cend()) return containsAll(m_haystacks[*found].text, words);
    return containsAll(name.toLower().toUtf8(), words);
}

bool HistoryIndex::matches(const QString& name, const QString& query) const {
    return matchesWords(name, queryWords(query));
}

QStringList HistoryIndex::search(const QString& query) const {
    const QList<QByteArray> words = queryWords(query);
    QList<qsizetype> anchors;
    for (const QByteArray& word : words)
        anchors.append(anchorOf(word));
    const auto collect = [this, &words, &anchors](qsizetype from, qsizetype to) {
        QStringList names;
        names.reserve(to - from);
        for (qsizetype i = from; i < to; ++i) {
            const QByteArray& haystack = m_haystacks[i].text;
            bool all = true;
            for (qsizetype w = 0; all && w < words.size(); ++w)
                all = contains(haystack, words[w], anchors[w]);
            if (all) names.append(m_haystacks[i].name);
        }
        return names;
    };
    const qsizetype count = m_haystacks.size();
    // Small indexes are not worth a thread.
    if (count < 2000) return collect(0, count);
    const qsizetype half = count / 2;
    QFuture<QStringList> second = QtConcurrent::run(collect, half, count);
    QStringList names = collect(0, half);
    names += second.result();
    return names;
}

std::optional<QString> HistoryIndex::snippet(const QString& name, const QString& query) const {
    const auto found = m_records.constFind(name);
    if (found == m_records.cend()) return std::nullopt;
    const QString text = found->textString();
    for (const QByteArray& word : queryWords(query)) {
        const qsizetype at = text.indexOf(QString::fromUtf8(word), 0, Qt::CaseInsensitive);
        if (at < 0) continue;
        const qsizetype start = std::max<qsizetype>(0, at - snippetLead);
        const qsizetype end = std::min(text.size(), start + snippetLength);
        QString excerpt = text.mid(start, end - start).simplified();
        if (start > 0) excerpt.prepend(u'…');
        if (end < text.size()) excerpt.append(u'…');
        return excerpt;
    }
    return std::nullopt;
}

bool HistoryIndex::isKept(const QString& name) const {
    QMutexLocker lock(&m_keptMutex);
    return m_kept.contains(name);
}

bool HistoryIndex::setKeep(const QString& name, bool keep) {
    if (!m_records.contains(name)) {
        const QString path = QDir(m_historyDirectory).filePath(name);
        if (name.isEmpty() || !QFileInfo(path).isFile()) return false;
        index(path, {});
    }
    // Always journaled: the app's record may differ from what this process read.
    journal({keep ? HistoryJournal::Entry::Op::Keep : HistoryJournal::Entry::Op::Unkeep, {}, name, {}});
    HistoryRecord& record = m_records[name];
    if (record.keep == keep) return true;
    record.keep = keep;
    refreshKept();
    emit recordsChanged();
    scheduleSave();
    return true;
}

void HistoryIndex::keepOnly(const QSet<QString>& names) {
    bool changed = false;
    for (auto it = m_records.begin(); it != m_records.end();) {
        if (names.contains(it.key())) {
            ++it;
            continue;
        }
        journal({HistoryJournal::Entry::Op::Remove, {}, it.key(), {}});
        dropHaystack(it.key());
        it = m_records.erase(it);
        changed = true;
    }
    if (!changed) return;
    refreshKept();
    emit recordsChanged();
    scheduleSave();
}

void HistoryIndex::remove(const QString& name) {
    journal({HistoryJournal::Entry::Op::Remove, {}, name, {}});
    if (!m_records.remove(name)) return;
    dropHaystack(name);
    refreshKept();
    emit recordsChanged();
    scheduleSave();
}

void HistoryIndex::rename(const QString& oldName, const QString& newName) {
    const auto found = m_records.constFind(oldName);
    if (found == m_records.cend() || oldName == newName) return;
    journal({HistoryJournal::Entry::Op::Rename, {}, oldName, newName});
    HistoryRecord record = *found;
    m_records.remove(oldName);
    dropHaystack(oldName);
    record.name = newName;
    store(std::move(record));
    scheduleSave();
}

void HistoryIndex::backfill() {
    if (m_didBackfill) return;
    m_didBackfill = true;
    const QDir directory(m_historyDirectory);
    // Movies get their size from the recorder; any other record without one was never read.
    QStringList unscanned;
    for (const HistoryRecord& record : std::as_const(m_records))
        if (record.width == 0 && record.kind != HistoryRecord::Kind::Video && directory.exists(record.name))
            unscanned.append(directory.filePath(record.name));
    indexUnknownFiles(folderFiles());
    for (const QString& path : std::as_const(unscanned))
        enqueue(path);
}

namespace {

// Captures by their extension: the index file, hidden files and the temporary files of
// atomic writes ("name.png.Ab12Cd") are not captures.
bool isCaptureName(const QString& name) {
    static const QStringList extensions{
        QStringLiteral("png"),  QStringLiteral("jpg"), QStringLiteral("jpeg"), QStringLiteral("heic"),
        QStringLiteral("webp"), QStringLiteral("gif"), QStringLiteral("tiff"), QStringLiteral("bmp"),
        QStringLiteral("mp4"),  QStringLiteral("mov"), QStringLiteral("m4v")};
    return !name.startsWith(u'.') && extensions.contains(QFileInfo(name).suffix().toLower());
}

} // namespace

void HistoryIndex::indexUnknownFiles(const QStringList& files) {
    const QDir directory(m_historyDirectory);
    for (const QString& name : files) {
        // The look-up first: the name test is the slower, and nearly every file is known.
        if (m_records.contains(name) || !isCaptureName(name)) continue;
        index(directory.filePath(name), {});
    }
}

void HistoryIndex::followFolder() {
    if (m_watcher) return;
    QDir().mkpath(m_historyDirectory);
    m_watcher = new QFileSystemWatcher({m_historyDirectory}, this);
    m_folderTimer.setSingleShot(true);
    m_folderTimer.setInterval(300);
    connect(&m_folderTimer, &QTimer::timeout, this, &HistoryIndex::syncWithFolder);
    const QString indexFolder = QFileInfo(m_indexFile).absolutePath();
    if (m_mode == Mode::App) {
        // The folder tells when a journal appears, the file when lines are appended to it.
        QDir().mkpath(indexFolder);
        m_watcher->addPath(indexFolder);
        watchJournal();
        m_journalTimer.setSingleShot(true);
        m_journalTimer.setInterval(100);
        connect(m_watcher, &QFileSystemWatcher::fileChanged, &m_journalTimer, qOverload<>(&QTimer::start));
        connect(&m_journalTimer, &QTimer::timeout, this, &HistoryIndex::foldJournal);
    }
    connect(m_watcher, &QFileSystemWatcher::directoryChanged, this, [this, indexFolder](const QString& path) {
        if (path == m_historyDirectory) m_folderTimer.start();
        if (path == indexFolder && m_mode == Mode::App) {
            watchJournal();
            m_journalTimer.start();
        }
    });
}

void HistoryIndex::watchJournal() {
    const QString journal = HistoryJournal::pathFor(m_indexFile);
    if (m_watcher && !m_watcher->files().contains(journal) && QFileInfo::exists(journal))
        m_watcher->addPath(journal);
}

bool HistoryIndex::foldJournal() {
    bool saved = true;
    HistoryJournal::fold(m_indexFile, [this, &saved](const QList<HistoryJournal::Entry>& entries) {
        if (entries.isEmpty()) return false;
        applyJournal(entries, true);
        saved = saveNow();
        return saved;
    });
    watchJournal();
    return saved;
}

QStringList HistoryIndex::folderFiles() const {
    // Names only: sorting by date would read every file's date many times over, seconds for
    // a large history on each change of the folder.
    return folderFileNames(m_historyDirectory);
}

void HistoryIndex::syncWithFolder() {
    // One listing of the folder, not a look-up per record: a large history stays cheap.
    const QStringList files = folderFiles();
    // Records of deleted files go in one step: the kept set is rebuilt once, not per file.
    keepOnly(QSet<QString>(files.begin(), files.end()));
    indexUnknownFiles(files);
}

void HistoryIndex::scheduleSave() {
    if (m_mode == Mode::App) m_saveTimer.start(); // restarts a pending one
}

bool HistoryIndex::saveNow() {
    if (m_mode == Mode::Journal) return !std::exchange(m_journalFailed, false);
    m_saveTimer.stop();
    // A save running in the background holds an older state: this one follows it.
    m_saving.waitForFinished();
    m_saveAgain = false;
    if (!m_mayReplaceFile || !writeIndexFile(m_indexFile, m_records)) return false;
    ++m_writes;
    return true;
}

void HistoryIndex::saveInBackground() {
    if (!m_mayReplaceFile) return;
    if (m_saving.isRunning()) {
        m_saveAgain = true;
        return;
    }
    // The records are shared with the writer, not copied; a change made while it writes
    // copies them then.
    m_saving = QtConcurrent::run(
        [file = m_indexFile, records = m_records] { return writeIndexFile(file, records); });
    m_saving.then(this, [this](bool written) {
        if (written) ++m_writes;
        if (std::exchange(m_saveAgain, false)) saveInBackground();
    });
}

void HistoryIndex::waitForScans() {
    while (m_working)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

void HistoryIndex::load() {
    if (m_mode == Mode::Journal) {
        // Racing the app's start, a fold may fall between these two reads; only this
        // process's view misses the folded lines then, and its own changes still reach the app.
        loadIndexFile();
        applyJournal(HistoryJournal::read(m_indexFile), false);
        return;
    }
    HistoryIndexFile::removeUnfinishedWrites(m_indexFile);
    // Under the journal's lock: no line can be appended between reading and emptying it.
    // Captures it adds are scanned by backfill(), like every unscanned record.
    HistoryJournal::fold(m_indexFile, [this](const QList<HistoryJournal::Entry>& entries) {
        const bool rebuilt = loadIndexFile();
        applyJournal(entries, false);
        return (rebuilt || !entries.isEmpty()) && saveNow();
    });
}

bool HistoryIndex::readIndexFile() {
    // Lower-casing the text costs about as much as parsing it, so each batch of parsed records
    // goes to another core for its haystacks while parsing goes on.
    struct Batch {
        QList<HistoryRecord> records;
        QList<QByteArray> haystacks;
    };
    constexpr qsizetype batchSize = 2048;
    QList<QFuture<Batch>> batches;
    Batch batch;
    const auto submit = [&batches, &batch] {
        batches.append(QtConcurrent::run([records = std::move(batch.records)]() mutable {
            Batch done{std::move(records), {}};
            done.haystacks.reserve(done.records.size());
            for (const HistoryRecord& record : std::as_const(done.records))
                done.haystacks.append(record.haystackUtf8());
            return done;
        }));
        batch.records = {};
        batch.records.reserve(batchSize);
    };
    batch.records.reserve(batchSize);
    const bool read = historyjson::read(m_indexFile, [&](historyjson::Fields& fields) {
        auto record = recordFrom(fields);
        if (!record) return;
        batch.records.append(std::move(*record));
        if (batch.records.size() == batchSize) submit();
    });
    if (!batch.records.isEmpty()) submit();
    qsizetype count = 0;
    for (QFuture<Batch>& future : batches) {
        future.waitForFinished();
        count += future.result().records.size();
    }
    if (!read) return false;
    // Straight into the maps: per-record bookkeeping would make loading quadratic.
    m_records.reserve(count);
    m_slots.reserve(count);
    m_haystacks.reserve(count);
    for (QFuture<Batch>& future : batches) {
        Batch done = future.takeResult();
        for (qsizetype i = 0; i < done.records.size(); ++i) {
            // A name given twice keeps its last record, as a JSON object reader would.
            setHaystack(done.records[i].name, std::move(done.haystacks[i]));
            const QString name = done.records[i].name;
            m_records.insert(name, std::move(done.records[i]));
        }
    }
    refreshKept();
    return true;
}

bool HistoryIndex::loadIndexFile() {
    if (!QFileInfo::exists(m_indexFile) || readIndexFile()) return false;
    QHash<QString, HistoryRecord> recovered = recover();
    m_records.clear();
    m_slots.clear();
    m_haystacks.clear();
    for (HistoryRecord& record : recovered) {
        setHaystack(record.name, record.haystackUtf8());
        m_records.insert(record.name, std::move(record));
    }
    refreshKept();
    if (m_mode == Mode::Journal) {
        m_loadProblem = QStringLiteral("The history index %1 is damaged; what could be read of it is used "
                                       "until Pictavia repairs it at its next start.")
                            .arg(m_indexFile);
        return true;
    }
    const auto aside = HistoryIndexFile::setAside(m_indexFile, QDateTime::currentDateTime());
    if (aside) {
        m_loadProblem = QStringLiteral("The history index was damaged; it was rebuilt from your captures "
                                       "and the damaged file kept as %1.")
                            .arg(*aside);
    } else {
        m_mayReplaceFile = false;
        m_loadProblem = QStringLiteral("The history index %1 is damaged and could not be moved aside (%2); "
                                       "changes to the history are not saved until it is.")
                            .arg(m_indexFile, aside.error().message);
    }
    return true;
}

QHash<QString, HistoryRecord> HistoryIndex::recover() {
    QHash<QString, HistoryRecord> records;
    const auto collect = [&records](historyjson::Fields& fields) {
        if (auto record = recordFrom(fields)) records.insert(record->name, std::move(*record));
    };
    const QString previous = HistoryIndexFile::previousPath(m_indexFile);
    if (!historyjson::read(previous, collect)) {
        records.clear();
        historyjson::salvage(previous, collect);
    }
    // The damaged file is the newer: its records win.
    historyjson::salvage(m_indexFile, collect);
    // Rebuilt from the captures there are: records of files gone (the last good copy is a
    // save older) would come back for nothing.
    const QStringList files = folderFiles();
    const QSet<QString> present(files.begin(), files.end());
    for (auto it = records.begin(); it != records.end();)
        it = present.contains(it.key()) ? std::next(it) : records.erase(it);
    return records;
}

void HistoryIndex::applyJournal(const QList<HistoryJournal::Entry>& entries, bool queueScans) {
    using Op = HistoryJournal::Entry::Op;
    const QDir directory(m_historyDirectory);
    // Every entry can be applied again without harm: a fold cut short before the journal
    // was emptied is repeated at the next start.
    const auto add = [&](HistoryRecord record) {
        const QString name = record.name;
        const bool unscanned = record.width == 0 && record.kind != HistoryRecord::Kind::Video;
        setHaystack(name, record.haystackUtf8());
        m_records.insert(name, std::move(record));
        if (queueScans && unscanned && directory.exists(name)) enqueue(directory.filePath(name));
    };
    for (const HistoryJournal::Entry& entry : entries) {
        switch (entry.op) {
        case Op::Add: {
            const auto found = m_records.find(entry.record.name);
            if (found == m_records.end()) {
                add(entry.record);
                break;
            }
            // As index() does for a file it knows: text and keep flag stay.
            if (entry.record.app) found->app = entry.record.app;
            if (entry.record.window) found->window = entry.record.window;
            setHaystack(found->name, found->haystackUtf8());
            break;
        }
        case Op::Keep:
        case Op::Unkeep:
            if (!m_records.contains(entry.name) && directory.exists(entry.name))
                add(newRecord(directory.filePath(entry.name), {}));
            if (const auto found = m_records.find(entry.name); found != m_records.end())
                found->keep = entry.op == Op::Keep;
            break;
        case Op::Remove:
            if (m_records.remove(entry.name)) dropHaystack(entry.name);
            break;
        case Op::Rename: {
            if (!m_records.contains(entry.name) || m_records.contains(entry.newName)) break;
            HistoryRecord record = m_records.take(entry.name);
            dropHaystack(entry.name);
            record.name = entry.newName;
            setHaystack(record.name, record.haystackUtf8());
            m_records.insert(record.name, std::move(record));
            break;
        }
        }
    }
    if (entries.isEmpty()) return;
    refreshKept();
    emit recordsChanged();
}

void HistoryIndex::journal(const HistoryJournal::Entry& entry) {
    if (m_mode == Mode::Journal && !HistoryJournal::append(m_indexFile, entry)) m_journalFailed = true;
}

void HistoryIndex::setHaystack(const QString& name, QByteArray haystack) {
    if (const auto found = m_slots.constFind(name); found != m_slots.cend()) {
        m_haystacks[*found].text = std::move(haystack);
        return;
    }
    m_slots.insert(name, m_haystacks.size());
    m_haystacks.append({name, std::move(haystack)});
}

void HistoryIndex::dropHaystack(const QString& name) {
    const auto found = m_slots.constFind(name);
    if (found == m_slots.cend()) return;
    // The last one takes the freed place, keeping the array without gaps.
    const qsizetype slot = *found;
    m_slots.erase(found);
    if (slot != m_haystacks.size() - 1) {
        m_haystacks[slot] = std::move(m_haystacks.last());
        m_slots[m_haystacks[slot].name] = slot;
    }
    m_haystacks.removeLast();
}

void HistoryIndex::store(HistoryRecord record) {
    const QString name = record.name;
    setHaystack(name, record.haystackUtf8());
    const bool keepChanged = m_records.value(name).keep != record.keep;
    m_records.insert(name, std::move(record));
    if (keepChanged) refreshKept();
    emit recordsChanged();
}

void HistoryIndex::refreshKept() {
    QSet<QString> kept;
    for (const HistoryRecord& record : std::as_const(m_records))
        if (record.keep) kept.insert(record.name);
    QMutexLocker lock(&m_keptMutex);
    m_kept = std::move(kept);
}

void HistoryIndex::enqueue(const QString& path) {
    m_queue.append(path);
    emit pendingChanged(++m_pending);
    if (!m_working) drain();
}

void HistoryIndex::drain() {
    if (m_queue.isEmpty()) {
        m_working = false;
        return;
    }
    m_working = true;
    const QString path = m_queue.takeFirst();
    auto* watcher = new QFutureWatcher<ScanResult>(this);
    connect(watcher, &QFutureWatcher<ScanResult>::finished, this, [this, watcher] {
        apply(watcher->result());
        watcher->deleteLater();
        emit pendingChanged(--m_pending);
        scheduleSave();
        drain();
    });
    const QFuture<ScanResult> future = QtConcurrent::run(&HistoryIndex::scan, path);
    m_scanning = QFuture<void>(future);
    watcher->setFuture(future);
}

HistoryIndex::ScanResult HistoryIndex::scan(const QString& path) {
    ScanResult result;
    result.name = QFileInfo(path).fileName();
    switch (HistoryRecord::kindOf(path)) {
    case HistoryRecord::Kind::Image: {
        const QImage image = ImageUtils::readFile(path);
        result.width = image.width();
        result.height = image.height();
        if (!image.isNull())
            if (const auto text = TextRecognizer::recognize(image)) result.text = *text;
        break;
    }
    case HistoryRecord::Kind::Gif: {
        QImageReader reader(path);
        const QSize size = reader.size();
        result.width = size.width();
        result.height = size.height();
        long long milliseconds = 0;
        for (int frames = 0; frames < maxGifFrames && !reader.read().isNull(); ++frames)
            milliseconds += std::max(0, reader.nextImageDelay());
        if (milliseconds > 0) result.duration = static_cast<double>(milliseconds) / 1000.0;
        break;
    }
    case HistoryRecord::Kind::Video:
        if (auto& media = platform::services().media) {
            if (const auto info = media->info(path)) {
                result.width = info->size.width();
                result.height = info->size.height();
                if (info->duration > 0) result.duration = info->duration;
            }
        }
        break;
    }
    return result;
}

void HistoryIndex::apply(const ScanResult& result) {
    const auto found = m_records.constFind(result.name);
    if (found == m_records.cend()) return; // forgotten while it was scanned
    HistoryRecord record = *found;
    record.text = result.text.toUtf8();
    record.width = std::max(0, result.width);
    record.height = std::max(0, result.height);
    record.duration = result.duration;
    store(std::move(record));
}
