// The recording tools against a frame stream that ticks on its own, with the real movie
// writer and reader: what they record and return, what they check before anyone is asked,
// and what the user's answers and other clients' recordings stop.
#include "agents/AgentAccess.h"
#include "agents/AgentConnection.h"
#include "agents/AgentTools.h"
#include "agents/MCPSession.h"
#include "agents/tools/RecordingOperations.h"
#include "app/Prefs.h"
#include "capture/CaptureCoordinator.h"
#include "capture/HistoryManager.h"
#include "platform/media/FfmpegMediaReader.h"
#include "platform/media/FfmpegMovieWriter.h"
#include "platform/media/GiflibWriter.h"
#include "recording/ScreenRecorder.h"

#include "../support/EventLoop.h"
#include "../support/FakePlatform.h"
#include "../support/ToolCalls.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTimer>
#include <gtest/gtest.h>

namespace {

using namespace testsupport;

// Frames of the size asked for, at the frame rate asked for, stamped with the real time.
class TickingStream : public platform::FrameStream {
public:
    explicit TickingStream(QSize size) : m_size(size) {}
    Result<bool> start(const platform::FrameSource&, const platform::FrameStreamSettings& settings,
                       FrameHandler frames, ErrorHandler) override {
        m_clock.start();
        m_timer.setInterval(1000 / std::max(1, settings.fps));
        QObject::connect(&m_timer, &QTimer::timeout, [this, frames = std::move(frames)] {
            QImage frame(m_size, QImage::Format_RGB32);
            frame.fill(QColor::fromHsv(int(m_clock.elapsed() / 10 % 360), 200, 200));
            frames(frame, m_clock.nsecsElapsed() / 1000);
        });
        m_timer.start();
        return true;
    }
    void stop() override { m_timer.stop(); }
    int missedFrames() const override { return 0; }

private:
    QSize m_size;
    QTimer m_timer;
    QElapsedTimer m_clock;
};

class TickingStreams : public platform::FrameStreams {
public:
    Result<std::unique_ptr<platform::FrameStream>> create() override {
        return std::unique_ptr<platform::FrameStream>(std::make_unique<TickingStream>(QSize(320, 200)));
    }
};

// No overlays or countdown panels: agent recordings start without them.
struct NoSurfaces : CaptureSurfaces {
    std::unique_ptr<AreaSelectionController> makeAreaSelection(const SelectionParameters&) override {
        return nullptr;
    }
    std::unique_ptr<WindowPickerController> makeWindowPicker() override { return nullptr; }
    std::unique_ptr<CountdownPanel> makeCountdownPanel() override { return nullptr; }
    void pin(const QImage&, double, const QRect&) override {}
};

class RecordingToolsTest : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        CaptureCoordinator::installSurfaces(std::make_shared<NoSurfaces>());
        platform::Services services;
        services.frameStreams = std::make_unique<TickingStreams>();
        services.movies = std::make_unique<platform::media::FfmpegMovieWriter>();
        services.gifs = std::make_unique<platform::media::GiflibWriter>();
        services.media = std::make_unique<platform::media::FfmpegMediaReader>();
        platform::install(std::move(services));
        screen->displayList = {{7, "DP-1", QRect(0, 0, 320, 200), 1.0, true, 0}};
        screen->windowList = {{11, 100, "Firefox", "News", 0, QRect(10, 10, 200, 100)}};
        Prefs::setValue("recFPS", 10);
        Prefs::setValue("gifFPS", 5);
        Prefs::setValue("recCountdown", 3); // agents' recordings skip it
        Prefs::setValue("showQuickAccess", false);
        Prefs::setValue("copyToClipboard", false);
        Prefs::setValue("captureSound", false);
        AgentAccess::shared().setPolicy(AgentAccess::Policy::allow, AgentAccess::Category::record);
        AgentAccess::shared().setAsker([this](const AgentAccess::Prompt& prompt, auto answer) {
            prompts << prompt.title;
            answer(nextAnswer);
        });
    }
    void TearDown() override {
        ScreenRecorder& recorder = ScreenRecorder::shared();
        if (recorder.state() == ScreenRecorder::State::recording ||
            recorder.state() == ScreenRecorder::State::paused)
            recorder.cancel(true);
        EXPECT_TRUE(waitUntil([&] { return recorder.state() == ScreenRecorder::State::idle; }, 20000));
        AgentAccess::shared().setAsker(nullptr);
        platform::services().movies.reset();
        platform::services().gifs.reset();
        platform::services().frameStreams.reset();
    }

    ToolOutcome run(const QString& name, const QJsonObject& arguments = {}, MCPSession* caller = nullptr) {
        static const std::vector<AgentTool> tools = AgentTools::builtIn();
        return callTool(tools, name, arguments, caller ? *caller : session);
    }
    // Answers that wait for a finished file can take a while on a busy machine.
    ToolOutcome runLong(const QString& name, const QJsonObject& arguments = {}) {
        static const std::vector<AgentTool> tools = AgentTools::builtIn();
        return callTool(tools, name, arguments, session, std::make_shared<ToolCancellation>(), 30000);
    }
    static QString failure(const ToolOutcome& outcome) {
        const auto* error = std::get_if<ToolError>(&outcome);
        return error ? error->message : QString();
    }
    static ScreenRecorder::State state() { return ScreenRecorder::shared().state(); }
    static QStringList history() {
        return QDir(HistoryManager::directory()).entryList({"*.mov", "*.gif"}, QDir::Files);
    }

    QStringList prompts;
    AgentAccess::Answer nextAnswer = AgentAccess::Answer::allowedOnce;
    Silent channel;
    MCPSession session{&channel, PeerIdentity{}, std::make_shared<NoAgentTools>()};
};

