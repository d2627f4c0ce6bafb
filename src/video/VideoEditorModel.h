#pragma once

#include "app/PreferenceEnums.h"
#include "common/Result.h"
#include "recording/TrackingTypes.h"
#include "video/CaptionLine.h"
#include "video/Captions.h"
#include "video/ExportResolution.h"
#include "video/RecordingTimeline.h"
#include "video/StudioStyle.h"
#include "video/ZoomTrack.h"

#include <QFuture>
#include <QObject>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QUuid>

#include <atomic>
#include <memory>
#include <optional>

class StudioScene;
namespace platform {
class MoviePlayer;
}

// The document behind one video editor: the movie, the range kept, the sound and export
// settings, the studio look, the clicks and pointer track recorded with it, the zoom moves
// made from them, and the captions. The window, the command line and the agent tools all
// work through it.
class VideoEditorModel : public QObject {
    Q_OBJECT

public:
    using Resolution = ExportResolution;
    // The edge of a caption line that nudge() moves.
    enum class CaptionEdge { start, end };

    // Reads the movie's length and size and the timeline beside it. Without a player
    // (`withPlayer` false, or no way to play on this machine) everything but the preview works.
    explicit VideoEditorModel(QString url, bool withPlayer = true, QObject* parent = nullptr);
    ~VideoEditorModel() override;

    // Why the movie could not be opened; empty when it was.
    const QString& loadError() const { return m_loadError; }

    const QString& url() const { return m_url; }
    platform::MoviePlayer* player() const { return m_player.get(); }
    double duration() const { return m_duration; }
    double trimStart() const { return m_trimStart; }
    double trimEnd() const { return m_trimEnd; }
    bool mute() const { return m_mute; }
    double volume() const { return m_volume; }
    bool monoAudio() const { return m_monoAudio; }
    Resolution resolution() const { return m_resolution; }
    RecordingCodec codec() const { return m_codec; }
    bool isExporting() const { return m_isExporting; }
    qint64 sourceBytes() const { return m_sourceBytes; }
    std::optional<qint64> exportedBytes() const { return m_exportedBytes; }
    const StudioStyle& style() const { return m_style; }
    const QList<ClickMark>& clicks() const { return m_clicks; }
    bool zoomEnabled() const { return m_zoomEnabled; }
    double zoomLevel() const { return m_zoomLevel; }
    double zoomHold() const { return m_zoomHold; }
    const ZoomTrack& zoomTrack() const { return m_zoomTrack; }
    QSize videoSize() const { return m_videoSize; }
    const QList<CaptionLine>& captions() const { return m_captions; }
    double playhead() const { return m_playhead; }
    bool transcribing() const { return m_transcribing; }
    const QString& captionLanguage() const { return m_captionLanguage; }
    const QStringList& captionLanguages() const { return m_captionLanguages; }
    bool hasTimeline() const { return m_timeline.has_value(); }
    bool clicksTracked() const { return m_clicksTracked; }
    const std::optional<RecordingTimeline>& timeline() const { return m_timeline; }
    const QString& webcamURL() const { return m_webcamURL; }
    // The recording's voice, cleaned, when the recorder kept it beside the movie.
    const QString& cleanURL() const { return m_cleanURL; }
    bool hasAudio() const { return m_hasAudio; }

    void setTrim(double start, double end); // clamped to the movie, at least 0.1 s kept
    void setMute(bool mute);
    void setVolume(double volume); // 0...2
    void setMonoAudio(bool mono);
    void setResolution(Resolution resolution);
    void setCodec(RecordingCodec codec);
    void setStyle(const StudioStyle& style);
    void setZoomEnabled(bool enabled);
    void setZoomLevel(double level);    // 1.2...3, the automatic zoom rebuilt
    void setZoomHold(double hold);      // 0.3...6, the automatic zoom rebuilt
    void setZoomTrack(ZoomTrack track); // moves placed or dragged by hand
    void setCaptions(QList<CaptionLine> captions);
    void setCaptionLanguage(const QString& language);
    // Moves the preview to `seconds` (the player follows).
    void setPlayhead(double seconds);

    // The automatic zoom made again from the clicks.
    void rebuildZoom();
    void addZoomAtPlayhead();
    void removeZoom(const QUuid& id);
    bool zoomActive() const { return m_zoomEnabled && !m_zoomTrack.keyframes.isEmpty(); }

