#include "history/HistoryIndex.h"

#include "capture/HistoryManager.h"
#include "history/HistoryIndexFile.h"
#include "history/HistoryJournal.h"
#include "support/FakePlatform.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>

#include <memory>

namespace {

class HistoryIndexDamageTest : public testsupport::PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        ASSERT_TRUE(QDir().mkpath(HistoryManager::directory()));
        ASSERT_TRUE(QDir().mkpath(folder()));
    }

    QString folder() const { return home.path() + "/data/Pictavia"; }
    QString indexFile() const { return folder() + "/index.json"; }
    std::unique_ptr<HistoryIndex> open(HistoryIndex::Mode mode = HistoryIndex::Mode::App) const {
        return std::make_unique<HistoryIndex>(indexFile(), HistoryManager::directory(), mode);
    }
    static QByteArray bytesOf(const QString& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    static void writeBytes(const QString& path, const QByteArray& bytes) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bytes);
    }
    QStringList damagedCopies() const {
        return QDir(folder()).entryList({"index.json.damaged-*"}, QDir::Files);
    }

    // Records with recognised text, every third kept; their capture files exist.
    static QList<HistoryRecord> records(int count, bool withFiles) {
        QList<HistoryRecord> list;
        for (int i = 0; i < count; ++i) {
            HistoryRecord r;
            r.name = QString("capture %1.png").arg(i);
            r.text =
                "Order " + QByteArray::number(i) + " shipped to Berlin, total €" + QByteArray::number(i * 3);
            r.app = "Mail";
            r.date = QDateTime(QDate(2026, 1, 1), QTime(8, 0), Qt::UTC).addSecs(i);
            r.width = 800;
            r.height = 600;
            r.keep = i % 3 == 0;
            list.append(r);
            if (withFiles) {
                QFile file(HistoryManager::directory() + "/" + r.name);
                file.open(QIODevice::WriteOnly);
            }
        }
        return list;
    }
    static QByteArray indexBytes(const QList<HistoryRecord>& records) {
        QByteArray bytes = "{\"version\":1,\"records\":[";
        for (const HistoryRecord& record : records) {
            if (!bytes.endsWith('[')) bytes += ',';
            record.appendJson(bytes);
        }
        return bytes + "]}";
    }
    static QByteArray json(const HistoryRecord& record) {
        QByteArray bytes;
        record.appendJson(bytes);
        return bytes;
    }
};

TEST_F(HistoryIndexDamageTest, KillingTheAppWhileItSavesALargeIndexLosesNothing) {
    const QList<HistoryRecord> expected = records(50000, false);
    writeBytes(indexFile(), indexBytes(expected));
    for (const char* killAfter : {"saving 1", "saving 2", "saving 3"}) {
        QProcess writer;
        writer.start(HISTORY_INDEX_WRITER_BIN, {"save", indexFile(), HistoryManager::directory()});
        ASSERT_TRUE(writer.waitForStarted());
        QByteArray output;
        while (!output.contains(killAfter) && writer.state() == QProcess::Running)
            if (writer.waitForReadyRead(60000)) output += writer.readAllStandardOutput();
        ASSERT_TRUE(output.contains(killAfter)) << writer.readAllStandardError().toStdString();
        writer.kill(); // SIGKILL, most likely inside the save that follows the line
        writer.waitForFinished();

        const auto index = open();
        EXPECT_FALSE(index->loadProblem()) << index->loadProblem()->toStdString();
        ASSERT_EQ(index->records().size(), expected.size());
        for (const HistoryRecord& record : expected) {
            const auto found = index->record(record.name);
            ASSERT_TRUE(found) << record.name.toStdString();
            EXPECT_EQ(found->text, record.text);
            EXPECT_EQ(found->keep, record.keep);
        }
        // The cut-short write's temporary file is gone; no capture is mistaken for it.
        EXPECT_EQ(QDir(folder()).entryList({"index.json.saving-*"}, QDir::Files), QStringList{});
    }
}