TEST_F(RecordingToolsTest, AClipComesBackWithItsIdLengthAndAFrame) {
    const ToolOutcome outcome = runLong("record_screen", {{"duration_seconds", 1}});
    const QJsonObject clip = answeredJson(outcome);
    EXPECT_EQ(clip["format"], "video");
    EXPECT_TRUE(history().contains(clip["id"].toString())) << clip["id"].toString().toStdString();
    EXPECT_EQ(clip["path"].toString(), QDir(HistoryManager::directory()).filePath(clip["id"].toString()));
    EXPECT_GT(clip["duration"].toDouble(), 0.3);
    EXPECT_LT(clip["duration"].toDouble(), 3.0);
    EXPECT_EQ(clip["width"].toInt(), 320);
    EXPECT_GT(clip["bytes"].toDouble(), 0);
    ASSERT_EQ(std::get<ToolOutput>(outcome).images.size(), 1);
    EXPECT_EQ(std::get<ToolOutput>(outcome).images[0].mime, "image/png");
    EXPECT_TRUE(session.ownedCaptures.contains(clip["id"].toString()));
    EXPECT_TRUE(prompts.isEmpty()) << "recording is allowed";
    EXPECT_EQ(failure(run("stop_recording")),
              QString("No recording is running; your last one, %1, was already returned.")
                  .arg(clip["id"].toString()));

    // A GIF of a window, without the frame.
    const ToolOutcome gif =
        runLong("record_screen",
                {{"duration_seconds", 1}, {"app", "firefox"}, {"format", "gif"}, {"return_image", false}});
    const QJsonObject animated = answeredJson(gif);
    EXPECT_EQ(animated["format"], "gif");
    EXPECT_TRUE(animated["id"].toString().endsWith(".gif"));
    EXPECT_TRUE(std::get<ToolOutput>(gif).images.isEmpty());
}

TEST_F(RecordingToolsTest, AnAgentsOptionsHoldForItsRecordingAndLeaveTheUsersAreaAlone) {
    const QJsonObject clip = answeredJson(runLong(
        "record_screen", {{"duration_seconds", 2}, {"fps", 5}, {"rect", QJsonArray{0, 0, 160, 100}}}));
    const auto info = platform::services().media->info(clip["path"].toString());
    ASSERT_TRUE(info);
    EXPECT_NEAR(info->frameRate, 5, 1) << "the agent's rate, not the user's 10";
    EXPECT_EQ(Prefs::integer("recFPS"), 10);
    EXPECT_FALSE(Prefs::lastRecordingArea()) << "the user's next recording does not start from it";
}

