// The image and library tools as agents call them: arguments, the gates, what
// is stored.
#include "agents/AgentAccess.h"
#include "agents/AgentConnection.h"
#include "agents/AgentTools.h"
#include "agents/MCPSession.h"
#include "agents/ToolMedia.h"
#include "agents/tools/LibraryOperations.h"
#include "app/Prefs.h"
#include "capture/HistoryManager.h"
#include "editor/ProjectStore.h"
#include "history/HistoryIndex.h"

#include "support/EventLoop.h"
#include "support/FakePlatform.h"
#include "support/ToolCalls.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>

namespace {

using namespace testsupport;

class Quiet : public AgentChannel {
public:
    void send(QByteArray) override {}
    void close() override {}
};

class ImageLibraryToolsTest : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        ASSERT_TRUE(QDir().mkpath(HistoryManager::directory()));
        Prefs::setValue("imageFormat", "png");
        AgentAccess::shared().setAsker(nullptr);
        AgentAccess::shared().setPolicy(AgentAccess::Policy::allow, AgentAccess::Category::history);
        AgentAccess::shared().setPolicy(AgentAccess::Policy::ask, AgentAccess::Category::manage);
        index = std::make_unique<HistoryIndex>(home.path() + "/data/Pictavia/index.json",
                                               HistoryManager::directory());
        LibraryOperations::useIndex(index.get());
    }
    void TearDown() override {
        LibraryOperations::useIndex(nullptr);
        AgentAccess::shared().setAsker(nullptr);
        PlatformTest::TearDown();
    }

    QString capture(const QString& name) {
        QImage image(300, 200, QImage::Format_RGB32);
        image.fill(Qt::white);
        const QString path = HistoryManager::directory() + "/" + name;
        EXPECT_TRUE(image.save(path, "PNG"));
        return path;
    }

    ToolOutcome run(const QString& name, const QJsonObject& arguments = {},
                    std::shared_ptr<ToolCancellation> cancellation = std::make_shared<ToolCancellation>()) {
        static const std::vector<AgentTool> tools = [] {
            std::vector<AgentTool> all = AgentToolGroups::image();
            for (AgentTool& tool : AgentToolGroups::library())
                all.push_back(std::move(tool));
            return all;
        }();
        return callTool(tools, name, arguments, session, std::move(cancellation));
    }
    static QJsonObject json(const ToolOutcome& outcome) { return answeredJson(outcome); }
    // Recognition reads `text` as one line across the middle of any image.
    void recognises(const QString& text) {
        platform::RecognizedLine line{text, 0.9f, QRectF(0.1, 0.5, 0.8, 0.1), {}};
        for (int i = 0; i < line.text.size(); ++i)
            line.characterBoxes << QRectF(0.1 + 0.03 * i, 0.5, 0.03, 0.1);
        textRecognition->lines = {line};
    }
    static std::optional<ToolError> failure(const ToolOutcome& outcome) {
        if (const auto* error = std::get_if<ToolError>(&outcome)) return *error;
        return std::nullopt;
    }

    std::unique_ptr<HistoryIndex> index;
    Quiet channel;
    MCPSession session{&channel, PeerIdentity{}, std::make_shared<NoAgentTools>()};
};

TEST_F(ImageLibraryToolsTest, AnnotateStoresANewEditableCaptureWithAPreview) {
    capture("Shot.png");
    const ToolOutcome outcome = run(
        "annotate_image",
        {{"capture_id", "Shot.png"},
         {"operations", QJsonArray{QJsonObject{
                            {"type", "arrow"}, {"from", QJsonArray{10, 10}}, {"to", QJsonArray{100, 80}}}}}});
    const QJsonObject result = json(outcome);
    EXPECT_EQ(result["id"].toString(), "Shot edited.png");
    EXPECT_EQ(result["width"].toInt(), 300);
    EXPECT_TRUE(ProjectStore::has(result["path"].toString()));
    EXPECT_TRUE(session.ownedCaptures.contains("Shot edited.png"));
    EXPECT_EQ(std::get<ToolOutput>(outcome).images.size(), 1);

    const auto bad =
        failure(run("annotate_image", {{"capture_id", "Shot.png"},
                                       {"operations", QJsonArray{QJsonObject{{"type", "arrow"}}}}}));
    ASSERT_TRUE(bad);
    EXPECT_EQ(bad->message,
              "Operation 1 (arrow): needs `from` and `to` points ({x, y} or [x, y]), or `target_text`.");
}

TEST_F(ImageLibraryToolsTest, HistoryCapturesPassTheHistoryGate) {
    capture("Theirs.png");
    AgentAccess::shared().setPolicy(AgentAccess::Policy::off, AgentAccess::Category::history);
    const auto refused = failure(run("get_capture", {{"capture_id", "Theirs.png"}}));
    ASSERT_TRUE(refused);
    EXPECT_TRUE(refused->denied);
    EXPECT_EQ(refused->message,
              "Browse capture history is turned off for AI agents in Pictavia ▸ AI Agents.");
    EXPECT_TRUE(failure(run("search_history", {{"query", "x"}})));
    // The client's own captures need no permission.
    session.ownedCaptures.insert("Theirs.png");
    EXPECT_EQ(
        json(run("get_capture", {{"capture_id", "Theirs.png"}, {"include_image", false}}))["id"].toString(),
        "Theirs.png");
}

