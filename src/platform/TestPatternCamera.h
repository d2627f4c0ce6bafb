#pragma once

#include "platform/Camera.h"

namespace platform {

// A camera that paints its own pictures: the left half red, the right half blue (so a
// mirrored picture can be told from a plain one) and a white bar that moves down and round.
// For tests and demonstrations on machines without a camera.
class TestPatternCamera : public Camera {
public:
    TestPatternCamera();
    ~TestPatternCamera() override;
    Result<bool> start(const CameraSettings& settings, FrameHandler onFrame, ErrorHandler onError) override;
    void stop() override;

    // The picture shown `frameNumber` frames after the start.
    static QImage paint(QSize size, int frameNumber);

private:
    struct Running;
    std::unique_ptr<Running> m_running;
};

// Other cameras with the test pattern as one more, "Test pattern", when the environment
// variable PICTAVIA_TEST_CAMERA is 1; otherwise the other cameras alone. Where there is no
// other camera, the test pattern is the default camera too.
class CamerasWithTestPattern : public Cameras {
public:
    explicit CamerasWithTestPattern(std::unique_ptr<Cameras> others);
    QList<CameraInfo> list() override;
    Result<std::unique_ptr<Camera>> open(const QString& id) override;

    static const QString id; // "test-pattern"
    static bool enabled();

private:
    std::unique_ptr<Cameras> m_others;
};

} // namespace platform
