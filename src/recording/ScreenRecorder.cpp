#include "recording/ScreenRecorder.h"

#include "app/Toast.h"
#include "capture/OutputPipeline.h"
#include "capture/PostCaptureAction.h"
#include "common/Log.h"
#include "platform/Platform.h"
#include "recording/DisplaySleep.h"
#include "recording/GIFEncoder.h"
#include "recording/RecoveryMarker.h"
#include "recording/WebcamComposer.h"
#include "recording/WebcamWriter.h"
#include "video/RecordingTimeline.h"
#include "video/VoiceLeveler.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QUuid>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>
#include <cmath>

namespace {

constexpr double toastSeconds = 2.2;

QString newName(const QString& prefix, const QString& suffix = {}) {
    return RecoveryMarker::inProgressDir() + u'/' + prefix +
           QUuid::createUuid().toString(QUuid::WithoutBraces) + suffix;
}

platform::MovieSettings movieSettings(const RecordingOptions& options, QSize size, int audioTracks) {
    platform::MovieSettings settings;
    settings.size = size;
    settings.fps = options.fps;
    settings.codec = options.codec == RecordingCodec::hevc ? platform::MovieSettings::Codec::hevc
                                                           : platform::MovieSettings::Codec::h264;
    settings.bitRate = options.videoBitRate(size);
    settings.keyFrameInterval = options.keyFrameInterval();
    settings.audioTracks = audioTracks;
    settings.audioChannels = options.monoAudio ? 1 : 2;
    return settings;
}

void removeOutput(const QString& path) {
    if (QFileInfo(path).isDir())
        QDir(path).removeRecursively();
    else
        QFile::remove(path);
}

} // namespace

ScreenRecorder::ScreenRecorder(std::size_t queuedFrames) : m_queuedFrames(queuedFrames) {}

ScreenRecorder::~ScreenRecorder() {
    // A recording still running when the program ends stays recoverable: its frames so far
    // are flushed, and the marker stays for the next start.
    if (m_stream) m_stream->stop();
    stopAudio();
    if (m_queue) m_queue->close();
    if (m_encoder.joinable()) m_encoder.join();
}

ScreenRecorder& ScreenRecorder::shared() {
    static ScreenRecorder recorder;
    return recorder;
}

double ScreenRecorder::elapsed() const {
    const double running = m_state == State::recording ? double(m_activeSince.elapsed()) / 1000.0 : 0.0;
    return m_accumulated + running;
}

int ScreenRecorder::droppedFrames() const {
    return (m_queue ? m_queue->dropped() : 0) + (m_stream ? m_stream->missedFrames() : 0);
}

void ScreenRecorder::setState(State state) {
    if (m_state == state) return;
    m_state = state;
    emit stateChanged(state);
}

