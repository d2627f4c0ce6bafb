#include "video/VideoEditorModel.h"

#include "app/Prefs.h"
#include "app/Toast.h"
#include "capture/OutputPipeline.h"
#include "platform/Platform.h"
#include "video/StudioScene.h"
#include "video/VideoExport.h"

#include <QFileInfo>
#include <QPointer>
#include <QtConcurrent>

#include <algorithm>
#include <cmath>

namespace {

// The preview waits for a quiet moment before it builds a new scene, so dragging a slider
// does not rebuild it for every step.
constexpr int previewQuietMs = 120;
// How often the playhead follows the player.
constexpr int playheadPollMs = 40;
// The shortest range an export keeps.
constexpr double shortestTrim = 0.1;
// Caption edits are saved once the user has paused this long; a pending save also happens
// when the model goes with its window.
constexpr int captionSaveQuietMs = 1000;

} // namespace

VideoEditorModel::VideoEditorModel(QString url, bool withPlayer, QObject* parent)
    : QObject(parent), m_url(std::move(url)) {
    m_previewTask.setSingleShot(true);
    m_previewTask.setInterval(previewQuietMs);
    connect(&m_previewTask, &QTimer::timeout, this, [this] {
        m_scene = makeScene();
        emit sceneChanged();
    });
    m_captionSaveTask.setSingleShot(true);
    m_captionSaveTask.setInterval(captionSaveQuietMs);
    connect(&m_captionSaveTask, &QTimer::timeout, this, [this] { (void)saveCaptions(); });
    load();
    if (withPlayer && m_loadError.isEmpty()) {
        if (auto& players = platform::services().moviePlayers) {
            if (auto opened = players->open(m_url)) m_player = std::move(opened).value();
        }
    }
    if (m_player) {
        m_timeObserver.setInterval(playheadPollMs);
        connect(&m_timeObserver, &QTimer::timeout, this, [this] {
            if (!m_player->isPlaying()) return;
            const double now = m_player->position();
            if (std::abs(now - m_playhead) < 1e-6) return;
            m_playhead = now;
            emit playheadChanged(now);
        });
        m_timeObserver.start();
    }
    m_scene = makeScene();
}

VideoEditorModel::~VideoEditorModel() {
    *m_cancelExport = true;
    *m_cancelTranscription = true;
    if (m_captionSaveTask.isActive()) (void)saveCaptions();
    m_export.waitForFinished();
    m_transcription.waitForFinished();
}

void VideoEditorModel::load() {
    const QFileInfo file(m_url);
    if (!file.isFile()) {
        m_loadError = QStringLiteral("“%1” does not exist.").arg(file.fileName());
        return;
    }
    m_sourceBytes = file.size();
    auto& media = platform::services().media;
    if (!media) {
        m_loadError = QStringLiteral("Movies cannot be read on this machine.");
        return;
    }
    const auto info = media->info(m_url);
    if (!info) {
        m_loadError = info.error().message;
        return;
    }
    m_duration = info->duration;
    m_videoSize = info->size;
    m_hasAudio = info->hasAudio;
    m_trimEnd = m_duration;

    // A damaged timeline costs the studio extras, never the movie.
    if (auto timeline = TimelineStore::load(m_url); timeline && timeline->has_value()) {
        m_timeline = std::move(**timeline);
        m_clicks = m_timeline->clicks;
        m_clicksTracked = m_timeline->clicksTracked;
        m_captions = m_timeline->captions;
        if (m_timeline->captionsLanguage && !m_timeline->captionsLanguage->isEmpty())
            m_captionLanguage = *m_timeline->captionsLanguage;
        // A studio recording has no system pointer in its pictures: it always gets a drawn one.
        m_style.drawPointer = m_timeline->studio && !m_timeline->cursor.isEmpty();
    }
    const QString camera = TimelineStore::sidePath(m_url, QStringLiteral("camera"), QStringLiteral("mov"));
    if (QFileInfo::exists(camera)) m_webcamURL = camera;
    const QString clean = TimelineStore::sidePath(m_url, QStringLiteral("clean"), QStringLiteral("wav"));
    if (QFileInfo::exists(clean)) m_cleanURL = clean;
    m_zoomTrack = ZoomTrack::automatic(m_clicks, m_zoomLevel, m_zoomHold, m_duration);
}

