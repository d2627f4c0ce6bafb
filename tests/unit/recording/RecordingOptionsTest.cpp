#include "recording/RecordingOptions.h"

#include "support/FakePlatform.h"

namespace {

using RecordingOptionsTest = testsupport::PlatformTest;

TEST_F(RecordingOptionsTest, PreferencesAreReadWithTheirFloors) {
    Prefs::setValue("recFPS", 0);
    Prefs::setValue("gifFPS", -3);
    Prefs::setValue("gifMaxWidth", 50);
    Prefs::setValue("recCodec", "hevc");
    Prefs::setValue("recMaxResolution", "hd");
    const RecordingOptions options = RecordingOptions::fromPreferences();
    EXPECT_EQ(options.fps, 1);
    EXPECT_EQ(options.gifFPS, 1);
    EXPECT_EQ(options.gifMaxWidth, 200);
    EXPECT_EQ(options.codec, RecordingCodec::hevc);
    EXPECT_EQ(options.maxResolution, RecordingResolution::hd);
    EXPECT_TRUE(options.openEditorAfterStudio);
    EXPECT_FALSE(options.delivery.copyToClipboard.has_value());
}

TEST_F(RecordingOptionsTest, SizesAreCappedAndEven) {
    RecordingOptions options;
    EXPECT_EQ(options.recordingSize({1, 1}, false), QSize(2, 2));
    EXPECT_EQ(options.recordingSize({641, 363}, false), QSize(640, 362));
    options.maxResolution = RecordingResolution::uhd;
    EXPECT_EQ(options.recordingSize({5120, 2880}, false), QSize(3840, 2160));
    options.maxResolution = RecordingResolution::native;
    EXPECT_EQ(options.recordingSize({5120, 2880}, false), QSize(5120, 2880));
    options.maxResolution = RecordingResolution::hd;
    EXPECT_EQ(options.recordingSize({1080, 1920}, false), QSize(720, 1280)) << "the longer side, upright too";
    EXPECT_EQ(options.recordingSize({1000, 700}, false), QSize(1000, 700)) << "never enlarged";

    options.gifMaxWidth = 1000;
    options.gifQuality = GIFQuality::balanced;
    EXPECT_EQ(options.recordingSize({2000, 1001}, true), QSize(1000, 500));
    options.gifQuality = GIFQuality::small;
    EXPECT_EQ(options.recordingSize({2000, 1000}, true), QSize(750, 374));
}

TEST_F(RecordingOptionsTest, BitRateAndKeyFrames) {
    RecordingOptions options;
    options.fps = 30;
    EXPECT_EQ(options.videoBitRate({1920, 1080}), 5'598'720);
    options.codec = RecordingCodec::hevc;
    EXPECT_EQ(options.videoBitRate({1920, 1080}), 3'359'232);
    options.fps = 5;
    EXPECT_EQ(options.videoBitRate({320, 240}), 1'500'000) << "raised to the floor";
    options.fps = 60;
    options.codec = RecordingCodec::h264;
    EXPECT_EQ(options.videoBitRate({7680, 4320}), 60'000'000) << "capped";
    EXPECT_EQ(options.keyFrameInterval(), 120);
    options.fps = 10;
    EXPECT_EQ(options.keyFrameInterval(), 30);

    options.studio = true;
    EXPECT_FALSE(options.capturesSystemCursor(false));
    EXPECT_TRUE(options.capturesSystemCursor(true));
}

} // namespace