TEST_F(HistoryIndexDamageTest, ADamagedIndexIsKeptAsideAndRebuiltFromWhatCanBeRead) {
    // First state, then a second one saved over it: the first stays as the last good copy.
    const QList<HistoryRecord> first = records(300, true);
    QList<HistoryRecord> second = first;
    for (HistoryRecord& record : second) {
        record.keep = !record.keep;
        record.text += " (rescanned)";
    }
    QRandomGenerator random(7);
    QByteArray garbage(3000, 0);
    for (char& c : garbage)
        c = "{}[]\",:\\ab\x01\xff"[random.bounded(12)];
    const QByteArray whole = indexBytes(second);
    const qsizetype middle = whole.size() / 2;
    const QList<QByteArray> damages{
        whole.left(middle), whole.left(middle) + garbage + whole.mid(middle + 3000), garbage, QByteArray()};

    for (const QByteArray& damaged : damages) {
        for (const QString& name : damagedCopies())
            QFile::remove(folder() + "/" + name);
        writeBytes(indexFile(), indexBytes(first));
        {
            auto app = open();
            ASSERT_EQ(app->records().size(), first.size());
            ASSERT_TRUE(app->saveNow());
        }
        writeBytes(indexFile(), damaged);

        // A command line uses what it can read and leaves the file to the app.
        {
            const auto commandLine = open(HistoryIndex::Mode::Journal);
            ASSERT_TRUE(commandLine->loadProblem());
            EXPECT_TRUE(commandLine->loadProblem()->contains(indexFile()));
            EXPECT_EQ(commandLine->records().size(), first.size());
            EXPECT_EQ(bytesOf(indexFile()), damaged);
        }

        const auto app = open();
        const QStringList kept = damagedCopies();
        ASSERT_EQ(kept.size(), 1);
        EXPECT_TRUE(kept[0].contains(QRegularExpression("^index\\.json\\.damaged-\\d{8}-\\d{6}$")));
        EXPECT_EQ(bytesOf(folder() + "/" + kept[0]), damaged);
        ASSERT_TRUE(app->loadProblem());
        EXPECT_TRUE(app->loadProblem()->contains(folder() + "/" + kept[0]))
            << app->loadProblem()->toStdString();
        // Every record comes back: from the damaged file where it is whole there, else from
        // the last good copy.
        ASSERT_EQ(app->records().size(), first.size());
        int fromDamaged = 0;
        for (qsizetype i = 0; i < first.size(); ++i) {
            const HistoryRecord& expected = damaged.contains(json(second[i])) ? second[i] : first[i];
            fromDamaged += &expected == &second[i];
            const HistoryRecord found = *app->record(expected.name);
            EXPECT_EQ(found.text, expected.text) << expected.name.toStdString();
            EXPECT_EQ(found.keep, expected.keep) << expected.name.toStdString();
            EXPECT_EQ(app->isKept(expected.name), expected.keep);
        }
        if (!damaged.isEmpty() && damaged != garbage) {
            EXPECT_GT(fromDamaged, 100);
        }
        // The rebuilt index is saved at once and reads cleanly.
        const auto reopened = open();
        EXPECT_FALSE(reopened->loadProblem());
        EXPECT_EQ(reopened->records(), app->records());
    }
}

TEST_F(HistoryIndexDamageTest, ChangesWaitingInTheJournalSurviveADamagedIndex) {
    const QList<HistoryRecord> list = records(20, true);
    writeBytes(indexFile(), indexBytes(list));
    ASSERT_TRUE(open()->saveNow());
    ASSERT_TRUE(HistoryJournal::append(indexFile(), {HistoryJournal::Entry::Op::Keep, {}, list[1].name, {}}));
    QByteArray cut = bytesOf(indexFile());
    cut.chop(40);
    writeBytes(indexFile(), cut);
    const auto app = open();
    EXPECT_TRUE(app->loadProblem());
    EXPECT_TRUE(app->isKept(list[1].name));
    EXPECT_EQ(app->records().size(), list.size());
    EXPECT_TRUE(HistoryJournal::read(indexFile()).isEmpty());
}

TEST_F(HistoryIndexDamageTest, SavesKeepTheLastGoodCopy) {
    const QList<HistoryRecord> list = records(3, true);
    writeBytes(indexFile(), indexBytes(list));
    const QByteArray before = bytesOf(indexFile());
    auto app = open();
    app->setKeep(list[1].name, true);
    ASSERT_TRUE(app->saveNow());
    EXPECT_EQ(bytesOf(HistoryIndexFile::previousPath(indexFile())), before);
    const QByteArray saved = bytesOf(indexFile());
    app->remove(list[2].name);
    ASSERT_TRUE(app->saveNow());
    EXPECT_EQ(bytesOf(HistoryIndexFile::previousPath(indexFile())), saved);
    EXPECT_EQ(QDir(folder()).entryList({"index.json*"}, QDir::Files),
              (QStringList{"index.json", "index.json.previous"}));
}

} // namespace
