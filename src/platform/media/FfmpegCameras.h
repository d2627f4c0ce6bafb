#pragma once

#include "platform/Camera.h"

namespace platform::media {

// Video4Linux2 cameras through libavdevice's "video4linux2" input: the same media stack as
// the rest of the module, and its decoders turn whatever the camera sends (MJPEG, YUYV)
// into pictures for us.
class FfmpegCameras : public Cameras {
public:
    FfmpegCameras();
    QList<CameraInfo> list() override;
    Result<std::unique_ptr<Camera>> open(const QString& id) override;
};

} // namespace platform::media
