#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>

class ScreenRecorder;

namespace ui {

// What the recording controls show and do: the time recorded, whether it is paused, the
// frames of a GIF or the microphone's level, and the recorder's operations.
class RecorderHUDModel : public QObject {
    Q_OBJECT
public:
    // `restart` starts the same recording again (the coordinator knows how).
    RecorderHUDModel(ScreenRecorder& recorder, bool gif, std::function<void()> restart,
                     QObject* parent = nullptr);

    bool gif() const { return m_gif; }
    bool paused() const;
    // "0:07", "12:30", "1:02:03".
    QString elapsedText() const;
    int gifFrames() const { return m_gifFrames; }
    // The meter's reading, 0 to 1: the last peak heard, falling away when none follows.
    float level() const { return m_level; }
    // The camera bubble's state ("Camera on"); empty without a camera.
    QString cameraText() const { return m_camera; }

    void togglePause();
    void stop();
    void cancel();
    void restart();

    static QString formatElapsed(double seconds);

signals:
    // Anything shown changed.
    void changed();

private:
    void tick();

    ScreenRecorder& m_recorder;
    bool m_gif;
    std::function<void()> m_restart;
    int m_gifFrames = 0;
    float m_level = 0;
    QString m_camera;
    QTimer m_clock;
};

} // namespace ui