void VideoEditorModel::publish() {
    emit changed();
    refreshPreview();
}

void VideoEditorModel::setTrim(double start, double end) {
    if (m_duration <= 0) return;
    start = std::clamp(start, 0.0, std::max(m_duration - shortestTrim, 0.0));
    end = std::clamp(end, start + shortestTrim, m_duration);
    if (start == m_trimStart && end == m_trimEnd) return;
    m_trimStart = start;
    m_trimEnd = end;
    if (m_player) m_player->setRange(start, end);
    publish();
}

void VideoEditorModel::setMute(bool mute) {
    if (mute == m_mute) return;
    m_mute = mute;
    if (m_player) m_player->setMuted(mute);
    emit changed();
}

void VideoEditorModel::setVolume(double volume) {
    volume = std::clamp(volume, 0.0, 2.0);
    if (volume == m_volume) return;
    m_volume = volume;
    if (m_player) m_player->setVolume(volume);
    emit changed();
}

void VideoEditorModel::setMonoAudio(bool mono) {
    if (mono == m_monoAudio) return;
    m_monoAudio = mono;
    emit changed();
}

void VideoEditorModel::setResolution(Resolution resolution) {
    if (resolution == m_resolution) return;
    m_resolution = resolution;
    emit changed();
}

void VideoEditorModel::setCodec(RecordingCodec codec) {
    if (codec == m_codec) return;
    m_codec = codec;
    emit changed();
}

void VideoEditorModel::setStyle(const StudioStyle& style) {
    if (style == m_style) return;
    m_style = style;
    publish();
}

void VideoEditorModel::setZoomEnabled(bool enabled) {
    if (enabled == m_zoomEnabled) return;
    m_zoomEnabled = enabled;
    publish();
}

void VideoEditorModel::setZoomLevel(double level) {
    level = std::clamp(level, 1.2, 3.0);
    if (level == m_zoomLevel) return;
    m_zoomLevel = level;
    rebuildZoom();
}

void VideoEditorModel::setZoomHold(double hold) {
    hold = std::clamp(hold, 0.3, 6.0);
    if (hold == m_zoomHold) return;
    m_zoomHold = hold;
    rebuildZoom();
}

void VideoEditorModel::setZoomTrack(ZoomTrack track) {
    track.sort();
    if (track == m_zoomTrack) return;
    m_zoomTrack = std::move(track);
    publish();
}

void VideoEditorModel::setCaptions(QList<CaptionLine> captions) {
    std::stable_sort(captions.begin(), captions.end(),
                     [](const CaptionLine& a, const CaptionLine& b) { return a.start < b.start; });
    if (captions == m_captions) return;
    m_captions = std::move(captions);
    publish();
}

void VideoEditorModel::setPlayhead(double seconds) {
    seconds = std::clamp(seconds, 0.0, std::max(m_duration, 0.0));
    if (m_player) m_player->seek(seconds);
    if (seconds == m_playhead) return;
    m_playhead = seconds;
    emit playheadChanged(seconds);
}

void VideoEditorModel::rebuildZoom() {
    if (m_duration <= 0) return;
    m_zoomTrack = ZoomTrack::automatic(m_clicks, m_zoomLevel, m_zoomHold, m_duration);
    publish();
}

void VideoEditorModel::addZoomAtPlayhead() {
    const double now = m_player ? m_player->position() : m_playhead;
    QPointF center(0.5, 0.5);
    QList<ClickMark> byTime = m_clicks;
    std::stable_sort(byTime.begin(), byTime.end(),
                     [](const ClickMark& a, const ClickMark& b) { return a.time < b.time; });
    double nearest = std::numeric_limits<double>::infinity();
    for (const ClickMark& click : byTime) {
        // Strictly nearer only, so that of two clicks as near the earlier one wins.
        if (const double distance = std::abs(click.time - now); distance < nearest) {
            nearest = distance;
            center = {click.x, click.y};
        }
    }
    ZoomKeyframe frame;
    frame.time = std::max(now - 0.2, 0.0);
    frame.hold = m_zoomHold;
    frame.level = m_zoomLevel;
    frame.center = center;
    m_zoomTrack.keyframes.append(frame);
    m_zoomTrack.sort();
    publish();
}

