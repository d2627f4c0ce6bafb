#include "ui/RecorderHUDModel.h"

#include "recording/ScreenRecorder.h"

#include <cmath>

namespace ui {

namespace {

constexpr int tickMs = 100;
// How much of the meter's reading is left after a tick without a new peak.
constexpr float levelFalloff = 0.5f;

} // namespace

RecorderHUDModel::RecorderHUDModel(ScreenRecorder& recorder, bool gif, std::function<void()> restart,
                                   QObject* parent)
    : QObject(parent), m_recorder(recorder), m_gif(gif), m_restart(std::move(restart)) {
    connect(&recorder, &ScreenRecorder::stateChanged, this, &RecorderHUDModel::changed);
    connect(&recorder, &ScreenRecorder::gifFramesChanged, this, [this](int count) {
        m_gifFrames = count;
        emit changed();
    });
    connect(&recorder, &ScreenRecorder::audioLevel, this, [this](float peak) {
        m_level = std::clamp(peak, 0.0f, 1.0f);
        emit changed();
    });
    connect(&recorder, &ScreenRecorder::cameraChanged, this, [this](const QString& state) {
        m_camera = state;
        emit changed();
    });
    connect(&m_clock, &QTimer::timeout, this, &RecorderHUDModel::tick);
    m_clock.start(tickMs);
}

bool RecorderHUDModel::paused() const {
    return m_recorder.state() == ScreenRecorder::State::paused;
}

QString RecorderHUDModel::elapsedText() const {
    return formatElapsed(m_recorder.elapsed());
}

QString RecorderHUDModel::formatElapsed(double seconds) {
    const qint64 whole = std::max<qint64>(0, qint64(std::floor(seconds)));
    const qint64 hours = whole / 3600;
    const qint64 minutes = whole / 60 % 60;
    const qint64 rest = whole % 60;
    if (hours > 0)
        return QStringLiteral("%1:%2:%3")
            .arg(hours)
            .arg(minutes, 2, 10, QChar(u'0'))
            .arg(rest, 2, 10, QChar(u'0'));
    return QStringLiteral("%1:%2").arg(minutes).arg(rest, 2, 10, QChar(u'0'));
}

void RecorderHUDModel::togglePause() {
    if (paused())
        m_recorder.resume();
    else
        m_recorder.pause();
}

void RecorderHUDModel::stop() {
    m_recorder.stop();
}

void RecorderHUDModel::cancel() {
    m_recorder.cancel();
}

void RecorderHUDModel::restart() {
    if (m_restart) m_restart();
}

void RecorderHUDModel::tick() {
    // A silent microphone sends no peaks: the meter falls by itself.
    m_level = m_level < 0.02f ? 0.0f : m_level * levelFalloff;
    emit changed();
}

} // namespace ui
