#include "agents/tools/CaptureActions.h"
#include "agents/tools/DesktopActions.h"
#include "agents/tools/LibraryOperations.h"
#include "capture/HistoryManager.h"
#include "editor/ProjectStore.h"
#include "history/HistoryIndex.h"
#include "support/FakePlatform.h"
#include "support/HistoryFiles.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>

#include <memory>

namespace {

using Kind = HistoryRecord::Kind;
using namespace LibraryOperations;

class LibraryToolsTest : public testsupport::PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        ASSERT_TRUE(QDir().mkpath(HistoryManager::directory()));
        makeIndex({record("old.png", now.addDays(-40), "invoice total 120"),
                   record("week.gif", now.addDays(-3), "", Kind::Gif),
                   record("today.png", now.addSecs(-3600), "Invoice from Corvanta"),
                   record("clip.mp4", now.addDays(-1), "invoice walkthrough", Kind::Video),
                   record("kept.png", now.addDays(-10), "notes", Kind::Image, true)});
    }

    void makeIndex(const QList<HistoryRecord>& records) {
        index = testsupport::historyWith(records, home.path() + "/data");
        ASSERT_TRUE(index);
    }

    static HistoryRecord record(const QString& name, const QDateTime& date, const QByteArray& text = {},
                                Kind kind = Kind::Image, bool keep = false) {
        return {name, text, QString("Firefox"), std::nullopt, date, kind, 8, 8, std::nullopt, keep};
    }

    static SearchRequest request(const QString& query, std::optional<Kind> kind = {},
                                 std::optional<QDateTime> since = {}, std::optional<QDateTime> until = {},
                                 bool keptOnly = false) {
        SearchRequest r;
        r.query = query;
        r.kind = kind;
        r.since = since;
        r.until = until;
        r.keptOnly = keptOnly;
        return r;
    }

    QStringList ids(const SearchRequest& request) const {
        QStringList list;
        for (const auto& item : search(*index, request)["captures"].toArray())
            list << item.toObject()["id"].toString();
        return list;
    }

    const QDateTime now = QDateTime::currentDateTime();
    std::unique_ptr<HistoryIndex> index;
};

TEST_F(LibraryToolsTest, SearchFiltersByWordsKindDatesAndKeptNewestFirst) {
    EXPECT_EQ(ids(SearchRequest()),
              (QStringList{"today.png", "clip.mp4", "week.gif", "kept.png", "old.png"}));
    EXPECT_EQ(ids(request("invoice")), (QStringList{"today.png", "clip.mp4", "old.png"}));
    EXPECT_EQ(ids(request("invoice", Kind::Image)), (QStringList{"today.png", "old.png"}));
    EXPECT_EQ(ids(request("", std::nullopt, now.addDays(-7))),
              (QStringList{"today.png", "clip.mp4", "week.gif"}));
    EXPECT_EQ(ids(request("", std::nullopt, std::nullopt, now.addDays(-2))),
              (QStringList{"week.gif", "kept.png", "old.png"}));
    EXPECT_EQ(ids(request("", std::nullopt, std::nullopt, std::nullopt, true)), QStringList{"kept.png"});

    SearchRequest paged;
    paged.limit = 2;
    paged.offset = 1;
    const QJsonObject page = search(*index, paged);
    EXPECT_EQ(page["total"].toInt(), 5);
    EXPECT_EQ(page["count"].toInt(), 2);
    const QJsonObject first = page["captures"].toArray()[0].toObject();
    EXPECT_EQ(first["id"].toString(), "clip.mp4");
    EXPECT_EQ(first["kind"].toString(), "video");
    EXPECT_EQ(first["app"].toString(), "Firefox");
    EXPECT_TRUE(first["path"].toString().endsWith("/History/clip.mp4"));

    const QJsonObject found = search(*index, request("corvanta"))["captures"].toArray()[0].toObject();
    EXPECT_TRUE(found["snippet"].toString().contains("Corvanta", Qt::CaseInsensitive));
}

