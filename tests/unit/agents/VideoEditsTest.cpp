#include "agents/tools/VideoEdits.h"

#include "../support/FakePlatform.h"

#include <QFile>
#include <QJsonArray>

#include <gtest/gtest.h>

namespace {

using namespace testsupport;

class VideoEditsTest : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        media->mediaInfo.duration = 8;
        file = home.filePath(QStringLiteral("clip.mov"));
        QFile out(file);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly));
        out.write("movie");
        out.close();
        RecordingTimeline timeline;
        timeline.clicks = {{2, 0.3, 0.4}};
        timeline.clicksTracked = true;
        ASSERT_TRUE(TimelineStore::save(timeline, file));
    }

    // The failure's message, or empty when the arguments were taken.
    QString refusal(const QJsonObject& arguments) {
        VideoEditorModel model(file, false);
        try {
            VideoEdits::apply(ToolArgs(arguments), model);
        } catch (const ToolError& error) {
            return error.message;
        }
        return {};
    }

    QString file;
};

TEST_F(VideoEditsTest, ValuesOutOfRangeAndUnknownNamesAreRefusedWithWhatIsAllowed) {
    EXPECT_EQ(refusal({{"volume", 3}}), "`volume` is a number from 0 to 2.");
    EXPECT_EQ(refusal({{"zoom_level", "lots"}}), "`zoom_level` is a number from 1.2 to 3.");
    EXPECT_EQ(refusal({{"shape", "circle"}}),
              "Unknown shape “circle”. Use one of: original, wide, vertical, square.");
    EXPECT_TRUE(
        refusal({{"background", "plaid"}}).startsWith("Unknown background “plaid”. Use one of: none, "));
    EXPECT_EQ(refusal({{"trim_start", 9}}), "`trim_start` is past the end of the recording (8.00 s).");
    EXPECT_EQ(refusal({{"trim_start", 3}, {"trim_end", 3}}),
              "`trim_end` must be at least 0.1 s after `trim_start`.");
    EXPECT_EQ(refusal({{"zooms", QJsonArray{QJsonObject{{"x", 0.5}}}}}),
              "Each of `zooms` is an object with at least a `time`.");
    EXPECT_EQ(refusal({{"padding", 0.2}, {"camera_size", 2.5}, {"trim_end", 100}}), "");
}

TEST_F(VideoEditsTest, TheArgumentsBecomeTheEditorsSettings) {
    VideoEditorModel model(file, false);
    const VideoEdits::Plan plan = VideoEdits::apply(
        ToolArgs({{"trim_start", 1},
                  {"trim_end", 100},
                  {"volume", 0.5},
                  {"mono", true},
                  {"codec", "HEVC"},
                  {"resolution", "720p"},
                  {"zoom", true},
                  {"zooms", QJsonArray{QJsonObject{{"time", 5}, {"x", 0.9}, {"y", 0.1}, {"level", 1.5}}}},
                  {"background", "Glass Ocean"},
                  {"shape", "vertical"},
                  {"framing", "follow"},
                  {"follow_pointer", false},
                  {"click_ripples", true},
                  {"camera_position", "topLeft"},
                  {"output", "gif"},
                  {"gif_fps", 12},
                  {"gif_quality", "sharp"}}),
        model);
    EXPECT_EQ(model.trimStart(), 1);
    EXPECT_EQ(model.trimEnd(), 8);
    EXPECT_EQ(model.volume(), 0.5);
    EXPECT_TRUE(model.monoAudio());
    EXPECT_EQ(model.codec(), RecordingCodec::hevc);
    EXPECT_EQ(model.resolution(), ExportResolution::r720);
    // The automatic move toward the click and the placed one, in time order.
    ASSERT_TRUE(model.zoomActive());
    ASSERT_EQ(model.zoomTrack().keyframes.size(), 2);
    EXPECT_EQ(model.zoomTrack().keyframes[0].center, QPointF(0.3, 0.4));
    EXPECT_EQ(model.zoomTrack().keyframes[1].center, QPointF(0.9, 0.1));
    EXPECT_EQ(model.zoomTrack().keyframes[1].level, 1.5);
    EXPECT_EQ(model.zoomTrack().keyframes[1].hold, 1.6);
    const StudioStyle& style = model.style();
    EXPECT_EQ(style.background, BackgroundStyle::GlassOcean);
    EXPECT_EQ(style.shape, StudioShape::vertical);
    EXPECT_EQ(style.framing, StudioFraming::follow);
    EXPECT_FALSE(style.followPointer);
    EXPECT_TRUE(style.clickRipples);
    EXPECT_EQ(style.cameraPosition, CameraPosition::topLeft);
    ASSERT_TRUE(plan.gif.has_value());
    EXPECT_EQ(plan.gif->fps, 12);
    EXPECT_EQ(plan.gif->maxWidth, 0); // the user's setting
    EXPECT_EQ(plan.gif->quality, GIFQuality::sharp);
    // Camera options on a recording without a camera are said to have no effect.
    EXPECT_EQ(plan.notes,
              QStringList{"This recording was made without the camera, so the camera options do not "
                          "apply."});
}

TEST_F(VideoEditsTest, CaptionsOfARecordingWithoutThemAskForATranscriptionFirst) {
    VideoEditorModel model(file, false);
    const auto plan = VideoEdits::apply(ToolArgs({{"captions", true}, {"caption_language", "de-DE"}}), model);
    EXPECT_EQ(plan.transcribe, "de-DE");
    EXPECT_TRUE(model.style().captions);
    EXPECT_FALSE(VideoEdits::apply(ToolArgs({{"captions", false}}), model).transcribe);
    CaptionLine line;
    line.end = 1;
    line.text = "hello";
    model.setCaptions({line});
    EXPECT_FALSE(VideoEdits::apply(ToolArgs({{"captions", true}}), model).transcribe);
}

TEST_F(VideoEditsTest, PlacedZoomsAloneLeaveTheClicksAlone) {
    VideoEditorModel model(file, false);
    const VideoEdits::Plan plan =
        VideoEdits::apply(ToolArgs({{"zooms", QJsonArray{QJsonObject{{"time", 4}}}}}), model);
    ASSERT_EQ(model.zoomTrack().keyframes.size(), 1);
    EXPECT_EQ(model.zoomTrack().keyframes[0].time, 4);
    EXPECT_EQ(model.zoomTrack().keyframes[0].center, QPointF(0.5, 0.5));
    EXPECT_FALSE(plan.gif.has_value());
    EXPECT_TRUE(plan.notes.isEmpty());
}

} // namespace
