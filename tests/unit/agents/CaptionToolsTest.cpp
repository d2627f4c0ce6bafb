// transcribe_recording through a fake recogniser: what it answers, what it keeps with the
// recording, the SubRip file it writes and what it refuses before any work.
#include "agents/AgentConnection.h"
#include "agents/AgentTools.h"
#include "agents/MCPSession.h"
#include "video/RecordingTimeline.h"

#include "../support/FakePlatform.h"
#include "../support/FakeSpeech.h"
#include "../support/ToolCalls.h"

#include <QFile>
#include <QJsonArray>
#include <gtest/gtest.h>

namespace {

using namespace testsupport;

class CaptionToolsTest : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        media->mediaInfo.duration = 6;
        media->mediaInfo.hasAudio = true;
        movie = home.filePath("talk.mov");
        QFile out(movie);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly));
        out.write("movie");
        speech.recognizer->words = {{"open", 0.5, 0.3}, {"the", 0.85, 0.1}, {"settings", 1.0, 0.5}};
    }

    ToolOutcome transcribe(QJsonObject arguments) {
        static const std::vector<AgentTool> tools = AgentTools::builtIn();
        arguments.insert("path", movie);
        return callTool(tools, "transcribe_recording", arguments, session);
    }
    static QString failure(const ToolOutcome& outcome) {
        const auto* error = std::get_if<ToolError>(&outcome);
        return error ? error->message : QString();
    }

    FakeSpeech speech;
    QString movie;
    Silent channel;
    MCPSession session{&channel, PeerIdentity{}, std::make_shared<NoAgentTools>()};
};

TEST_F(CaptionToolsTest, TheLinesAndTranscriptComeBackAndStayWithTheRecording) {
    const QString srt = home.filePath("talk.srt");
    const QJsonObject answer = answeredJson(transcribe({{"srt_path", srt}}));
    EXPECT_EQ(answer["transcribed"], true);
    EXPECT_EQ(answer["language"], "en-US");
    const QJsonArray lines = answer["lines"].toArray();
    ASSERT_EQ(lines.size(), 1);
    EXPECT_EQ(lines[0].toObject()["text"], "open the settings");
    EXPECT_EQ(lines[0].toObject()["start"], 0.5);
    EXPECT_EQ(answer["transcript"], "[0:00] open the settings");
    EXPECT_EQ(answer["srt_path"], srt);
    QFile written(srt);
    ASSERT_TRUE(written.open(QIODevice::ReadOnly));
    EXPECT_EQ(written.readAll(), "1\n00:00:00,500 --> 00:00:02,100\nopen the settings\n\n");
    const auto kept = TimelineStore::load(movie);
    ASSERT_TRUE(kept && kept->has_value());
    EXPECT_EQ((*kept)->captions.size(), 1);
    EXPECT_EQ((*kept)->captionsLanguage, "en-US");

    // Asked again, the saved captions answer without hearing the recording again...
    speech.recognizer->words = {{"different", 0.2, 0.3}};
    const QJsonObject again = answeredJson(transcribe({}));
    EXPECT_EQ(again["transcribed"], false);
    EXPECT_EQ(again["lines"].toArray()[0].toObject()["text"], "open the settings");
    EXPECT_EQ(speech.recognizer->heardIn.size(), 1);
    // ...unless redo says otherwise.
    const QJsonObject redone = answeredJson(transcribe({{"redo", true}, {"language", "en-US"}}));
    EXPECT_EQ(redone["lines"].toArray()[0].toObject()["text"], "different");
    EXPECT_EQ(speech.recognizer->heardIn.size(), 2);

    // An existing SubRip file is replaced only with overwrite.
    EXPECT_EQ(failure(transcribe({{"srt_path", srt}})),
              srt + " already exists. Pass overwrite: true to replace it.");
    answeredJson(transcribe({{"srt_path", srt}, {"overwrite", true}}));
}

TEST_F(CaptionToolsTest, WhatCannotWorkIsRefusedBeforeAnyWork) {
    static const std::vector<AgentTool> tools = AgentTools::builtIn();
    EXPECT_EQ(
        failure(callTool(tools, "transcribe_recording", {{"path", home.filePath("gone.mov")}}, session)),
        "No file at " + home.filePath("gone.mov") + ".");
    EXPECT_EQ(failure(transcribe({{"srt_path", "relative.srt"}})), "`srt_path` must be an absolute path.");
    EXPECT_EQ(failure(transcribe({{"srt_path", home.filePath("missing/x.srt")}})),
              "The folder of `srt_path` does not exist.");
    EXPECT_TRUE(speech.recognizer->heardIn.isEmpty());

    // The recogniser's own failures reach the agent as they stand.
    EXPECT_TRUE(failure(transcribe({{"language", "de-DE"}}))
                    .startsWith("There is no on device speech model for de-DE on this computer."));
    EXPECT_EQ(failure(transcribe({{"language", "xx-YY"}})), "Speech recognition does not support xx-YY");
}

// edit_video with captions of a recording that has none: transcribed first, kept with it; a
// transcription that fails ends the edit with its sentence. (The export itself needs the
// media module, which unit tests do not load: it fails after the captions are kept.)
TEST_F(CaptionToolsTest, EditingWithCaptionsTranscribesARecordingThatHasNone) {
    static const std::vector<AgentTool> tools = AgentTools::builtIn();
    speech.recognizer->failure = Error{"The speech model is damaged."};
    const ToolOutcome failed = callTool(tools, "edit_video", {{"path", movie}, {"captions", true}}, session);
    EXPECT_EQ(failure(failed), "The speech model is damaged.");
    EXPECT_FALSE(QFile::exists(TimelineStore::path(movie)));

    speech.recognizer->failure.reset();
    callTool(tools, "edit_video", {{"path", movie}, {"captions", true}, {"caption_language", "en-US"}},
             session);
    EXPECT_EQ(speech.recognizer->heardIn, (QStringList{"en-US", "en-US"}));
    const auto kept = TimelineStore::load(movie);
    ASSERT_TRUE(kept && kept->has_value());
    EXPECT_EQ((*kept)->captions.size(), 1);

    // Now it has captions: no second transcription.
    callTool(tools, "edit_video", {{"path", movie}, {"captions", true}}, session);
    EXPECT_EQ(speech.recognizer->heardIn.size(), 2);
}

} // namespace
