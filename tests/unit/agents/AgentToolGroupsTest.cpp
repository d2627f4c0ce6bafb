// The status, capture and settings tools against a fake screen: what they return, what they
// store, and what the user's settings stop.
#include "agents/AgentAccess.h"
#include "agents/AgentConnection.h"
#include "agents/AgentTools.h"
#include "agents/MCPSession.h"
#include "app/Prefs.h"
#include "capture/HistoryManager.h"

#include "../support/EventLoop.h"
#include "../support/FakePlatform.h"
#include "../support/ToolCalls.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <gtest/gtest.h>

namespace {

using namespace testsupport;

class AgentToolGroupsTest : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        Prefs::setValue("captureSound", false);
        Prefs::setValue("showQuickAccess", false);
        screen->displayList = {{7, "DP-1", QRect(0, 0, 1600, 1000), 2.0, true, 0}};
        screen->desktop = QImage(1600, 1000, QImage::Format_RGB32);
        screen->desktop.fill(QColor(30, 120, 200));
        AgentAccess::shared().setAsker(nullptr);
    }

    // The tool's outcome, waiting for answers that come later.
    ToolOutcome run(const QString& name, const QJsonObject& arguments = {}) {
        static const std::vector<AgentTool> tools = AgentTools::builtIn();
        return callTool(tools, name, arguments, session);
    }
    static QJsonObject json(const ToolOutcome& outcome) { return answeredJson(outcome); }
    static QString failure(const ToolOutcome& outcome) {
        const auto* error = std::get_if<ToolError>(&outcome);
        return error ? error->message : QString();
    }

    Silent channel;
    MCPSession session{&channel, PeerIdentity{}, std::make_shared<NoAgentTools>()};
};

TEST_F(AgentToolGroupsTest, StatusDescribesDisplaysInPoints) {
    const QJsonObject status = json(run("get_status"));
    const QJsonObject display = status["displays"][0].toObject();
    EXPECT_EQ(display["id"].toInt(), 7);
    EXPECT_EQ(display["frame"].toObject(),
              (QJsonObject{{"x", 0}, {"y", 0}, {"width", 800}, {"height", 500}}));
    EXPECT_EQ(display["scale"].toDouble(), 2.0);
    EXPECT_EQ(status["recording"], false);
    EXPECT_EQ(status["history"]["captures"].toInt(), 0);
    EXPECT_EQ(status["agent_access"]["image_sharing"], "full");
}

TEST_F(AgentToolGroupsTest, WindowsAreFilteredByApp) {
    screen->windowList = {
        {11, 100, "Firefox", "News", 0, QRect(0, 0, 400, 300)},
        {12, 101, "Terminal", "bash", 0, QRect(10, 10, 400, 300)},
        {13, 102, "Panel", "", 1, QRect(0, 0, 1600, 40)},
        {14, QCoreApplication::applicationPid(), "Pictavia", "Library", 0, QRect(0, 0, 50, 50)}};
    EXPECT_EQ(json(run("list_windows"))["windows"].toArray().size(), 2);
    const QJsonArray fire = json(run("list_windows", {{"app", "fire"}}))["windows"].toArray();
    ASSERT_EQ(fire.size(), 1);
    EXPECT_EQ(fire[0]["id"].toInt(), 11);
    EXPECT_EQ(fire[0]["frame"]["width"].toDouble(), 200); // points on a 2× display
    EXPECT_EQ(json(run("list_windows", {{"app", "pictavia"}}))["windows"][0]["id"].toInt(), 14);
}

// A desktop that tells its windows' titles but not where they are, and so captures none.
class TitlesOnlyScreen : public FakeScreen {
public:
    static inline const QString why = QStringLiteral("Window captures are not available on this desktop.");
    Result<QImage> grabWindow(uint32_t) override { return Error{why, {}, 2}; }
};

