#include "history/HistoryIndex.h"

#include "capture/HistoryManager.h"
#include "capture/OutputPipeline.h"
#include "editor/ProjectStore.h"
#include "support/EventLoop.h"
#include "support/FakePlatform.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QImage>
#include <QThread>

#include <functional>
#include <memory>

namespace {

using testsupport::waitUntil;

class HistoryIndexTest : public testsupport::PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        ASSERT_TRUE(QDir().mkpath(HistoryManager::directory()));
        textRecognition->lines = {{"Invoice 2024 total due", 1, {}, {}}};
    }
    void TearDown() override { HistoryManager::setIndex({}); }

    QString indexFile() const { return home.path() + "/data/Pictavia/index.json"; }
    std::unique_ptr<HistoryIndex> open() const {
        return std::make_unique<HistoryIndex>(indexFile(), HistoryManager::directory());
    }
    static QString writeImage(const QString& name, int w = 40, int h = 30) {
        QImage image(w, h, QImage::Format_RGB32);
        image.fill(Qt::white);
        const QString path = HistoryManager::directory() + "/" + name;
        image.save(path);
        return path;
    }
    static void pump(int ms) {
        QDeadlineTimer deadline(ms);
        while (!deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
};

TEST_F(HistoryIndexTest, SearchFindsWordsAtEveryOffsetOfLongText) {
    // Long enough for the sixteen-byte steps of the search, with words across their edges.
    QByteArray text;
    for (int i = 0; i < 200; ++i)
        text += static_cast<char>('a' + (i * 7 + i / 13) % 26);
    HistoryRecord record{"long.png", text, std::nullopt, std::nullopt, {}, HistoryRecord::Kind::Image,
                         1,          1,    std::nullopt, false};
    QByteArray bytes = "{\"version\":1,\"records\":[";
    record.appendJson(bytes);
    bytes += "]}";
    QDir().mkpath(QFileInfo(indexFile()).absolutePath());
    QFile file(indexFile());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    file.close();
    auto index = open();
    ASSERT_EQ(index->records().size(), 1);
    const QByteArray haystack = record.haystackUtf8();
    for (int length = 1; length <= 20; ++length) {
        for (int at = 0; at + length <= text.size(); ++at) {
            const QByteArray word = text.mid(at, length);
            EXPECT_TRUE(index->matches("long.png", QString::fromLatin1(word))) << word.toStdString();
            QByteArray changed = word;
            changed[length - 1] = static_cast<char>('a' + (changed[length - 1] - 'a' + 1) % 26);
            EXPECT_EQ(index->matches("long.png", QString::fromLatin1(changed)), haystack.contains(changed));
        }
    }
}

TEST_F(HistoryIndexTest, SearchIsAnAndOfWordsInAnyOrder) {
    auto index = open();
    index->index(writeImage("shot.png"), {"Mail", "Inbox", std::nullopt, std::nullopt});
    index->waitForScans();

    EXPECT_TRUE(index->matches("shot.png", "   "));
    EXPECT_TRUE(index->matches("shot.png", "invoice 2024"));
    EXPECT_TRUE(index->matches("shot.png", "2024  INVOICE"));
    EXPECT_TRUE(index->matches("shot.png", "mail inbox shot"));
    EXPECT_FALSE(index->matches("shot.png", "invoice 2023"));
    EXPECT_EQ(index->search("total invoice"), QStringList{"shot.png"});
    EXPECT_TRUE(index->search("absent").isEmpty());
    // A file without a record is found by its name.
    EXPECT_TRUE(index->matches("Holiday Beach.png", "beach"));
    EXPECT_FALSE(index->matches("Holiday Beach.png", "invoice"));

    EXPECT_EQ(index->snippet("shot.png", "nothing total"), "Invoice 2024 total due");
    EXPECT_FALSE(index->snippet("shot.png", "absent"));
}

TEST_F(HistoryIndexTest, SnippetsAreCutAroundTheMatch) {
    textRecognition->lines = {{QString(100, 'a') + " needle " + QString(100, 'b'), 1, {}, {}}};
    auto index = open();
    index->index(writeImage("long.png"), {});
    index->waitForScans();
    const QString snippet = *index->snippet("long.png", "NEEDLE");
    EXPECT_TRUE(snippet.startsWith(u'…'));
    EXPECT_TRUE(snippet.endsWith(u'…'));
    EXPECT_TRUE(snippet.contains("needle"));
    EXPECT_LE(snippet.size(), 82);
}

TEST_F(HistoryIndexTest, ScanningFillsSizeAndTextAndReindexingKeepsThem) {
    auto index = open();
    const QString path = writeImage("shot.png", 64, 48);
    QList<int> pending;
    QObject::connect(index.get(), &HistoryIndex::pendingChanged, [&](int n) { pending << n; });
    index->index(path, {"Mail", "Inbox", std::nullopt, std::nullopt});
    index->waitForScans();
    EXPECT_EQ(pending, (QList<int>{1, 0}));
    HistoryRecord r = *index->record("shot.png");
    EXPECT_EQ(r.text, "Invoice 2024 total due");
    EXPECT_EQ(QSize(r.width, r.height), QSize(64, 48));
    EXPECT_EQ(r.app, "Mail");
    ASSERT_TRUE(index->setKeep("shot.png", true));

    // Re-indexing without context keeps app and window, text and the keep flag.
    textRecognition->failure = Error{"engine gone"};
    index->index(path, {});
    EXPECT_EQ(index->record("shot.png")->text, "Invoice 2024 total due");
    EXPECT_TRUE(index->record("shot.png")->keep);
    EXPECT_EQ(index->record("shot.png")->window, "Inbox");
    index->index(path, {std::nullopt, "Drafts", std::nullopt, std::nullopt});
    EXPECT_EQ(index->record("shot.png")->app, "Mail");
    EXPECT_EQ(index->record("shot.png")->window, "Drafts");
    EXPECT_TRUE(index->isKept("shot.png"));
    index->waitForScans();
}

TEST_F(HistoryIndexTest, GifsGetTheirLengthFromFrameDelays) {
    auto index = open();
    // A 1x1 GIF of two frames, 0.5 s each.
    const QByteArray gif =
        QByteArray::fromHex("47494638396101000100800000000000ffffff21f90404320000002c0000000001"
                            "00010000020244010021f90404320000002c00000000010001000002024401003b");
    QFile file(HistoryManager::directory() + "/clip.gif");
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(gif);
    file.close();
    index->index(file.fileName(), {});
    index->waitForScans();
    const HistoryRecord r = *index->record("clip.gif");
    EXPECT_EQ(r.kind, HistoryRecord::Kind::Gif);
    EXPECT_EQ(QSize(r.width, r.height), QSize(1, 1));
    EXPECT_EQ(r.durationLabel(), "0:01");
    EXPECT_TRUE(r.text.isEmpty());
}

TEST_F(HistoryIndexTest, BurstsOfChangesGiveOneWriteAndSurviveReopening) {
    auto index = open();
    for (int i = 0; i < 10; ++i)
        index->index(writeImage(QString("s%1.png").arg(i)), {});
    index->waitForScans();
    for (int i = 0; i < 10; ++i)
        index->setKeep(QString("s%1.png").arg(i), i % 2 == 0);
    EXPECT_EQ(index->writes(), 0);
    // Written on another thread after the burst; nothing more after that.
    ASSERT_TRUE(waitUntil([&] { return index->writes() == 1; }));
    pump(700);
    EXPECT_EQ(index->writes(), 1);

    // Dates are kept to the second, as ISO 8601 text.
    auto reopened = open();
    ASSERT_EQ(reopened->records().size(), index->records().size());
    for (const HistoryRecord& before : index->records()) {
        HistoryRecord after = *reopened->record(before.name);
        EXPECT_EQ(after.date.toSecsSinceEpoch(), before.date.toSecsSinceEpoch());
        after.date = before.date;
        EXPECT_EQ(after, before) << before.name.toStdString();
    }
    EXPECT_TRUE(reopened->isKept("s4.png"));
    EXPECT_FALSE(reopened->isKept("s5.png"));
}

// A command line records a capture at once and leaves its text to the app's next start.
TEST_F(HistoryIndexTest, DeferredScansAreReadByTheNextBackfill) {
    {
        auto commandLine = open();
        commandLine->deferScans();
        commandLine->index(writeImage("cli.png"), {});
        EXPECT_EQ(commandLine->pending(), 0);
        ASSERT_TRUE(commandLine->saveNow());
    }
    auto app = open();
    EXPECT_TRUE(app->record("cli.png")->text.isEmpty());
    app->backfill();
    app->waitForScans();
    EXPECT_EQ(app->record("cli.png")->text, "Invoice 2024 total due");
    EXPECT_EQ(app->record("cli.png")->width, 40);
}

TEST_F(HistoryIndexTest, CorruptIndexStartsEmptyAndBackfillRebuildsIt) {
    QDir().mkpath(QFileInfo(indexFile()).absolutePath());
    for (const QByteArray& bytes : {QByteArray("{\"records\": [ {\"name\": 3"), QByteArray("[1,2]"),
                                    QByteArray("{\"records\": [1, \"x\", {}]}"), QByteArray(5000, '\xff'),
                                    QByteArray("{\"records\": [{\"name\": \"a.png\"}]} trailing")}) {
        QFile file(indexFile());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        file.close();
        EXPECT_TRUE(open()->records().isEmpty());
    }
    writeImage("old.png");
    writeImage("older.png");
    auto index = open();
    index->backfill();
    index->waitForScans();
    EXPECT_EQ(index->records().size(), 2);
    EXPECT_EQ(index->record("old.png")->text, "Invoice 2024 total due");
    index->remove("old.png");
    index->backfill(); // once per run
    EXPECT_FALSE(index->record("old.png"));
    ASSERT_TRUE(index->saveNow());
    EXPECT_EQ(open()->records().size(), 1);
}

TEST_F(HistoryIndexTest, KeepOnlyRemoveAndRename) {
    auto index = open();
    for (const QString name : {"a.png", "b.png", "c.png"})
        index->index(writeImage(name), {});
    index->waitForScans();
    index->setKeep("b.png", true);
    EXPECT_FALSE(index->setKeep("missing.png", true));
    index->keepOnly({"a.png", "c.png"});
    EXPECT_EQ(index->records().size(), 2);
    EXPECT_FALSE(index->isKept("b.png"));
    index->rename("a.png", "renamed.png");
    EXPECT_TRUE(index->matches("renamed.png", "renamed invoice"));
    EXPECT_FALSE(index->record("a.png"));
    index->remove("c.png");
    EXPECT_EQ(index->records().keys(), QStringList{"renamed.png"});
}

TEST_F(HistoryIndexTest, PipelinePruningSparesKeptCapturesAndForgetsTheRest) {
    Prefs::setValue("historyLimit", 2);
    Prefs::setValue("filenameTemplate", "n{counter}");
    Prefs::setValue("copyToClipboard", false);
    auto index = open();
    HistoryManager::setIndex({[&](const QString& path, const CaptureContext& c) { index->index(path, c); },
                              [&](const QString& name) { return index->isKept(name); },
                              [&](const QSet<QString>& remaining) {
                                  index->keepOnly(remaining);
                                  ProjectStore::pruneOrphans(remaining);
                              }});
    QImage image(20, 10, QImage::Format_RGB32);
    image.fill(Qt::red);
    for (int i = 0; i < 4; ++i) {
        OutputPipeline::deliverImage(image, 1.0, false, false, {});
        const QString name = QString("n%1.png").arg(i + 1);
        QFile file(HistoryManager::directory() + "/" + name);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        file.setFileTime(QDateTime::currentDateTime().addSecs(i - 10), QFileDevice::FileModificationTime);
        if (i == 0) index->setKeep(name, true);
    }
    index->waitForScans();
    EXPECT_EQ(QDir(HistoryManager::directory()).entryList(QDir::Files),
              (QStringList{"n1.png", "n3.png", "n4.png"}));
    QStringList names = index->records().keys();
    names.sort();
    EXPECT_EQ(names, (QStringList{"n1.png", "n3.png", "n4.png"}));
}

TEST_F(HistoryIndexTest, FollowingTheFolderPicksUpOtherProcessesChanges) {
    auto index = open();
    index->followFolder();
    const QString added = writeImage("from the command line.png");
    writeImage("upload.png.Xy12Ab"); // an atomic write's temporary file
    ASSERT_TRUE(waitUntil([&] { return index->record("from the command line.png").has_value(); }));
    index->waitForScans();
    EXPECT_TRUE(index->matches("from the command line.png", "invoice"));
    EXPECT_FALSE(index->record("upload.png.Xy12Ab"));
    QFile::remove(added);
    EXPECT_TRUE(waitUntil([&] { return !index->record("from the command line.png"); }));
}

} // namespace
