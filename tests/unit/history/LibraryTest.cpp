#include "capture/HistoryManager.h"
#include "editor/ProjectStore.h"
#include "history/HistoryFiles.h"
#include "history/HistoryIndex.h"
#include "history/LibraryQuery.h"
#include "support/FakePlatform.h"
#include "support/HistoryFiles.h"

#include <QDir>
#include <QFile>
#include <QImage>

#include <memory>

namespace {

using Kind = HistoryRecord::Kind;

class LibraryTest : public testsupport::PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        ASSERT_TRUE(QDir().mkpath(HistoryManager::directory()));
    }

    // An index holding these records, their files written to the history folder.
    void makeIndex(const QList<HistoryRecord>& records) {
        index = testsupport::historyWith(records, home.path() + "/data");
        ASSERT_TRUE(index);
    }

    static HistoryRecord record(const QString& name, const QDateTime& date, const QByteArray& text = {},
                                Kind kind = Kind::Image) {
        return {name, text, std::nullopt, std::nullopt, date, kind, 8, 8, std::nullopt, false};
    }

    static QStringList names(const QList<LibraryQuery::Item>& items) {
        QStringList list;
        for (const auto& item : items)
            list << item.name;
        return list;
    }

    const QDateTime now = QDateTime(QDate(2026, 11, 21), QTime(15, 0));
    std::unique_ptr<HistoryIndex> index;
};

TEST_F(LibraryTest, NewestFirstNarrowedByKindAndSpan) {
    makeIndex({record("old.png", now.addDays(-40)), record("week.gif", now.addDays(-3), {}, Kind::Gif),
               record("today.png", now.addSecs(-3600)),
               record("morning.png", QDateTime(now.date(), QTime(0, 5))),
               record("yesterday.mp4", now.addDays(-1), {}, Kind::Video)});
    LibraryQuery query;
    EXPECT_EQ(names(query.run(*index, now)),
              (QStringList{"today.png", "morning.png", "yesterday.mp4", "week.gif", "old.png"}));
    query.span = LibraryQuery::Span::Today;
    EXPECT_EQ(names(query.run(*index, now)), (QStringList{"today.png", "morning.png"}));
    query.span = LibraryQuery::Span::Week;
    query.kind = Kind::Gif;
    EXPECT_EQ(names(query.run(*index, now)), QStringList{"week.gif"});
    query.span = LibraryQuery::Span::Month;
    query.kind = Kind::Image;
    EXPECT_EQ(names(query.run(*index, now)), (QStringList{"today.png", "morning.png"}));
}

TEST_F(LibraryTest, SearchGivesSnippetsOnlyWhileSearching) {
    makeIndex({record("a.png", now.addDays(-1), "Quarterly invoice from Lumen Ltd"),
               record("b.png", now, "Meeting notes: invoice sent"), record("c.png", now, "Holiday photos")});
    LibraryQuery query;
    for (const auto& item : query.run(*index, now))
        EXPECT_FALSE(item.snippet) << item.name.toStdString();
    query.words = "INVOICE";
    const auto found = query.run(*index, now);
    ASSERT_EQ(names(found), (QStringList{"b.png", "a.png"}));
    ASSERT_TRUE(found[1].snippet);
    EXPECT_TRUE(found[1].snippet->contains("invoice", Qt::CaseInsensitive));
    EXPECT_EQ(found[1].path, HistoryManager::directory() + "/a.png");
    query.words = "invoice lumen";
    EXPECT_EQ(names(query.run(*index, now)), QStringList{"a.png"});
}

TEST_F(LibraryTest, RenameCarriesTextKeepFlagAndProject) {
    makeIndex({record("Shot.png", now, "Budget review")});
    ASSERT_TRUE(index->setKeep("Shot.png", true));
    ASSERT_TRUE(QDir().mkpath(ProjectStore::directory()));
    QFile project(ProjectStore::pathFor("Shot.png"));
    ASSERT_TRUE(project.open(QIODevice::WriteOnly));
    project.close();

    const auto renamed = HistoryFiles::rename(*index, "Shot.png", "Budget: draft");
    ASSERT_TRUE(renamed) << renamed.error().message.toStdString();
    EXPECT_EQ(*renamed, "Budget- draft.png"); // unsafe characters replaced, extension kept
    EXPECT_TRUE(QFile::exists(HistoryManager::directory() + "/Budget- draft.png"));
    EXPECT_FALSE(QFile::exists(HistoryManager::directory() + "/Shot.png"));
    EXPECT_TRUE(ProjectStore::has("Budget- draft.png"));
    EXPECT_FALSE(ProjectStore::has("Shot.png"));
    EXPECT_TRUE(index->isKept("Budget- draft.png"));
    EXPECT_FALSE(index->isKept("Shot.png"));
    EXPECT_TRUE(index->matches("Budget- draft.png", "review"));
    EXPECT_FALSE(index->record("Shot.png"));
}

TEST_F(LibraryTest, RenameRefusesTakenAndEmptyNames) {
    makeIndex({record("one.png", now), record("two.png", now)});
    EXPECT_FALSE(HistoryFiles::rename(*index, "one.png", "two"));
    EXPECT_FALSE(HistoryFiles::rename(*index, "one.png", "  "));
    EXPECT_FALSE(HistoryFiles::rename(*index, "missing.png", "three"));
    EXPECT_TRUE(QFile::exists(HistoryManager::directory() + "/one.png"));
    EXPECT_TRUE(index->record("one.png"));
}

TEST_F(LibraryTest, DeleteTakesFileRecordAndProject) {
    makeIndex({record("gone.png", now), record("stays.png", now)});
    ASSERT_TRUE(QDir().mkpath(ProjectStore::directory()));
    QFile project(ProjectStore::pathFor("gone.png"));
    ASSERT_TRUE(project.open(QIODevice::WriteOnly));
    project.close();
    ASSERT_TRUE(HistoryFiles::remove(*index, "gone.png"));
    EXPECT_FALSE(QFile::exists(HistoryManager::directory() + "/gone.png"));
    EXPECT_FALSE(ProjectStore::has("gone.png"));
    EXPECT_FALSE(index->record("gone.png"));
    EXPECT_TRUE(index->record("stays.png"));
    const auto again = HistoryFiles::remove(*index, "gone.png");
    ASSERT_FALSE(again);
    EXPECT_TRUE(again.error().message.contains("gone.png"));
    EXPECT_FALSE(HistoryFiles::remove(*index, "../stays.png"));
}

} // namespace