TEST_F(ImageLibraryToolsTest, DeletingAsksTheUserAndRenamingDoesNot) {
    capture("Old.png");
    index->index(HistoryManager::directory() + "/Old.png", {});
    session.ownedCaptures.insert("Old.png");
    QStringList asked;
    AgentAccess::shared().setAsker([&asked](const AgentAccess::Prompt& prompt, auto answer) {
        asked << prompt.title;
        answer(AgentAccess::Answer::declined);
    });
    const QJsonObject renamed =
        json(run("manage_capture", {{"capture_id", "Old.png"}, {"action", "rename"}, {"new_name", "New"}}));
    EXPECT_EQ(renamed["id"].toString(), "New.png");
    EXPECT_TRUE(asked.isEmpty());
    EXPECT_TRUE(session.ownedCaptures.contains("New.png"));

    const auto declined = failure(run("manage_capture", {{"capture_id", "New.png"}, {"action", "delete"}}));
    ASSERT_TRUE(declined);
    EXPECT_TRUE(declined->denied);
    EXPECT_EQ(asked.size(), 1);
    EXPECT_TRUE(asked[0].endsWith("wants to delete the capture “New.png”")) << asked[0].toStdString();
    EXPECT_TRUE(QFileInfo::exists(HistoryManager::directory() + "/New.png"));

    AgentAccess::shared().setAsker(
        [](const AgentAccess::Prompt&, auto answer) { answer(AgentAccess::Answer::allowedOnce); });
    EXPECT_TRUE(
        json(run("manage_capture", {{"capture_id", "New.png"}, {"action", "delete"}}))["deleted"].toBool());
    EXPECT_FALSE(QFileInfo::exists(HistoryManager::directory() + "/New.png"));
}

TEST_F(ImageLibraryToolsTest, RedactDryRunListsOnly) {
    capture("Mail.png");
    session.ownedCaptures.insert("Mail.png");
    recognises("write to jane@example.com");
    const QJsonObject dry =
        json(run("redact_sensitive_data", {{"capture_id", "Mail.png"}, {"dry_run", true}}));
    EXPECT_EQ(dry["count"].toInt(), 1);
    EXPECT_FALSE(dry.contains("id"));
    const QJsonObject real = json(run("redact_sensitive_data", {{"capture_id", "Mail.png"}}));
    EXPECT_EQ(real["id"].toString(), "Mail edited.png");
}

TEST_F(ImageLibraryToolsTest, EveryWayOfNamingAUsersCaptureIsGated) {
    const QString theirs = capture("Theirs.png");
    capture("Mine.png");
    session.ownedCaptures.insert("Mine.png");
    AgentAccess::shared().setPolicy(AgentAccess::Policy::off, AgentAccess::Category::history);
    const QList<std::pair<QString, QJsonObject>> calls{
        {"copy_to_clipboard", {{"capture_id", "Theirs.png"}}},
        {"pin_screenshot", {{"capture_id", "Theirs.png"}}},
        {"get_capture", {{"path", theirs}}},
        {"get_capture", {{"path", HistoryManager::directory() + "/../History/Theirs.png"}}},
        {"combine_images", {{"captures", QJsonArray{theirs, "Mine.png"}}}},
        {"export_captures", {{"captures", QJsonArray{theirs}}, {"destination", home.path() + "/out"}}},
        {"remove_background", {{"capture_id", "Mine.png"}, {"background_path", theirs}}},
    };
    for (const auto& [tool, arguments] : calls) {
        const auto refused = failure(run(tool, arguments));
        EXPECT_TRUE(refused && refused->denied)
            << tool.toStdString() << " " << QJsonDocument(arguments).toJson().toStdString();
    }
    EXPECT_TRUE(clipboard->images.isEmpty());
    // The client's own capture is its to copy.
    EXPECT_FALSE(failure(run("copy_to_clipboard", {{"capture_id", "Mine.png"}})));
}

TEST_F(ImageLibraryToolsTest, FoundSensitiveTextIsMaskedOrWithheldAsTheUserSays) {
    capture("Card.png");
    session.ownedCaptures.insert("Card.png");
    recognises("mail jane@example.com");
    const auto foundText = [&] {
        const QJsonObject dry =
            json(run("redact_sensitive_data", {{"capture_id", "Card.png"}, {"dry_run", true}}));
        return dry["found"].toArray().at(0).toObject();
    };
    AgentAccess::shared().setRedactForAgents(false);
    EXPECT_EQ(foundText()["text"].toString(), "jane@example.com");
    AgentAccess::shared().setRedactForAgents(true);
    EXPECT_FALSE(foundText()["text"].toString().contains("jane@example.com"));
    AgentAccess::shared().setImageSharing(AgentAccess::ImageSharing::none);
    EXPECT_FALSE(foundText().contains("text"));
    EXPECT_EQ(foundText()["kind"].toString(), "email");
}

