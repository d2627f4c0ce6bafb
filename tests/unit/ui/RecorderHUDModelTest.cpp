#include "ui/RecorderHUDModel.h"

#include "recording/ScreenRecorder.h"
#include "support/EventLoop.h"
#include "support/FakeFrameStreams.h"
#include "support/FakePlatform.h"

namespace {

class RecorderHUDModelTest : public testsupport::PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        auto streamFactory = std::make_unique<testsupport::FakeFrameStreams>();
        streams = streamFactory.get();
        platform::Services services;
        services.frameStreams = std::move(streamFactory);
        platform::install(std::move(services));
        options.gifFPS = 10;
    }
    void TearDown() override { platform::services().frameStreams.reset(); }

    testsupport::FakeFrameStreams* streams = nullptr;
    RecordingOptions options;
};

TEST(RecorderHUDModelFormat, ElapsedTimeReadsAsMinutesAndHours) {
    EXPECT_EQ(ui::RecorderHUDModel::formatElapsed(0), "0:00");
    EXPECT_EQ(ui::RecorderHUDModel::formatElapsed(7.9), "0:07");
    EXPECT_EQ(ui::RecorderHUDModel::formatElapsed(750), "12:30");
    EXPECT_EQ(ui::RecorderHUDModel::formatElapsed(3723), "1:02:03");
}

TEST_F(RecorderHUDModelTest, FollowsTheRecorderAndDrivesIt) {
    ScreenRecorder recorder(100);
    int restarts = 0;
    ui::RecorderHUDModel model(recorder, true, [&] { ++restarts; });
    ASSERT_TRUE(recorder.start({QRect(0, 0, 40, 30), std::nullopt}, {40, 30}, true, options));

    QImage frame(40, 30, QImage::Format_RGB32);
    frame.fill(Qt::darkBlue);
    for (int i = 0; i < 3; ++i)
        streams->last->onFrame(frame, i * 100'000);
    EXPECT_TRUE(testsupport::waitUntil([&] { return model.gifFrames() == 3; }));

    model.togglePause();
    EXPECT_EQ(recorder.state(), ScreenRecorder::State::paused);
    EXPECT_TRUE(model.paused());
    model.togglePause();
    EXPECT_EQ(recorder.state(), ScreenRecorder::State::recording);

    // The meter shows a peak, then falls away while none follows.
    emit recorder.audioLevel(0.8f);
    EXPECT_FLOAT_EQ(model.level(), 0.8f);
    EXPECT_TRUE(testsupport::waitUntil([&] { return model.level() == 0.0f; }));

    model.restart();
    EXPECT_EQ(restarts, 1);
    model.cancel();
    EXPECT_TRUE(testsupport::waitUntil([&] { return recorder.state() == ScreenRecorder::State::idle; }));
    EXPECT_EQ(toasts->shown.last(), "Recording discarded");
}

} // namespace
