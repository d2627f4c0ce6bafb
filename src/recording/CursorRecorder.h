#pragma once

#include "platform/ScreenBackend.h"
#include "recording/RecordingRegion.h"
#include "recording/TrackingTypes.h"

#include <QHash>
#include <QObject>
#include <QTimer>

#include <functional>

// Samples the pointer during a recording into a track for the editor, which redraws it
// smoothly: a sample a frame (60 a second) while the pointer moves, one every half second
// while it rests, and its image ten times a second. On the GUI thread.
class CursorRecorder : public QObject {
    Q_OBJECT
public:
    struct Track {
        QList<CursorSample> samples;
        QList<CursorShape> shapes;
    };

    static constexpr int samplesPerSecond = 60;
    static constexpr int maxSamples = 200'000;
    static constexpr double restInterval = 0.5; // seconds between samples of a still pointer
    static constexpr double stillDistance = 0.0005;

    // `elapsed` is the recording's time (pauses left out); nothing is sampled while
    // `isRunning` says no (paused). `screen` tells the pointer's place and image.
    CursorRecorder(RecordingRegion& region, std::function<double()> elapsed, std::function<bool()> isRunning,
                   bool captureShapes, platform::ScreenBackend& screen, QObject* parent = nullptr);

    void start();
    Track stop();

    // One tick of the sampling timer; public so tests can drive the clock.
    void sample();

    const QList<CursorSample>& samples() const { return m_samples; }

private:
    int currentShape();

    QTimer m_timer;
    RecordingRegion& m_region;
    std::function<double()> m_elapsed;
    std::function<bool()> m_isRunning;
    bool m_captureShapes;
    platform::ScreenBackend& m_screen;
    QList<CursorSample> m_samples;
    QList<CursorShape> m_shapes;
    QHash<QByteArray, int> m_shapeKeys;   // pixels and hot spot → index in m_shapes
    QHash<uint32_t, int> m_shapeBySerial; // spares hashing an image seen before
    int m_lastShape = 0;
    qint64 m_tick = 0;
    double m_end = 0;
};
