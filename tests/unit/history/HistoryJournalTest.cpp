#include "history/HistoryJournal.h"

#include "capture/HistoryManager.h"
#include "history/HistoryIndex.h"
#include "support/EventLoop.h"
#include "support/FakePlatform.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>

#include <memory>

namespace {

using Entry = HistoryJournal::Entry;
using Op = HistoryJournal::Entry::Op;
using testsupport::waitUntil;

class HistoryJournalTest : public testsupport::PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        ASSERT_TRUE(QDir().mkpath(HistoryManager::directory()));
        textRecognition->lines = {{"Invoice 2024 total due", 1, {}, {}}};
    }

    QString indexFile() const { return home.path() + "/data/Pictavia/index.json"; }
    QString journalFile() const { return HistoryJournal::pathFor(indexFile()); }
    std::unique_ptr<HistoryIndex> open(HistoryIndex::Mode mode = HistoryIndex::Mode::App) const {
        return std::make_unique<HistoryIndex>(indexFile(), HistoryManager::directory(), mode);
    }
    static QString writeImage(const QString& name) {
        QImage image(40, 30, QImage::Format_RGB32);
        image.fill(Qt::white);
        const QString path = HistoryManager::directory() + "/" + name;
        image.save(path);
        return path;
    }
    static QByteArray bytesOf(const QString& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    static void writeBytes(const QString& path, const QByteArray& bytes, QIODevice::OpenMode mode) {
        QFile file(path);
        ASSERT_TRUE(file.open(mode));
        file.write(bytes);
    }
    static Entry added(const QString& name, const QByteArray& text = {}) {
        Entry entry;
        entry.record = HistoryRecord{name, text, std::nullopt, std::nullopt, {}, HistoryRecord::Kind::Image,
                                     0,    0,    std::nullopt, false};
        return entry;
    }
    static QStringList sortedNames(const HistoryIndex& index) {
        QStringList names = index.records().keys();
        names.sort();
        return names;
    }
};

TEST_F(HistoryJournalTest, EntriesReadBackAndTornOrGarbageLinesAreSkipped) {
    Entry add = added("Résumé – draft.png", "line one\nline \"two\"");
    add.record.app = "Writer";
    add.record.date = QDateTime(QDate(2026, 3, 1), QTime(9, 30), Qt::UTC);
    add.record.keep = true;
    const QList<Entry> entries{add,
                               {Op::Keep, {}, "a.png", {}},
                               {Op::Unkeep, {}, "a.png", {}},
                               {Op::Remove, {}, "b.png", {}},
                               {Op::Rename, {}, "c.png", "d.png"}};
    for (const Entry& entry : entries)
        ASSERT_TRUE(HistoryJournal::append(indexFile(), entry));
    EXPECT_EQ(HistoryJournal::read(indexFile()), entries);

    // A writer killed mid-line, then lines no writer of ours makes; a later append still reads.
    const QByteArray torn = HistoryJournal::toLine({Op::Keep, {}, "torn.png", {}});
    writeBytes(journalFile(), torn.left(torn.size() / 2), QIODevice::Append);
    const Entry after{Op::Keep, {}, "after.png", {}};
    ASSERT_TRUE(HistoryJournal::append(indexFile(), after));
    writeBytes(journalFile(),
               "not json\n{\"op\":\"fly\",\"name\":\"x.png\"}\n{\"op\":\"keep\",\"name\":\"../x.png\"}\n"
               "{\"op\":\"add\",\"record\":{}}\n\n",
               QIODevice::Append);
    ASSERT_TRUE(HistoryJournal::append(indexFile(), after));
    EXPECT_EQ(HistoryJournal::read(indexFile()), entries + QList<Entry>({after, after}));

    EXPECT_TRUE(HistoryJournal::read(home.path() + "/nowhere/index.json").isEmpty());
}

TEST_F(HistoryJournalTest, AppendsFromSeveralProcessesAtOnceAllArrive) {
    constexpr int writers = 4;
    constexpr int linesEach = 150;
    std::vector<std::unique_ptr<QProcess>> processes;
    for (int w = 0; w < writers; ++w) {
        processes.push_back(std::make_unique<QProcess>());
        processes.back()->start(HISTORY_INDEX_WRITER_BIN, {"append", indexFile(), QString("writer%1").arg(w),
                                                           QString::number(linesEach)});
    }
    for (auto& process : processes) {
        ASSERT_TRUE(process->waitForFinished(60000));
        EXPECT_EQ(process->exitCode(), 0) << process->readAllStandardError().toStdString();
    }
    const QList<Entry> entries = HistoryJournal::read(indexFile());
    ASSERT_EQ(entries.size(), writers * linesEach);
    QSet<QString> names;
    for (const Entry& entry : entries)
        names.insert(entry.record.name);
    EXPECT_EQ(names.size(), writers * linesEach);
    // Every line whole: the file holds exactly as many line feeds as entries.
    EXPECT_EQ(bytesOf(journalFile()).count('\n'), writers * linesEach);
}