TEST_F(LibraryToolsTest, DatesAndKindsAsAgentsWriteThem) {
    const QDateTime at(QDate(2026, 3, 10), QTime(12, 0));
    EXPECT_EQ(parseDate("2026-03-01", at), QDateTime(QDate(2026, 3, 1), QTime(0, 0)));
    EXPECT_EQ(parseDate("2026-03-01", at, true)->time(), QTime(23, 59, 59, 999));
    EXPECT_EQ(parseDate("yesterday", at), QDateTime(QDate(2026, 3, 9), QTime(0, 0)));
    EXPECT_EQ(parseDate("7d", at), at.addDays(-7));
    EXPECT_EQ(parseDate("2h", at), at.addSecs(-7200));
    EXPECT_TRUE(parseDate("2026-03-01T08:30:00Z", at).has_value());
    EXPECT_FALSE(parseDate("last spring", at));
    EXPECT_EQ(kindNamed("Screenshot"), Kind::Image);
    EXPECT_EQ(kindNamed("recording"), Kind::Video);
    EXPECT_FALSE(kindNamed("song"));
}

TEST_F(LibraryToolsTest, ManageKeepsRenamesAndDeletes) {
    auto kept = manage(*index, "today.png", Action::Keep);
    ASSERT_TRUE(kept);
    EXPECT_TRUE((*kept)["kept"].toBool());
    EXPECT_TRUE(index->isKept("today.png"));
    ASSERT_TRUE(manage(*index, "today.png", Action::Unkeep));
    EXPECT_FALSE(index->isKept("today.png"));

    EXPECT_EQ(manage(*index, "today.png", Action::Rename).error().message, "rename needs `new_name`.");
    const auto renamed = manage(*index, "today.png", Action::Rename, "Invoice");
    ASSERT_TRUE(renamed) << renamed.error().message.toStdString();
    EXPECT_EQ((*renamed)["id"].toString(), "Invoice.png");
    EXPECT_EQ((*renamed)["previous_id"].toString(), "today.png");
    EXPECT_TRUE(QFile::exists(HistoryManager::directory() + "/Invoice.png"));
    EXPECT_TRUE(index->record("Invoice.png").has_value());

    const auto deleted = manage(*index, "Invoice.png", Action::Delete);
    ASSERT_TRUE(deleted);
    EXPECT_TRUE((*deleted)["deleted"].toBool());
    EXPECT_FALSE(QFile::exists(HistoryManager::directory() + "/Invoice.png"));
    EXPECT_FALSE(index->record("Invoice.png").has_value());

    EXPECT_EQ(manage(*index, "nothing.png", Action::Delete).error().message,
              "There is no capture named nothing.png in the history.");
    EXPECT_FALSE(manage(*index, "../index.json", Action::Delete));
    EXPECT_EQ(actionNamed("UNKEEP"), Action::Unkeep);
    EXPECT_FALSE(actionNamed("archive"));
}

TEST_F(LibraryToolsTest, DetailsCarryTextAndAnnotations) {
    const QString path = HistoryManager::directory() + "/today.png";
    QJsonObject plain = details(*index, path, true, true);
    EXPECT_EQ(plain["id"].toString(), "today.png");
    EXPECT_EQ(plain["text"].toString(), "Invoice from Corvanta");
    EXPECT_FALSE(plain["editable"].toBool());
    EXPECT_FALSE(plain.contains("annotations"));

    ProjectDocument project;
    QImage image(8, 8, QImage::Format_RGB32);
    image.fill(Qt::white);
    project.imagePNG = QByteArray();
    {
        QBuffer buffer(&project.imagePNG);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
    }
    Annotation step;
    step.tool = EditorTool::Step;
    step.p1 = step.p2 = QPointF(4, 4);
    step.number = 3;
    project.annotations = {step};
    ASSERT_TRUE(ProjectStore::save(project, path));
    const QJsonObject edited = details(*index, path, false, true);
    EXPECT_FALSE(edited.contains("text"));
    EXPECT_TRUE(edited["editable"].toBool());
    ASSERT_EQ(edited["annotations"].toArray().size(), 1);
    EXPECT_EQ(edited["annotations"].toArray()[0].toObject()["tool"].toString(), "step");
    EXPECT_EQ(edited["annotations"].toArray()[0].toObject()["number"].toInt(), 3);
}