void VideoEditorModel::removeZoom(const QUuid& id) {
    if (m_zoomTrack.keyframes.removeIf([&](const ZoomKeyframe& frame) { return frame.id == id; }) > 0)
        publish();
}

bool VideoEditorModel::isStyled() const {
    return makeScene()->isStyled();
}

std::shared_ptr<const StudioScene> VideoEditorModel::makeScene() const {
    StudioInputs inputs;
    inputs.videoSize = m_videoSize;
    inputs.duration = m_duration;
    if (zoomActive()) inputs.zoom = m_zoomTrack;
    inputs.timeline = m_timeline;
    inputs.captions = m_captions;
    inputs.hasCamera = hasWebcam();
    return std::make_shared<const StudioScene>(m_style, std::move(inputs));
}

void VideoEditorModel::refreshPreview() {
    m_previewTask.start();
}

QFuture<Result<QString>> VideoEditorModel::exportFile(std::optional<GifSettings> gif,
                                                      std::function<bool(double)> progress) {
    auto scene = makeScene();
    if (!scene->isStyled()) scene.reset();
    const auto cancel = m_cancelExport;
    *cancel = false;
    auto reportAndGo = [cancel, progress = std::move(progress)](double done) {
        return !*cancel && (!progress || progress(done));
    };
    if (gif) {
        const GIFQuality quality = gif->quality.value_or(Prefs::gifQuality());
        return QtConcurrent::run([url = m_url, start = m_trimStart, end = m_trimEnd, settings = *gif, quality,
                                  scene, reportAndGo]() -> Result<QString> {
            return VideoExport::gifFrom(url, start, end, settings.fps, settings.maxWidth, quality, scene,
                                        reportAndGo);
        });
    }
    VideoExport::TrimOptions options;
    options.start = m_trimStart;
    options.end = m_trimEnd;
    options.mute = m_mute;
    options.volume = m_volume;
    options.mono = m_monoAudio;
    options.preset = ExportResolutions::preset(m_resolution, m_codec);
    options.studio = scene;
    if (scene && m_style.camera) options.webcam = m_webcamURL;
    return QtConcurrent::run([url = m_url, options, reportAndGo]() -> Result<QString> {
        return VideoExport::exportTrimmed(url, options, reportAndGo);
    });
}

void VideoEditorModel::exportMP4() {
    exportAndDeliver(false);
}

void VideoEditorModel::exportGIF() {
    exportAndDeliver(true);
}

void VideoEditorModel::setExporting(bool exporting) {
    if (exporting == m_isExporting) return;
    m_isExporting = exporting;
    emit changed();
}

void VideoEditorModel::exportAndDeliver(bool gif) {
    if (m_isExporting || !m_loadError.isEmpty()) return;
    setExporting(true);
    Toast::show(gif ? QStringLiteral("Exporting GIF…") : QStringLiteral("Exporting video…"));
    const QPointer<VideoEditorModel> self(this);
    m_export =
        exportFile(gif ? std::optional<GifSettings>(GifSettings{}) : std::nullopt, [self](double done) {
            QMetaObject::invokeMethod(
                qApp,
                [self, done] {
                    if (self) emit self->exportProgress(done);
                },
                Qt::QueuedConnection);
            return true;
        });
    m_export.then(this, [this, gif](const Result<QString>& written) {
        setExporting(false);
        if (!written) {
            const bool cancelled = written.error().code == VideoExport::Cancelled;
            if (!cancelled) Toast::show(written.error().message);
            emit exportFinished({}, cancelled ? QStringLiteral("Export cancelled") : written.error().message);
            return;
        }
        m_exportedBytes = QFileInfo(*written).size();
        CaptureContext context;
        context.explicitName = QFileInfo(m_url).completeBaseName() + QStringLiteral(" edited");
        const auto delivered = OutputPipeline::deliverMedia(*written, gif, context);
        emit changed();
        if (delivered)
            emit exportFinished(delivered->file(), {});
        else
            emit exportFinished({}, QStringLiteral("The export could not be stored."));
    });
}