TEST_F(HistoryJournalTest, AJournalWriterNeverWritesTheIndexAndTheAppFoldsItsChanges) {
    {
        auto app = open();
        for (const QString name : {"kept.png", "old name.png", "gone.png"})
            app->index(writeImage(name), {});
        app->waitForScans();
        app->setKeep("kept.png", true);
        ASSERT_TRUE(app->saveNow());
    }
    const QByteArray saved = bytesOf(indexFile());
    {
        auto commandLine = open(HistoryIndex::Mode::Journal);
        commandLine->index(writeImage("new.png"), {"Terminal", std::nullopt, std::nullopt, std::nullopt});
        EXPECT_EQ(commandLine->pending(), 0); // the app reads it
        EXPECT_TRUE(commandLine->setKeep("new.png", true));
        EXPECT_TRUE(commandLine->setKeep("kept.png", false));
        commandLine->rename("old name.png", "new name.png");
        commandLine->remove("gone.png");
        EXPECT_TRUE(commandLine->saveNow());
        EXPECT_EQ(commandLine->writes(), 0);
        // It sees its own changes, as the app will.
        EXPECT_TRUE(commandLine->isKept("new.png"));
        EXPECT_EQ(sortedNames(*commandLine), (QStringList{"kept.png", "new name.png", "new.png"}));
    }
    EXPECT_EQ(bytesOf(indexFile()), saved);
    EXPECT_EQ(HistoryJournal::read(indexFile()).size(), 5);

    // A second command line reads the index and the journal together.
    EXPECT_TRUE(open(HistoryIndex::Mode::Journal)->isKept("new.png"));

    auto app = open();
    EXPECT_EQ(sortedNames(*app), (QStringList{"kept.png", "new name.png", "new.png"}));
    EXPECT_TRUE(app->isKept("new.png"));
    EXPECT_FALSE(app->isKept("kept.png"));
    EXPECT_EQ(app->record("new name.png")->text, "Invoice 2024 total due");
    EXPECT_EQ(app->record("new.png")->app, "Terminal");
    EXPECT_TRUE(bytesOf(journalFile()).isEmpty());
    EXPECT_NE(bytesOf(indexFile()), saved);
    // What the command line added has no text yet: the app's backfill reads it.
    EXPECT_TRUE(app->record("new.png")->text.isEmpty());
    app->backfill();
    app->waitForScans();
    EXPECT_EQ(app->record("new.png")->text, "Invoice 2024 total due");
}

// A crash between saving the index and emptying the journal applies its lines twice.
TEST_F(HistoryJournalTest, FoldingTheSameLinesAgainChangesNothing) {
    {
        auto app = open();
        for (const QString name : {"a.png", "b.png", "c.png"})
            app->index(writeImage(name), {"Mail", std::nullopt, std::nullopt, std::nullopt});
        app->waitForScans();
        app->setKeep("a.png", true);
        ASSERT_TRUE(app->saveNow());
    }
    Entry addB = added("b.png");
    addB.record.window = "Inbox";
    const QList<Entry> entries{added("d.png"),
                               {Op::Keep, {}, "d.png", {}},
                               addB,
                               {Op::Rename, {}, "c.png", "e.png"},
                               added("c.png"),
                               {Op::Unkeep, {}, "a.png", {}},
                               {Op::Keep, {}, "a.png", {}},
                               {Op::Remove, {}, "missing.png", {}}};
    for (const Entry& entry : entries)
        ASSERT_TRUE(HistoryJournal::append(indexFile(), entry));
    const QByteArray journal = bytesOf(journalFile());

    const auto once = open()->records();
    writeBytes(journalFile(), journal, QIODevice::WriteOnly);
    const auto twice = open()->records();
    EXPECT_EQ(twice, once);
    EXPECT_EQ(once.value("b.png").text, "Invoice 2024 total due");
    EXPECT_EQ(once.value("b.png").window, "Inbox");
    EXPECT_EQ(once.value("e.png").text, "Invoice 2024 total due");
    EXPECT_TRUE(once.value("c.png").text.isEmpty());
    EXPECT_TRUE(once.value("a.png").keep);
    EXPECT_TRUE(once.value("d.png").keep);
}

TEST_F(HistoryJournalTest, TheRunningAppFoldsLinesOthersAppendAndScansWhatTheyAdd) {
    auto app = open();
    app->followFolder();
    const QString path = writeImage("from a script.png");
    Entry add;
    add.record = HistoryIndex::newRecord(path, {"Terminal", "bash", std::nullopt, std::nullopt});
    ASSERT_TRUE(HistoryJournal::append(indexFile(), add));
    ASSERT_TRUE(HistoryJournal::append(indexFile(), {Op::Keep, {}, "from a script.png", {}}));
    ASSERT_TRUE(waitUntil([&] { return app->isKept("from a script.png"); }));
    app->waitForScans();
    const HistoryRecord record = *app->record("from a script.png");
    EXPECT_EQ(record.text, "Invoice 2024 total due");
    EXPECT_EQ(record.app, "Terminal");
    EXPECT_EQ(record.window, "bash");
    EXPECT_TRUE(waitUntil([&] { return bytesOf(journalFile()).isEmpty(); }));
    EXPECT_TRUE(open(HistoryIndex::Mode::Journal)->isKept("from a script.png"));

    // The file is watched again after being emptied.
    ASSERT_TRUE(HistoryJournal::append(indexFile(), {Op::Unkeep, {}, "from a script.png", {}}));
    EXPECT_TRUE(waitUntil([&] { return !app->isKept("from a script.png"); }));
}

} // namespace