Result<bool> ScreenRecorder::start(const platform::FrameSource& source, QSize sourcePixels, bool gif,
                                   const RecordingOptions& options, const CaptureContext& context,
                                   QRect screen) {
    if (m_state != State::idle) return Error{QStringLiteral("A recording is already running")};
    auto& streams = platform::services().frameStreams;
    if (!streams) return Error{QStringLiteral("Screen recording is not available on this desktop")};
    m_options = options;
    m_context = context;
    m_isGIF = gif;
    m_size = options.recordingSize(sourcePixels, gif);
    m_sourcePixels = sourcePixels;
    m_encoderError.clear();
    m_cancelled = false;

    m_queue = std::make_unique<SampleQueue>(m_queuedFrames);
    m_paused = false;
    m_needsOffsetRecalc = false;
    if (gif) {
        m_output = newName(QStringLiteral("pictavia-gif-"));
        if (!QDir().mkpath(m_output)) return Error{QStringLiteral("Cannot create %1").arg(m_output)};
    } else {
        auto& movies = platform::services().movies;
        if (!movies) return Error{QStringLiteral("Writing movies is not available")};
        startAudio();
        m_output = newName(QStringLiteral("pictavia-"), QStringLiteral(".mov"));
        auto movie = movies->create(m_output, movieSettings(options, m_size, int(m_audio.size())));
        if (!movie) {
            stopAudio();
            return movie.error();
        }
        m_movie = std::move(movie.value());
    }
    RecoveryMarker{gif ? QStringLiteral("gif") : QStringLiteral("movie"), m_output, options.gifFPS}.write();

    m_accumulated = 0;
    m_activeSince.start();
    RecordingRegion region(source.rootRect.value_or(QRect()), source.windowId);
    region.refresh(true);
    const QRect shownOn = screen.isEmpty() ? region.rect() : screen;
    m_companions = std::make_unique<RecordingCompanions>(
        std::move(region), shownOn, options, gif, [this] { return elapsed(); },
        [this] { return m_state == State::recording; });
    connect(m_companions.get(), &RecordingCompanions::cameraChanged, this, &ScreenRecorder::cameraChanged);
    // Before the stream, so that the windows of clicks and keys it must show exist.
    const std::vector<uint32_t> inPicture = m_companions->start(m_views.get());
    m_sessionClock = -1;
    startWebcamWriter();

    auto stream = streams->create();
    Result<bool> started = stream ? Result<bool>(true) : Result<bool>(stream.error());
    if (stream) {
        m_stream = std::move(stream.value());
        platform::FrameStreamSettings settings;
        settings.fps = gif ? options.gifFPS : options.fps;
        settings.showCursor = options.capturesSystemCursor(gif);
        settings.windowsInPicture = inPicture;
        started = m_stream->start(
            source, settings,
            [this](const QImage& frame, qint64 time) {
                if (!m_paused) m_queue->push({frame, {}, -1, time, m_needsOffsetRecalc.exchange(false)});
            },
            [this](const Error&) {
                // The source went away: what was recorded so far is kept.
                QMetaObject::invokeMethod(
                    this, [this] { stop(); }, Qt::QueuedConnection);
            });
    }
    if (!started) {
        if (m_stream) m_stream->stop();
        stopAudio();
        m_companions.reset();
        m_stream.reset();
        m_audio.clear();
        m_movie.reset();
        m_queue.reset();
        removeOutput(m_output);
        RecoveryMarker::remove();
        return started.error();
    }
    m_encoder = std::thread([this] { encodeFrames(); });
    m_activeSince.start();
    setState(State::recording);
    m_sleepAssertion = DisplaySleep::prevent();
    PostCaptureAction::recordingStarted();
    return true;
}

