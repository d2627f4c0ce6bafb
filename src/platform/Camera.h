#pragma once

#include "common/Result.h"

#include <QImage>
#include <QList>
#include <QSize>
#include <QString>

#include <functional>
#include <memory>

namespace platform {

// A camera the user can choose.
struct CameraInfo {
    QString id;   // stable between runs (the device path or a driver's serial), for "recCameraID"
    QString name; // what the user sees: "Integrated Camera"
};

struct CameraSettings {
    QSize size{640, 480}; // asked for; the camera may give the nearest it has
    int fps = 30;
};

// A running camera, delivering pictures on a thread of its own.
class Camera {
public:
    // Each picture with the time it was taken, in microseconds of std::chrono::steady_clock
    // (the clock of frame streams and audio sources). Called on the camera's thread: a
    // receiver hands the picture on and returns at once.
    using FrameHandler = std::function<void(const QImage& frame, qint64 time)>;
    // Called once, on the camera's thread, when the camera stops by itself (unplugged).
    using ErrorHandler = std::function<void(const Error& error)>;

    virtual ~Camera() = default;
    // Fails at once with a sentence a user understands: no such camera, or one another
    // program is using.
    virtual Result<bool> start(const CameraSettings& settings, FrameHandler onFrame,
                               ErrorHandler onError) = 0;
    // Returns once no handler runs any more. Safe to call more than once.
    virtual void stop() = 0;
};

// The cameras of this machine.
class Cameras {
public:
    virtual ~Cameras() = default;
    virtual QList<CameraInfo> list() = 0;
    // `id` from list(); empty for the first camera.
    virtual Result<std::unique_ptr<Camera>> open(const QString& id) = 0;
};

} // namespace platform
