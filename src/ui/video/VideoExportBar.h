#pragma once

#include <QWidget>

class QCheckBox;
class QComboBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QSlider;
class QStackedWidget;
class VideoEditorModel;

namespace ui::video {

// How the edited movie is written: MP4 or GIF, its size, codec and sound, the Export
// button, and while exporting a progress bar with Cancel. The sizes before and after show
// what the export made of the file.
class VideoExportBar : public QWidget {
    Q_OBJECT
public:
    explicit VideoExportBar(VideoEditorModel* model, QWidget* parent = nullptr);

    void startExport();

private:
    void sync();
    void showFinished();

    VideoEditorModel* m_model;
    QComboBox* m_format = nullptr;
    QComboBox* m_resolution = nullptr;
    QComboBox* m_codec = nullptr;
    QCheckBox* m_mute = nullptr;
    QSlider* m_volume = nullptr;
    QLabel* m_volumeValue = nullptr;
    QCheckBox* m_mono = nullptr;
    QLabel* m_sizes = nullptr;
    QStackedWidget* m_action = nullptr;
    QPushButton* m_export = nullptr;
    QProgressBar* m_progress = nullptr;
    QPushButton* m_cancel = nullptr;
    bool m_syncing = false;
};

} // namespace ui::video