    // Captions. Every edit below refreshes the preview and schedules the save (captionsEdited).
    //
    // Recognises the speech in the background in captionLanguage(), reporting
    // transcribeProgress; the lines found replace the captions, are saved with their language
    // and switched on in the look. A failure is shown as it stands. Ends with
    // transcribeFinished.
    void transcribe();
    void cancelTranscription() { *m_cancelTranscription = true; }
    // SubRip subtitles of the kept range written to `file`, shown as "Captions saved" or
    // "Could not save captions: " and why.
    Result<bool> exportSRT(const QString& file);
    // The "[m:ss] text" transcript onto the clipboard.
    void copyTranscript();
    // The languages recognition can run in here, and the one chosen: the language of the
    // captions saved with the recording, else en-US.
    void loadCaptionLanguages();
    // Replaces every `find` (ignoring case) in the lines' text; how many were replaced.
    int replaceInCaptions(const QString& find, const QString& with);
    // A new, empty line at the playhead; its id.
    QUuid addCaptionAtPlayhead();
    void setCaptionText(const QUuid& id, const QString& text);
    void removeCaption(const QUuid& id);
    // Two lines from one, divided between words; false when it holds a single word.
    bool splitCaption(const QUuid& id);
    // The line and the one after it as one; false for the last line.
    bool mergeWithNext(const QUuid& id);
    // Moves one edge of a line by `by` seconds, within the lines beside it and the movie.
    bool nudge(const QUuid& id, CaptionEdge edge, double by);
    // Writes the captions into the recording's timeline now, the pending save with them;
    // a failure shows "Could not save captions: " and why.
    Result<bool> saveCaptions();
    // Saves the captions after a quiet second; a pending save also happens when the model goes.
    void captionsEdited();
    // The line under the playhead.
    std::optional<QUuid> currentCaptionID() const;

    bool isStyled() const;
    bool hasWebcam() const { return !m_webcamURL.isEmpty(); }

    // The scene the preview draws now; rebuilt shortly after each change of look, zoom or trim.
    std::shared_ptr<const StudioScene> scene() const { return m_scene; }
    // A scene of the current settings, made now.
    std::shared_ptr<const StudioScene> makeScene() const;
    // Rebuilds the preview's scene after a short quiet time.
    void refreshPreview();

    // A GIF's frame rate and width (0: the "gifFPS" and "gifMaxWidth" preferences) and
    // quality (none: the "gifQuality" preference).
    struct GifSettings {
        int fps = 0;
        int maxWidth = 0;
        std::optional<GIFQuality> quality;
    };
    // Writes the edited movie (a GIF with `gif`) to a temporary file in the background and
    // gives its path; nothing is delivered. `progress` is called from the worker thread.
    QFuture<Result<QString>> exportFile(std::optional<GifSettings> gif,
                                        std::function<bool(double)> progress = {});
    // What the window's buttons do: export in the background, showing "Exporting video…" or
    // "Exporting GIF…", and deliver the result into the history as a new capture.
    void exportMP4();
    void exportGIF();
    void cancelExport() { *m_cancelExport = true; }

signals:
    void changed(); // any field but the playhead
    void playheadChanged(double seconds);
    void sceneChanged();              // the preview's scene was rebuilt
    void exportProgress(double done); // 0...1, on the GUI thread
    // An export ended: the delivered file, or the sentence saying why there is none.
    void exportFinished(const QString& file, const QString& error);
    void transcribeProgress(double done); // 0...1, on the GUI thread
    // A transcription ended: empty when the captions came, else why there are none.
    void transcribeFinished(const QString& error);

private:
    void load();
    void exportAndDeliver(bool gif);
    void setExporting(bool exporting);
    void setTranscribing(bool transcribing);
    // Replaces the lines after an edit: published, saved after a quiet time.
    void editCaptions(QList<CaptionLine> captions);
    qsizetype captionIndex(const QUuid& id) const;
    void publish();

    QString m_url;
    QString m_loadError;
    std::unique_ptr<platform::MoviePlayer> m_player;
    double m_duration = 0;
    double m_trimStart = 0;
    double m_trimEnd = 0;
    bool m_mute = false;
    double m_volume = 1.0;
    bool m_monoAudio = false;
    Resolution m_resolution = Resolution::original;
    RecordingCodec m_codec = RecordingCodec::h264;
    bool m_isExporting = false;
    qint64 m_sourceBytes = 0;
    std::optional<qint64> m_exportedBytes;
    StudioStyle m_style;
    QList<ClickMark> m_clicks;
    bool m_zoomEnabled = false;
    double m_zoomLevel = 2.0;
    double m_zoomHold = 1.6;
    ZoomTrack m_zoomTrack;
    QSize m_videoSize;
    QList<CaptionLine> m_captions;
    bool m_transcribing = false;
    QString m_captionLanguage = Captions::defaultLanguage;
    QStringList m_captionLanguages;
    double m_playhead = 0;
    std::optional<RecordingTimeline> m_timeline;
    bool m_clicksTracked = false;
    QString m_webcamURL;
    QString m_cleanURL;
    bool m_hasAudio = false;
    std::shared_ptr<const StudioScene> m_scene;
    QTimer m_previewTask;
    QTimer m_timeObserver;
    // Shared with the worker, which may outlive a closed window by a moment.
    std::shared_ptr<std::atomic<bool>> m_cancelExport = std::make_shared<std::atomic<bool>>(false);
    QFuture<Result<QString>> m_export;
    QTimer m_captionSaveTask;
    std::shared_ptr<std::atomic<bool>> m_cancelTranscription = std::make_shared<std::atomic<bool>>(false);
    QFuture<Result<Captions::Transcription>> m_transcription;
};