TEST_F(ImageLibraryToolsTest, CopiesElsewhereNeverReplaceFiles) {
    capture("Shot.png");
    session.ownedCaptures.insert("Shot.png");
    const QString existing = home.path() + "/Desktop/report.png";
    ASSERT_TRUE(QDir().mkpath(home.path() + "/Desktop"));
    QFile report(existing);
    ASSERT_TRUE(report.open(QIODevice::WriteOnly));
    report.write("the user's own file");
    report.close();
    const QJsonObject operations{
        {"capture_id", "Shot.png"},
        {"return_image", false},
        {"operations", QJsonArray{QJsonObject{{"type", "rectangle"}, {"rect", QJsonArray{5, 5, 20, 20}}}}}};
    QJsonObject saving = operations;
    saving["save_to"] = existing;
    const QJsonObject result = json(run("annotate_image", saving));
    const QString savedTo = result["saved_to"].toString();
    EXPECT_NE(savedTo, existing);
    EXPECT_TRUE(QFileInfo::exists(savedTo)) << savedTo.toStdString();
    QFile check(existing);
    ASSERT_TRUE(check.open(QIODevice::ReadOnly));
    EXPECT_EQ(check.readAll(), "the user's own file");

    saving["save_to"] = HistoryManager::directory() + "/Shot.png";
    EXPECT_TRUE(failure(run("annotate_image", saving)));

    // Exporting onto the file itself keeps it; the history is no destination.
    const QJsonObject exported = json(run("export_captures", {{"captures", QJsonArray{existing}},
                                                              {"destination", home.path() + "/Desktop"},
                                                              {"overwrite", true}}));
    EXPECT_TRUE(QFileInfo::exists(existing));
    EXPECT_NE(exported["paths"].toArray().at(0).toString(), existing);
    EXPECT_TRUE(failure(run("export_captures", {{"captures", QJsonArray{"Shot.png"}},
                                                {"destination", HistoryManager::directory()}})));
    EXPECT_TRUE(
        failure(run("export_captures", {{"captures", QJsonArray{"Shot.png"}}, {"destination", "out"}})));
}

TEST_F(ImageLibraryToolsTest, AnAnswerThatComesAfterACancelChangesNothing) {
    capture("Old.png");
    index->index(HistoryManager::directory() + "/Old.png", {});
    auto cancellation = std::make_shared<ToolCancellation>();
    AgentAccess::shared().setAsker([cancellation](const AgentAccess::Prompt&, auto answer) {
        cancellation->cancel(); // the client gave up while the user read the prompt
        answer(AgentAccess::Answer::allowedOnce);
    });
    const auto cancelled =
        failure(run("manage_capture", {{"capture_id", "Old.png"}, {"action", "delete"}}, cancellation));
    ASSERT_TRUE(cancelled);
    EXPECT_EQ(cancelled->message, "Cancelled.");
    EXPECT_TRUE(QFileInfo::exists(HistoryManager::directory() + "/Old.png"));
}

TEST_F(ImageLibraryToolsTest, DocumentPagesAndMovieFramesAreSources) {
    const QString pdf = home.path() + "/Report.pdf";
    QFile(pdf).open(QIODevice::WriteOnly);
    const QString movie = HistoryManager::directory() + "/Clip.mp4";
    QFile(movie).open(QIODevice::WriteOnly);

    // A movie's preview is its middle frame.
    const ToolOutcome opened = run("get_capture", {{"capture_id", "Clip.mp4"}});
    ASSERT_EQ(std::get<ToolOutput>(opened).images.size(), 1);
    EXPECT_EQ(media->requestedTimes, QList<double>{1.0});

    // A page is picked by number and read at 2×; a page that is not there is named.
    const ToolMedia::Source page = ToolMedia::resolve(ToolArgs(QJsonObject{{"path", pdf}, {"page", 2}}));
    EXPECT_EQ(page.image.size(), QSize(200, 100));
    EXPECT_EQ(page.image.pixelColor(5, 5), QColor(Qt::green));
    const auto missing = failure(run("pin_screenshot", {{"path", pdf}, {"page", 5}}));
    ASSERT_TRUE(missing);
    EXPECT_EQ(missing->message, "The document has 3 pages; there is no page 5.");

    // Editing a page starts from a capture of that page, the client's own.
    const QJsonObject edited =
        json(run("annotate_image",
                 {{"path", pdf},
                  {"page", 3},
                  {"return_image", false},
                  {"operations",
                   QJsonArray{QJsonObject{{"type", "rectangle"}, {"rect", QJsonArray{5, 5, 20, 20}}}}}}));
    EXPECT_EQ(edited["id"].toString(), "Report page 3 edited.png");
    EXPECT_TRUE(session.ownedCaptures.contains("Report page 3.png"));
    EXPECT_EQ(QImage(edited["path"].toString()).pixelColor(150, 80), QColor(Qt::blue));

    // A movie of the user's history is theirs until the gate says otherwise.
    AgentAccess::shared().setPolicy(AgentAccess::Policy::off, AgentAccess::Category::history);
    EXPECT_TRUE(failure(run("beautify_image", {{"capture_id", "Clip.mp4"}})));
}

} // namespace
