#pragma once

#include "capture/CaptureContext.h"
#include "common/Result.h"
#include "platform/AudioSource.h"
#include "platform/FrameStream.h"
#include "platform/MovieWriter.h"
#include "recording/RecordingCompanions.h"
#include "recording/RecordingOptions.h"
#include "recording/RecordingOverlayViews.h"
#include "recording/RecordingSource.h"
#include "recording/SampleQueue.h"

#include <QElapsedTimer>
#include <QObject>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

// Records the screen into a movie, or into GIF frames assembled when it stops, and hands the
// result to delivery. Frames come from a platform frame stream and sound from audio sources,
// each on its own thread; they wait in one queue (frames bounded) and are encoded on a thread
// of the recorder's. Pausing drops both and closes the gap, so the movie runs on without a
// jump. While a recording runs, a marker in
// the in-progress folder names its file, so that one cut off by a crash is delivered at the
// next start. One recording at a time.
class ScreenRecorder : public QObject {
    Q_OBJECT
public:
    enum class State { idle, recording, paused, stopping };
    using Finished = std::function<void(const std::optional<QString>& file)>;

    static constexpr int gifMaxFrames = 3000;

    // Frames waiting for the encoder beyond `queuedFrames` are dropped.
    explicit ScreenRecorder(std::size_t queuedFrames = 8);
    ~ScreenRecorder() override;
    static ScreenRecorder& shared();

    State state() const { return m_state; }
    // Seconds recorded, pauses left out.
    double elapsed() const;
    // Frames the encoder could not keep up with.
    int droppedFrames() const;

    // `sourcePixels` is the size of what is recorded, in pixels; `context` names the file;
    // `screen` is the display it is on, in root pixels (where the keystroke panel shows).
    Result<bool> start(const platform::FrameSource& source, QSize sourcePixels, bool gif,
                       const RecordingOptions& options, const CaptureContext& context = {},
                       QRect screen = {});
    Result<bool> start(const RecordingSource& source, bool gif, const RecordingOptions& options) {
        return start(source.frames, source.pixels, gif, options, source.context, source.display.geometry);
    }

    // The windows that show clicks, keys and the camera on screen; none by default.
    void setOverlayViews(std::unique_ptr<RecordingOverlayViews> views) { m_views = std::move(views); }
    // Opens a delivered studio recording for editing, where its options ask for that; none
    // by default.
    void setStudioEditor(std::function<void(const QString& movie)> open) {
        m_openStudioEditor = std::move(open);
    }
    // What the last recording tracked (clicks, the pointer), once it has finished.
    const RecordingCompanions::Tracked& lastTracked() const { return m_tracked; }
    void pause();
    void resume();
    // Ends the recording; the file is finished and delivered in the background.
    void stop();
    // Ends the recording and throws it away.
    void cancel(bool silent = false);
    // Stops, and calls `done` with the delivered file (none when cancelled or failed).
    void stopAndWait(Finished done);
    // Calls `done` when a stop already under way has finished (at once when idle).
    void waitForFinish(Finished done);

    // At start-up: delivers a recording a crash cut off, then empties the in-progress folder.
    static void recoverIfNeeded();

signals:
    void stateChanged(ScreenRecorder::State state);
    void gifFramesChanged(int count);
    // The peak of the metered sound (the microphone when it is recorded, else system audio),
    // 0 to 1, at most every 0.08 s while recording.
    void audioLevel(float peak);
    // The camera bubble's state, in words ("Camera on"); empty when the recording has none.
    void cameraChanged(const QString& state);

private:
    void setState(State state);
    // The sound the options ask for, each source that starts a track of the movie; a source
    // that cannot start is reported and left out.
    void startAudio();
    void stopAudio();
    void encodeFrames();                                         // on m_encoder
    void meter(const SampleQueue::Item& item, qint64& lastEmit); // on m_encoder
    void finish(bool cancelled, bool silent);
    // A studio movie's timeline and side files beside the delivered file.
    void saveTimeline(const QString& movie, const std::optional<QString>& camera);
    // The movie's sound levelled (and its voice cleaned) off the GUI thread, then the camera.
    void levelVoice(const QString& output, bool withSound);
    void finishWebcam(const QString& output);
    void startWebcamWriter();
    // The camera movie drawn into an ordinary recording, then delivery; off the GUI thread.
    void deliverMovie(const QString& output, const std::optional<QString>& camera);
    void notifyFinished(const std::optional<QString>& file);

    const std::size_t m_queuedFrames;
    State m_state = State::idle;
    RecordingOptions m_options;
    CaptureContext m_context;
    bool m_isGIF = false;
    QString m_output; // the movie, or the frame folder of a GIF
    QSize m_size;
    QSize m_sourcePixels;
    std::unique_ptr<platform::FrameStream> m_stream;
    std::unique_ptr<platform::MovieFile> m_movie;
    std::vector<std::unique_ptr<platform::AudioSource>> m_audio; // index = track
    bool m_micRecorded = false;
    std::optional<QString> m_cleanVoice; // the cleaned sound of the movie being finished
    std::unique_ptr<class WebcamWriter> m_webcamWriter;
    // Where the movie's clock starts on the steady clock, pauses added; -1 before the first frame.
    std::atomic<qint64> m_sessionClock = -1;
    std::unique_ptr<RecordingOverlayViews> m_views;
    std::function<void(const QString& movie)> m_openStudioEditor;
    std::unique_ptr<RecordingCompanions> m_companions;
    RecordingCompanions::Tracked m_tracked;
    int m_meteredTrack = -1;
    std::unique_ptr<SampleQueue> m_queue;
    std::thread m_encoder;
    std::atomic<bool> m_paused = false;
    std::atomic<bool> m_needsOffsetRecalc = false; // taken by the first frame after a pause
    std::atomic<bool> m_cancelled = false;
    QString m_encoderError; // written by the encoder, read after it has ended
    QList<Finished> m_waiters;
    double m_accumulated = 0; // seconds recorded before the current run
    QElapsedTimer m_activeSince;
    uint32_t m_sleepAssertion = 0; // keeps the display awake while recording; 0 for none
};
