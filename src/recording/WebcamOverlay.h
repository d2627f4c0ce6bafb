#pragma once

#include "common/Result.h"
#include "platform/Camera.h"
#include "recording/WebcamInfo.h"

#include <QFuture>
#include <QImage>
#include <QObject>
#include <QRect>
#include <QTimer>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

// Hands each camera picture to whoever takes them now (the recorder's camera writer while a
// recording runs). The lock lets the receiver be replaced while pictures arrive.
class CameraFeed {
public:
    using Handler = std::function<void(const QImage& frame, qint64 time)>;
    // Returns once the previous handler no longer runs; an empty handler stops the handing on.
    void setHandler(Handler handler);
    // On the camera's thread.
    void deliver(const QImage& frame, qint64 time);

private:
    std::mutex m_lock;
    Handler m_handler;
};

// The camera bubble of a recording: the camera, the bubble's place and size on screen (in
// root pixels), and the bubble's places over the recording. Lives on the GUI thread; the
// bubble window (ui/WebcamBubble) shows it and moves and resizes it through it.
class WebcamOverlay : public QObject {
    Q_OBJECT
public:
    static constexpr double defaultSide = 200;     // points
    static constexpr double smallestSide = 96;     // points
    static constexpr double largestSide = 440;     // points
    static constexpr double screenMargin = 24;     // points between the bubble and the screen's edges
    static constexpr double placementStep = 0.002; // smaller moves are not recorded
    static constexpr int placementInterval = 100;  // ms between looks at the bubble while recording

    // `screen`: the recorded screen in root pixels; `scale`: its pixels per point. The bubble
    // starts in its bottom-right corner.
    WebcamOverlay(platform::Cameras& cameras, const QRect& screen, double scale = 1,
                  QObject* parent = nullptr);
    ~WebcamOverlay() override;

    static QList<platform::CameraInfo> availableCameras(platform::Cameras& cameras);

    // Opens the camera chosen by "recCameraID" (empty: the default one) off the GUI thread;
    // then ready() when its first picture arrives, or failed() with the sentence to show.
    void start();
    void stop();
    bool running() const { return m_camera != nullptr; }

    CameraFeed& feed() { return m_feed; }
    // The newest picture, for the bubble to draw; null before the first.
    QImage latestFrame() const;
    // Whether the bubble shows the camera as a mirror ("recMirrorCamera").
    bool mirrored() const { return m_mirrored; }

    QRect bubble() const { return m_bubble; }
    double scale() const { return m_scale; }
    // A square of `points` (kept within 96...440) on the same centre.
    void resize(double points);
    void moveTo(const QPoint& topLeft);

    // Records the bubble's place against `region` (the recorded region, root pixels) on the
    // clock `elapsed` (seconds since the recording started): now and every 0.1 s after.
    void follow(std::function<QRect()> region, std::function<double()> elapsed);
    // One look at the bubble: a placement when it moved or changed size enough.
    void recordPlacement();
    const QList<WebcamPlacement>& placements() const { return m_placements; }
    WebcamInfo info() const { return WebcamInfo{m_placements, m_mirrored}; }

signals:
    void ready();
    void failed(const QString& sentence);
    void frameArrived(); // a newer picture to draw; several in a row come as one
    void bubbleChanged(const QRect& bubble);

private:
    using Opened = Result<std::shared_ptr<platform::Camera>>;
    void take(const QImage& frame, qint64 time);

    platform::Cameras& m_cameras;
    double m_scale;
    QRect m_bubble;
    bool m_mirrored = true;
    CameraFeed m_feed;
    std::shared_ptr<platform::Camera> m_camera;
    QFuture<void> m_opening;
    std::shared_ptr<Opened> m_outcome; // of the opening in flight
    mutable std::mutex m_frameLock;
    QImage m_latest;
    std::atomic<bool> m_framePending{false};
    bool m_ready = false;
    QTimer m_placementTimer;
    std::function<QRect()> m_region;
    std::function<double()> m_elapsed;
    QList<WebcamPlacement> m_placements;
};