TEST_F(AgentToolGroupsTest, WindowsWithoutPlacesAreNoneToTargetAndTheToolsSayWhy) {
    auto titles = std::make_unique<TitlesOnlyScreen>();
    titles->displayList = screen->displayList;
    titles->windowList = {{1, 0, "foot", "~/src", 0, QRect()}};
    platform::services().screen = std::move(titles);
    const QJsonObject listed = json(run("list_windows"));
    EXPECT_TRUE(listed["windows"].toArray().isEmpty());
    EXPECT_EQ(listed["note"].toString(), TitlesOnlyScreen::why);
    EXPECT_EQ(failure(run("take_screenshot", {{"target", "window"}, {"app", "foot"}})),
              TitlesOnlyScreen::why);
}

TEST_F(AgentToolGroupsTest, ScreenshotsOfAnAreaAreStoredAndPreviewed) {
    Prefs::setLastArea(Prefs::Area{QRectF(0, 0, 30, 20), 7});
    const ToolOutcome outcome = run("take_screenshot", {{"rect", QJsonArray{10, 10, 100, 50}}});
    const QJsonObject result = json(outcome);
    EXPECT_EQ(result["target"], "area");
    EXPECT_EQ(result["width"].toInt(), 200);
    EXPECT_EQ(result["height"].toInt(), 100);
    const QString id = result["id"].toString();
    EXPECT_TRUE(QFileInfo::exists(QDir(HistoryManager::directory()).filePath(id))) << id.toStdString();
    EXPECT_EQ(result["path"].toString(), QDir(HistoryManager::directory()).filePath(id));
    EXPECT_TRUE(session.ownedCaptures.contains(id));
    EXPECT_EQ(std::get<ToolOutput>(outcome).images.size(), 1);
    EXPECT_TRUE(clipboard->images.isEmpty());
    EXPECT_EQ(Prefs::lastArea()->rect, QRectF(0, 0, 30, 20)) << "the previous area stays the user's";

    const QJsonObject again =
        json(run("take_screenshot", {{"target", "previous_area"}, {"return_image", false}}));
    EXPECT_EQ(again["width"].toInt(), 60);
    EXPECT_NE(again["id"], result["id"]);

    AgentAccess::shared().setImageSharing(AgentAccess::ImageSharing::none);
    EXPECT_TRUE(std::get<ToolOutput>(run("take_screenshot", {{"target", "screen"}})).images.isEmpty());
}

TEST_F(AgentToolGroupsTest, WindowsAreCapturedByAppAndTitle) {
    screen->windowList = {{11, 100, "Firefox", "News", 0, QRect(0, 0, 400, 300)},
                          {12, 100, "Firefox", "Mail", 0, QRect(100, 100, 300, 200)}};
    QImage pixels(300, 200, QImage::Format_ARGB32);
    pixels.fill(Qt::red);
    screen->windowPixels.insert(12, pixels);
    const QString copy = home.path() + "/copies/mail.png";
    const QJsonObject result = json(run("take_screenshot", {{"app", "FIREFOX"},
                                                            {"window_title", "mail"},
                                                            {"window_shadow", false},
                                                            {"save_to", copy},
                                                            {"return_image", false}}));
    EXPECT_EQ(result["target"], "window");
    EXPECT_EQ(result["window"]["id"].toInt(), 12);
    EXPECT_EQ(result["width"].toInt(), 300);
    EXPECT_EQ(result["saved_to"], copy);
    EXPECT_EQ(QImage(copy).size(), QSize(300, 200));
    const QJsonObject shadowed = json(run("take_screenshot", {{"window_id", 12}, {"window_shadow", true}}));
    EXPECT_GT(shadowed["width"].toInt(), 300);
}