TEST_F(RecordingToolsTest, AnOpenRecordingIsPausedResumedAndStoppedByItsClient) {
    const QJsonObject started =
        answeredJson(run("start_recording", {{"rect", QJsonArray{0, 0, 160, 100}}, {"display_id", 7}}));
    EXPECT_EQ(started["state"], "recording");
    EXPECT_EQ(started["started_by"], "you");
    EXPECT_EQ(started["target"], "area");
    EXPECT_EQ(started["max_duration_seconds"].toDouble(), 600);
    EXPECT_TRUE(failure(run("start_recording")).startsWith("A recording is already running"));
    EXPECT_TRUE(failure(run("record_screen")).startsWith("A recording is already running"));

    EXPECT_EQ(answeredJson(run("control_recording", {{"action", "pause"}}))["state"], "paused");
    EXPECT_EQ(failure(run("control_recording", {{"action", "pause"}})), "The recording is already paused.");
    EXPECT_EQ(answeredJson(run("control_recording", {{"action", "RESUME"}}))["state"], "recording");
    EXPECT_EQ(failure(run("control_recording", {{"action", "resume"}})), "The recording is not paused.");
    waitUntil([] { return false; }, 600);
    const QJsonObject status = answeredJson(run("control_recording", {{"action", "status"}}));
    EXPECT_GT(status["elapsed_seconds"].toDouble(), 0);

    const QJsonObject stopped = answeredJson(runLong("stop_recording"));
    EXPECT_TRUE(history().contains(stopped["id"].toString()));
    EXPECT_EQ(stopped["width"].toInt(), 160);
    EXPECT_EQ(answeredJson(run("control_recording", {{"action", "status"}})),
              (QJsonObject{
                  {"state", "idle"}, {"last_recording", stopped["id"]}, {"last_recording_returned", true}}));
}

TEST_F(RecordingToolsTest, ARecordingThatStoppedByItselfIsReturnedOnce) {
    answeredJson(run("start_recording", {{"max_duration_seconds", 1}}));
    ASSERT_TRUE(waitUntil([] { return state() == ScreenRecorder::State::idle; }, 20000));
    const ToolOutcome late = runLong("stop_recording", {{"return_image", false}});
    const QJsonObject file = answeredJson(late);
    EXPECT_TRUE(history().contains(file["id"].toString()));
    EXPECT_EQ(std::get<ToolOutput>(late).notes, QStringList{"The recording had already stopped by itself."});
    EXPECT_TRUE(failure(run("stop_recording")).contains("was already returned"));
}

TEST_F(RecordingToolsTest, CancelDiscardsAndRestartStartsOver) {
    answeredJson(run("start_recording"));
    const int first = AgentRecording::shared().generation();
    EXPECT_EQ(answeredJson(runLong("control_recording", {{"action", "restart"}}))["state"], "recording");
    EXPECT_NE(AgentRecording::shared().generation(), first);
    EXPECT_EQ(answeredJson(runLong("control_recording", {{"action", "cancel"}}))["state"], "idle");
    EXPECT_TRUE(history().isEmpty()) << history().join(", ").toStdString();
    EXPECT_EQ(failure(run("stop_recording")), "No recording is running. start_recording starts one.");
    EXPECT_EQ(failure(run("control_recording", {{"action", "pause"}})), "No recording is running.");

    // A client that gives up on a clip leaves nothing running and nothing behind.
    const auto cancellation = std::make_shared<ToolCancellation>();
    QTimer::singleShot(300, [cancellation] { cancellation->cancel(); });
    static const std::vector<AgentTool> tools = AgentTools::builtIn();
    const ToolOutcome abandoned =
        callTool(tools, "record_screen", {{"duration_seconds", 60}}, session, cancellation, 30000);
    EXPECT_FALSE(failure(abandoned).isEmpty());
    EXPECT_EQ(state(), ScreenRecorder::State::idle);
    EXPECT_TRUE(history().isEmpty()) << history().join(", ").toStdString();
}