TEST_F(LibraryToolsTest, CopyPinAndShowGoThroughTheDesktop) {
    const QString path = HistoryManager::directory() + "/today.png";
    ASSERT_TRUE(CaptureActions::copy({}, "hello"));
    EXPECT_EQ(clipboard->texts, QStringList{"hello"});
    const auto image = CaptureActions::copy(path, {});
    ASSERT_TRUE(image) << image.error().message.toStdString();
    EXPECT_EQ((*image)["copied"].toString(), "image");
    EXPECT_EQ(clipboard->images.size(), 1);
    EXPECT_EQ((*CaptureActions::copy(HistoryManager::directory() + "/clip.mp4", {}))["copied"].toString(),
              "file");
    EXPECT_FALSE(CaptureActions::copy({}, {}));

    // Without the windows every desktop action says so.
    EXPECT_FALSE(CaptureActions::show({}, "library"));
    QStringList calls;
    DesktopActions::Hooks hooks;
    hooks.pin = [&calls](const QImage& pinned, double) { calls << QString("pin %1").arg(pinned.width()); };
    hooks.pins = [&calls](const QString& action) {
        calls << action;
        return 2;
    };
    hooks.showPage = [&calls](const QString& page, const QString& section) {
        calls << ("page " + page + (section.isEmpty() ? QString() : " " + section)).trimmed();
    };
    hooks.reveal = [&calls](const QStringList& files) {
        calls << "reveal " + QFileInfo(files[0]).fileName();
    };
    hooks.openEditor = [&calls](const QString& file) { calls << "edit " + QFileInfo(file).fileName(); };
    hooks.openVideoEditor = [&calls](const QString& file) {
        calls << "video " + QFileInfo(file).fileName();
        return file.endsWith("broken.mp4") ? QStringLiteral("“broken.mp4” is not a video Pictavia can read.")
                                           : QString();
    };
    DesktopActions::setHooks(hooks);
    EXPECT_TRUE(CaptureActions::pin(QImage(5, 5, QImage::Format_RGB32), 1.0, {}));
    EXPECT_EQ((*CaptureActions::pin({}, 1.0, "close"))["pins"].toInt(), 2);
    EXPECT_FALSE(CaptureActions::pin({}, 1.0, "spin"));
    EXPECT_TRUE(CaptureActions::show({}, "history"));
    EXPECT_TRUE(CaptureActions::show({}, {}, "after_capture"));
    EXPECT_TRUE(CaptureActions::show({}, {}, "AI Agents"));
    const auto noTab = CaptureActions::show({}, {}, "colours");
    ASSERT_FALSE(noTab);
    EXPECT_TRUE(noTab.error().message.contains("After Capture")) << noTab.error().message.toStdString();
    EXPECT_TRUE(CaptureActions::show(path, "finder"));
    EXPECT_TRUE(CaptureActions::show(path, {}));
    EXPECT_FALSE(CaptureActions::show(HistoryManager::directory() + "/clip.mp4", "editor"));
    // Movies open in the video editor, images do not; its refusal reaches the agent.
    EXPECT_TRUE(CaptureActions::show(HistoryManager::directory() + "/clip.mp4", "video_editor"));
    EXPECT_FALSE(CaptureActions::show(path, "video_editor"));
    const auto broken = CaptureActions::show(HistoryManager::directory() + "/broken.mp4", "video_editor");
    ASSERT_FALSE(broken);
    EXPECT_EQ(broken.error().message, "“broken.mp4” is not a video Pictavia can read.");
    EXPECT_FALSE(CaptureActions::show(path, "print"));
    DesktopActions::setHooks({});
    EXPECT_EQ(calls,
              (QStringList{"pin 5", "close", "page library", "page settings After Capture", "page agents",
                           "reveal today.png", "edit today.png", "video clip.mp4", "video broken.mp4"}));
}

} // namespace