TEST_F(AgentToolGroupsTest, ScreenshotsExplainWhatIsMissing) {
    EXPECT_TRUE(failure(run("take_screenshot", {{"target", "area"}})).contains("needs `rect`"));
    EXPECT_TRUE(failure(run("take_screenshot", {{"app", "Nothing"}}))
                    .startsWith(QString::fromUtf8("No window of “Nothing”")));
    EXPECT_TRUE(failure(run("take_screenshot", {{"target", "sky"}}))
                    .startsWith(QString::fromUtf8("Unknown target “sky”")));
    EXPECT_TRUE(failure(run("take_screenshot", {{"display_id", 3}})).startsWith("No display 3"));
    EXPECT_TRUE(failure(run("take_screenshot", {{"preset", "nope"}})).contains("list_styles"));
    AgentAccess::shared().setPolicy(AgentAccess::Policy::off, AgentAccess::Category::capture);
    const ToolOutcome refused = run("take_screenshot");
    EXPECT_EQ(failure(refused),
              QString::fromUtf8("See the screen is turned off for AI agents in Pictavia ▸ AI Agents."));
    EXPECT_TRUE(std::get<ToolError>(refused).denied);
    EXPECT_TRUE(QDir(HistoryManager::directory()).isEmpty());
}

TEST_F(AgentToolGroupsTest, TextIsReadFromCapturesWithSensitiveDataMasked) {
    platform::RecognizedLine line;
    line.text = "Hello bob@example.com";
    line.confidence = 0.9f;
    line.box = QRectF(0.1, 0.4, 0.8, 0.2);
    textRecognition->lines = {line};
    barcodes->payloads = {"https://example.org"};
    const QString id =
        json(run("take_screenshot", {{"target", "screen"}, {"return_image", false}}))["id"].toString();
    const QJsonObject read = json(run("extract_text", {{"capture_id", id}, {"detail", "lines"}}));
    EXPECT_TRUE(read["text"].toString().startsWith("Hello ")) << read["text"].toString().toStdString();
    EXPECT_FALSE(read["text"].toString().contains("bob@example.com"));
    EXPECT_EQ(read["codes"].toArray(), QJsonArray{"https://example.org"});
    barcodes->payloads = {"mailto:bob@example.com"};
    EXPECT_FALSE(json(run("extract_text", {{"capture_id", id}}))["codes"].toArray().at(0).toString().contains(
        "bob@example.com"))
        << "codes are text the user hides from agents too";
    barcodes->payloads = {"https://example.org"};
    EXPECT_EQ(read["id"], id);
    EXPECT_TRUE(read["lines"].isArray());
    const QJsonObject screenRead =
        json(run("extract_text", {{"target", "screen"}, {"copy_to_clipboard", true}}));
    EXPECT_EQ(clipboard->texts, QStringList{"Hello bob@example.com"});
    EXPECT_EQ(screenRead["target"], "screen");
    AgentAccess::shared().setImageSharing(AgentAccess::ImageSharing::none);
    EXPECT_TRUE(std::get<ToolError>(run("extract_text", {{"capture_id", id}})).denied);
}

TEST_F(AgentToolGroupsTest, DesktopIconsAndWindowArrangement) {
    json(run("set_desktop_icons", {{"hidden", true}}));
    EXPECT_TRUE(desktopCover->covered);
    json(run("set_desktop_icons", {{"hidden", "false"}}));
    EXPECT_FALSE(desktopCover->covered);
    EXPECT_TRUE(failure(run("set_desktop_icons")).contains("`hidden` is required"));
    screen->windowList = {{11, 100, "Firefox", "News", 0, QRect(0, 0, 400, 300)}};
    EXPECT_TRUE(failure(run("arrange_window", {{"app", "firefox"}, {"size", "1280x800"}}))
                    .contains("cannot be moved"));
}

