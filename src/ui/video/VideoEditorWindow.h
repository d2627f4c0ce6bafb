#pragma once

#include <QMainWindow>

#include <memory>

namespace platform {
class MoviePlayer;
}
class QLabel;
class QPushButton;
class VideoEditorModel;

namespace ui::video {

class VideoCaptionPanel;
class VideoExportBar;
class VideoPreview;
class VideoStylePanel;
class VideoTimeline;

// One movie being edited: the styled preview with its transport, the timeline with trim
// handles, clicks and zooms, the look and the captions on the right and the export along the bottom, all
// over one VideoEditorModel the window owns. Deletes itself on close.
class VideoEditorWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit VideoEditorWindow(std::unique_ptr<VideoEditorModel> model, QWidget* parent = nullptr);
    ~VideoEditorWindow() override;

    VideoEditorModel* model() const { return m_model.get(); }
    void togglePlaying();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    QWidget* buildTransport();
    void connectPlayer();
    void openCamera();
    void step(double seconds);
    void addZoom();
    void syncTransport();
    void syncTime();

    std::unique_ptr<VideoEditorModel> m_model;
    // The camera movie of a studio recording, played silently alongside for the bubble.
    std::unique_ptr<platform::MoviePlayer> m_camera;
    VideoPreview* m_preview = nullptr;
    VideoTimeline* m_timeline = nullptr;
    VideoStylePanel* m_style = nullptr;
    VideoCaptionPanel* m_captions = nullptr;
    VideoExportBar* m_export = nullptr;
    QPushButton* m_play = nullptr;
    QLabel* m_time = nullptr;
    QPushButton* m_addZoom = nullptr;
    QPushButton* m_removeZoom = nullptr;
};

// Opens the movie in a video editor (raising the one already open on it); the sentence that
// says why not when the movie cannot be read.
VideoEditorWindow* openVideoEditor(const QString& file, QString* error = nullptr);

} // namespace ui::video