TEST_F(RecordingToolsTest, ArgumentsAreCheckedBeforeTheUserIsAsked) {
    AgentAccess::shared().setPolicy(AgentAccess::Policy::ask, AgentAccess::Category::record);
    const QString seconds = "`duration_seconds` is a number of seconds from 1 to 300.";
    EXPECT_EQ(failure(run("record_screen", {{"duration_seconds", 0}})), seconds);
    EXPECT_EQ(failure(run("record_screen", {{"duration_seconds", 301}})), seconds);
    EXPECT_EQ(failure(run("record_screen", {{"duration_seconds", "soon"}})), seconds);
    EXPECT_EQ(failure(run("start_recording", {{"max_duration_seconds", -5}})),
              "`max_duration_seconds` is a number of seconds from 1 to 14400.");
    EXPECT_EQ(failure(run("record_screen", {{"target", "sky"}})),
              QString::fromUtf8("Unknown target “sky”. Use screen, area or window."));
    EXPECT_EQ(failure(run("record_screen", {{"format", "avi"}})),
              QString::fromUtf8("Unknown format “avi”. Use \"video\" or \"gif\"."));
    EXPECT_TRUE(failure(run("record_screen", {{"target", "area"}})).contains("needs `rect`"));
    EXPECT_FALSE(failure(run("record_screen", {{"rect", QJsonArray{300, 0, 100, 100}}})).isEmpty())
        << "an area past the display's edge";
    EXPECT_TRUE(failure(run("start_recording", {{"window_id", 99}})).startsWith("No window 99"));
    EXPECT_TRUE(failure(run("start_recording", {{"display_id", 3}})).startsWith("No display 3"));
    EXPECT_EQ(failure(run("record_screen", {{"fps", 0}})), "`fps` is a whole number from 1 to 60.");
    EXPECT_EQ(failure(run("control_recording")),
              "`action` is required: status, pause, resume, cancel or restart.");
    EXPECT_EQ(failure(run("control_recording", {{"action", "dance"}})),
              QString::fromUtf8("Unknown action “dance”. Use status, pause, resume, cancel or restart."));
    EXPECT_TRUE(prompts.isEmpty()) << prompts.join(", ").toStdString();
    EXPECT_EQ(state(), ScreenRecorder::State::idle);
}

TEST_F(RecordingToolsTest, TheUserDecidesAboutRecording) {
    AgentAccess::shared().setPolicy(AgentAccess::Policy::off, AgentAccess::Category::record);
    const ToolOutcome off = run("record_screen", {{"duration_seconds", 2}});
    EXPECT_EQ(failure(off),
              QString::fromUtf8("Record the screen is turned off for AI agents in Pictavia ▸ AI Agents."));
    EXPECT_TRUE(std::get<ToolError>(off).denied);
    EXPECT_TRUE(prompts.isEmpty());

    AgentAccess::shared().setPolicy(AgentAccess::Policy::ask, AgentAccess::Category::record);
    nextAnswer = AgentAccess::Answer::declined;
    const ToolOutcome declined = run("record_screen", {{"duration_seconds", 2}, {"app", "Firefox"}});
    EXPECT_EQ(failure(declined), "The user declined: record a window of Firefox for 2 s");
    EXPECT_TRUE(std::get<ToolError>(declined).denied);
    EXPECT_EQ(prompts, QStringList{"AI agent wants to record a window of Firefox for 2 s"});
    EXPECT_EQ(state(), ScreenRecorder::State::idle);

    nextAnswer = AgentAccess::Answer::allowedOnce;
    EXPECT_EQ(answeredJson(run("start_recording"))["state"], "recording");
    EXPECT_EQ(prompts.size(), 2);
    EXPECT_EQ(AgentAccess::shared().policy(AgentAccess::Category::record), AgentAccess::Policy::ask);
}

TEST_F(RecordingToolsTest, OnlyTheClientThatStartedARecordingChangesIt) {
    answeredJson(run("start_recording"));
    Silent otherChannel;
    MCPSession other{&otherChannel, PeerIdentity{}, std::make_shared<NoAgentTools>()};
    const QJsonObject seen = answeredJson(run("control_recording", {{"action", "status"}}, &other));
    EXPECT_EQ(seen["started_by"], "another agent");
    EXPECT_FALSE(seen.contains("target"));
    EXPECT_TRUE(failure(run("stop_recording", {}, &other)).contains("not started by you"));
    EXPECT_TRUE(
        failure(run("control_recording", {{"action", "cancel"}}, &other)).contains("not started by you"));
    EXPECT_EQ(state(), ScreenRecorder::State::recording);
    EXPECT_EQ(answeredJson(run("get_status", {}, &other))["recording"], true);
}

} // namespace