TEST_F(AgentToolGroupsTest, WindowsAreResizedBeforeTheirCapture) {
    screen->arranges = true;
    screen->windowList = {{11, 100, "Firefox", "News", 0, QRect(0, 0, 400, 300)}};
    QImage pixels(400, 300, QImage::Format_ARGB32);
    pixels.fill(Qt::white);
    screen->windowPixels.insert(11, pixels);
    json(run("take_screenshot", {{"app", "firefox"}, {"window_size", "320x200"}, {"window_shadow", false}}));
    EXPECT_EQ(screen->windowList[0].frame.size(), QSize(640, 400)) << "points on a 2× display";
    json(
        run("take_screenshot", {{"app", "firefox"}, {"window_size", "500x300px"}, {"window_shadow", false}}));
    EXPECT_EQ(screen->windowList[0].frame.size(), QSize(500, 300));
    EXPECT_TRUE(
        failure(run("take_screenshot", {{"app", "firefox"}, {"window_size", "wide"}})).contains("1280x800"));
    EXPECT_TRUE(failure(run("take_screenshot", {{"target", "screen"}, {"window_size", "320x200"}}))
                    .contains("window captures only"));
}

TEST_F(AgentToolGroupsTest, ThePointerIsDrawnOnlyWhenAsked) {
    QImage arrow(6, 6, QImage::Format_ARGB32_Premultiplied);
    arrow.fill(Qt::red);
    screen->pointerImage = platform::ScreenBackend::Cursor{arrow, QPoint(40, 30), QPoint(), 0};
    const auto pixelAtPointer = [&](bool include) {
        const QJsonObject shot = json(run(
            "take_screenshot",
            {{"rect", QJsonArray{10, 10, 50, 50}}, {"include_cursor", include}, {"return_image", false}}));
        // The area starts at root pixel (20, 20); the pointer's corner is at (40, 30).
        return QImage(shot["path"].toString()).pixelColor(22, 12);
    };
    EXPECT_EQ(pixelAtPointer(true), QColor(Qt::red));
    EXPECT_EQ(pixelAtPointer(false), QColor(30, 120, 200));
}

TEST_F(AgentToolGroupsTest, SettingsChangeWithinLimitsAndAskFirst) {
    const QJsonObject all = json(run("get_settings"))["settings"].toObject();
    EXPECT_EQ(all["image_format"]["value"], "png");
    EXPECT_TRUE(all["image_format"]["enum"].toArray().contains("jpg"));
    EXPECT_FALSE(all.contains("history_limit"));

    // "ask" is the default for changes, and without a prompt window the answer is no.
    const ToolOutcome declined = run("update_settings", {{"settings", QJsonObject{{"image_format", "jpg"}}}});
    EXPECT_EQ(failure(declined), "The user declined: change settings: image_format to jpg");
    EXPECT_EQ(Prefs::text("imageFormat"), "png");

    AgentAccess::shared().setPolicy(AgentAccess::Policy::allow, AgentAccess::Category::manage);
    const QJsonObject changed = json(
        run("update_settings", {{"settings", QJsonObject{{"image_format", "JPG"}, {"recording_fps", 60}}}}));
    EXPECT_EQ(changed["changed"]["image_format"], "jpg");
    EXPECT_EQ(changed["previous"]["image_format"], "png");
    EXPECT_EQ(Prefs::integer("recFPS"), 60);

    EXPECT_TRUE(failure(run("update_settings", {{"settings", QJsonObject{{"history_limit", 5}}}}))
                    .contains("history limit can only be changed by the user"));
    EXPECT_TRUE(failure(run("update_settings", {{"settings", QJsonObject{{"postActionScript", "rm"}}}}))
                    .contains("commands that run after captures"));
    EXPECT_TRUE(failure(run("update_settings", {{"settings", QJsonObject{{"agentEnabled", false}}}}))
                    .contains("AI access"));
    EXPECT_TRUE(failure(run("update_settings", {{"settings", QJsonObject{{"image_format", "bmp"}}}}))
                    .contains("takes one of"));
    EXPECT_TRUE(failure(run("update_settings", {{"settings", QJsonObject{{"recording_fps", 1000}}}}))
                    .contains("takes a number from"));
    EXPECT_EQ(Prefs::text("imageFormat"), "jpg");
}

} // namespace