void ScreenRecorder::startAudio() {
    using Device = platform::AudioSourceSettings::Device;
    m_audio.clear();
    m_micRecorded = false;
    m_meteredTrack = -1;
    auto& sources = platform::services().audioSources;
    QList<Device> devices;
    if (m_options.systemAudio) devices << Device::systemAudio;
    if (m_options.microphone) devices << Device::microphone;
    for (const Device device : devices) {
        auto source = sources ? sources->create()
                              : Result<std::unique_ptr<platform::AudioSource>>(
                                    Error{QStringLiteral("Recording sound is not available")});
        const int track = int(m_audio.size());
        const platform::AudioSourceSettings settings{device, 48'000, m_options.monoAudio ? 1 : 2};
        const auto started =
            source
                ? (*source)->start(
                      settings,
                      [this, track, channels = settings.channels](const float* samples, int frames,
                                                                  qint64 time) {
                          if (m_paused) return;
                          m_queue->push({QImage(),
                                         std::vector<float>(samples, samples + qsizetype(frames) * channels),
                                         track, time, false});
                      },
                      [this](const Error& error) {
                          // The recording goes on without this track.
                          QMetaObject::invokeMethod(
                              this, [message = error.message] { Toast::show(message, toastSeconds); },
                              Qt::QueuedConnection);
                      })
                : Result<bool>(source.error());
        if (!started) {
            Toast::show(started.error().message, toastSeconds);
            continue;
        }
        // The level shown is the microphone's when it is recorded.
        if (device == Device::microphone || m_meteredTrack < 0) m_meteredTrack = track;
        if (device == Device::microphone) m_micRecorded = true;
        m_audio.push_back(std::move(source.value()));
    }
}

void ScreenRecorder::startWebcamWriter() {
    m_webcamWriter.reset();
    CameraFeed* feed = m_companions->cameraFeed();
    auto& movies = platform::services().movies;
    if (!feed || !movies) return;
    m_webcamWriter = std::make_unique<WebcamWriter>(
        *movies, newName(QStringLiteral("pictavia-camera-"), QStringLiteral(".mov")), m_options.fps);
    feed->setHandler([this](const QImage& frame, qint64 time) {
        if (m_paused) return;
        const qint64 start = m_sessionClock;
        m_webcamWriter->append(frame, time, start < 0 ? std::nullopt : std::optional(start));
    });
}

void ScreenRecorder::stopAudio() {
    // Every track ends at the same moment, whichever source is stopped first.
    const qint64 now = platform::AudioSource::now();
    for (const auto& source : m_audio)
        source->stopAt(now);
}

void ScreenRecorder::meter(const SampleQueue::Item& item, qint64& lastEmit) {
    if (item.track != m_meteredTrack || item.time - lastEmit < 80'000) return;
    lastEmit = item.time;
    float peak = 0;
    for (const float sample : item.samples)
        peak = std::max(peak, std::abs(sample));
    QMetaObject::invokeMethod(
        this, [this, peak = std::min(peak, 1.0f)] { emit audioLevel(peak); }, Qt::QueuedConnection);
}

void ScreenRecorder::encodeFrames() {
    const qint64 frameDuration = 1'000'000 / (m_isGIF ? m_options.gifFPS : m_options.fps);
    std::optional<qint64> sessionStart;
    std::optional<qint64> lastTime;
    qint64 offset = 0; // the paused time taken out
    int gifFrames = 0;
    qint64 lastLevel = 0;
    while (const auto item = m_queue->pop()) {
        if (!item->isFrame()) {
            meter(*item, lastLevel);
            // Sound before the first frame has no place in the movie.
            if (!sessionStart || !m_encoderError.isEmpty() || m_cancelled) continue;
            const qint64 time = item->time - offset - *sessionStart;
            if (time < 0) continue;
            const int frames = int(item->samples.size()) / (m_options.monoAudio ? 1 : 2);
            if (const auto added = m_movie->addAudio(item->track, item->samples.data(), frames, time); !added)
                m_encoderError = added.error().message;
            continue;
        }
        // The first frame after a pause follows the last one before it by one frame.
        if (item->afterPause && lastTime)
            offset += std::max<qint64>(0, item->time - *lastTime - frameDuration);
        lastTime = item->time;
        if (!m_encoderError.isEmpty() || m_cancelled) continue;
        const qint64 time = item->time - offset;
        if (m_isGIF) {
            if (gifFrames >= gifMaxFrames) continue;
            const QImage frame = item->frame.scaled(m_size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
            if (!frame.save(m_output + u'/' + GIFEncoder::frameName(gifFrames), "JPEG",
                            GIFEncoder::frameQuality)) {
                m_encoderError = QStringLiteral("Cannot write the frames to %1").arg(m_output);
                continue;
            }
            ++gifFrames;
            QMetaObject::invokeMethod(
                this, [this, gifFrames] { emit gifFramesChanged(gifFrames); }, Qt::QueuedConnection);
        } else {
            if (!sessionStart) sessionStart = time;
            m_sessionClock = *sessionStart + offset;
            if (const auto added = m_movie->addVideo(item->frame, time - *sessionStart); !added)
                m_encoderError = added.error().message;
        }
    }
    if (m_movie && !m_cancelled && m_encoderError.isEmpty())
        if (const auto finished = m_movie->finish(); !finished) m_encoderError = finished.error().message;
    m_movie.reset();
}

void ScreenRecorder::pause() {
    if (m_state != State::recording) return;
    m_paused = true;
    m_accumulated += double(m_activeSince.elapsed()) / 1000.0;
    setState(State::paused);
}

void ScreenRecorder::resume() {
    if (m_state != State::paused) return;
    m_needsOffsetRecalc = true;
    m_paused = false;
    m_activeSince.restart();
    setState(State::recording);
}

void ScreenRecorder::stop() {
    finish(false, false);
}

void ScreenRecorder::cancel(bool silent) {
    finish(true, silent);
}

void ScreenRecorder::stopAndWait(Finished done) {
    waitForFinish(std::move(done));
    stop();
}

void ScreenRecorder::waitForFinish(Finished done) {
    if (m_state == State::idle) return done(std::nullopt);
    m_waiters.append(std::move(done));
}

void ScreenRecorder::finish(bool cancelled, bool silent) {
    if (m_state != State::recording && m_state != State::paused) return;
    if (m_state == State::recording) m_accumulated += double(m_activeSince.elapsed()) / 1000.0;
    setState(State::stopping);
    m_cancelled = cancelled;
    m_stream->stop();
    m_tracked = m_companions->stop();
    m_companions.reset();
    DisplaySleep::allow(std::exchange(m_sleepAssertion, 0));
    PostCaptureAction::recordingStopped();
    // The sound still on its way is waited for, and the encoder drains the queue and completes
    // the file, off the GUI thread.
    QtConcurrent::run([this] {
        stopAudio();
        m_queue->close();
        m_encoder.join();
    }).then(this, [this, cancelled, silent] {
        m_stream.reset();
        const bool withSound = !m_audio.empty();
        m_audio.clear();
        const QString output = m_output;
        if (cancelled) {
            if (!silent) Toast::show(QStringLiteral("Recording discarded"), toastSeconds);
            removeOutput(output);
            return notifyFinished(std::nullopt);
        }
        if (!m_encoderError.isEmpty()) {
            Toast::show(QStringLiteral("Recording failed: ") + m_encoderError, toastSeconds);
            return notifyFinished(std::nullopt);
        }
        if (!m_isGIF) return levelVoice(output, withSound);
        Toast::show(QStringLiteral("Encoding GIF…"), toastSeconds);
        const QString gif = newName(QStringLiteral("pictavia-"), QStringLiteral(".gif"));
        QtConcurrent::run([output, gif, fps = m_options.gifFPS, quality = m_options.gifQuality] {
            return GIFEncoder::encode(output, fps, gif, quality);
        }).then(this, [this, gif](bool encoded) {
            if (!encoded) {
                Toast::show(QStringLiteral("GIF encoding failed"), toastSeconds);
                return notifyFinished(std::nullopt);
            }
            DeliveryOptions options = m_options.delivery;
            options.announcement = QStringLiteral("GIF saved to history");
            const auto delivered = OutputPipeline::deliverMedia(gif, true, m_context, options);
            notifyFinished(delivered ? std::optional(delivered->file()) : std::nullopt);
        });
    });
}

void ScreenRecorder::levelVoice(const QString& output, bool withSound) {
    m_cleanVoice.reset();
    if (!m_options.cleanVoice || !withSound) return finishWebcam(output);
    QtConcurrent::run([output, mono = m_options.monoAudio] {
        auto levelled = VoiceLeveler::process(output, mono, true);
        if (!levelled) {
            qCWarning(lcPictavia, "Pictavia: voice levelling skipped: %s",
                      qPrintable(levelled.error().message));
            return std::optional<QString>();
        }
        return *levelled;
    }).then(this, [this, output](const std::optional<QString>& cleaned) {
        m_cleanVoice = cleaned;
        finishWebcam(output);
    });
}

void ScreenRecorder::finishWebcam(const QString& output) {
    if (!m_webcamWriter) return deliverMovie(output, std::nullopt);
    m_webcamWriter->finish().then(
        this, [this, output](const std::optional<QString>& camera) { deliverMovie(output, camera); });
}

void ScreenRecorder::deliverMovie(const QString& output, const std::optional<QString>& camera) {
    const bool burnIn = camera && !m_options.studio && m_tracked.webcam;
    QtConcurrent::run([output, camera, burnIn, info = m_tracked.webcam] {
        if (auto& rewriter = platform::services().movieRewriter; burnIn && rewriter)
            WebcamComposer(*rewriter).drawInto(output, *camera, *info);
    }).then(this, [this, output, camera] {
        const auto delivered = OutputPipeline::deliverMedia(output, false, m_context, m_options.delivery);
        if (delivered && m_options.studio) {
            saveTimeline(delivered->historyFile, camera);
        } else {
            if (camera) QFile::remove(*camera);
            if (m_cleanVoice) QFile::remove(*m_cleanVoice);
        }
        m_cleanVoice.reset();
        notifyFinished(delivered ? std::optional(delivered->file()) : std::nullopt);
        // The history's copy: the one its timeline and camera movie are kept beside.
        if (delivered && m_options.studio && m_options.openEditorAfterStudio && m_openStudioEditor)
            m_openStudioEditor(delivered->historyFile);
    });
}

void ScreenRecorder::saveTimeline(const QString& movie, const std::optional<QString>& camera) {
    if (camera) TimelineStore::keep(*camera, QStringLiteral("camera"), movie);
    // The video editor finds the cleaned voice there.
    if (m_cleanVoice) TimelineStore::keep(*m_cleanVoice, QStringLiteral("clean"), movie);
    RecordingTimeline timeline;
    timeline.studio = true;
    timeline.clicks = m_tracked.clicks;
    timeline.clicksTracked = m_tracked.clicksTracked;
    timeline.cursor = m_tracked.cursor.samples;
    timeline.cursorShapes = m_tracked.cursor.shapes;
    timeline.areaWidth = m_sourcePixels.width();
    timeline.areaHeight = m_sourcePixels.height();
    timeline.microphone = m_micRecorded;
    timeline.webcam = m_tracked.webcam;
    if (const auto saved = TimelineStore::save(timeline, movie); !saved)
        Toast::show(QStringLiteral("Recording failed: ") + saved.error().message, toastSeconds);
}

void ScreenRecorder::notifyFinished(const std::optional<QString>& file) {
    RecoveryMarker::remove();
    RecoveryMarker::cleanLeftovers();
    m_queue.reset();
    m_webcamWriter.reset();
    setState(State::idle);
    for (const Finished& done : std::exchange(m_waiters, {}))
        done(file);
}

void ScreenRecorder::recoverIfNeeded() {
    const auto marker = RecoveryMarker::read();
    if (!marker) return RecoveryMarker::cleanLeftovers();
    const auto deliver = [](const QString& file, bool gif) {
        DeliveryOptions options;
        options.announcement = QStringLiteral("A recording cut off last time was saved to history");
        OutputPipeline::deliverMedia(file, gif, {}, options);
    };
    if (marker->kind == u"movie") {
        auto& media = platform::services().media;
        const auto info = media ? media->info(marker->path) : Result<platform::MediaInfo>(Error{});
        if (info && info->duration > 0) deliver(marker->path, false);
        RecoveryMarker::remove();
        return RecoveryMarker::cleanLeftovers();
    }
    const QString gif = newName(QStringLiteral("pictavia-"), QStringLiteral(".gif"));
    QtConcurrent::run([frames = marker->path, fps = marker->fps, gif] {
        return GIFEncoder::encode(frames, fps, gif, GIFQuality::balanced);
    }).then(qApp, [gif, deliver](bool encoded) {
        if (encoded) deliver(gif, true);
        RecoveryMarker::remove();
        RecoveryMarker::cleanLeftovers();
    });
}
