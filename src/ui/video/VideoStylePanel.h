#pragma once

#include "editor/BackgroundStyle.h"
#include "video/StudioStyle.h"

#include <QHash>
#include <QWidget>

#include <functional>

class QCheckBox;
class QComboBox;
class QFormLayout;
class QLabel;
class QPushButton;
class QSlider;
class QVBoxLayout;
class VideoEditorModel;

namespace ui::editor {
class ColorSwatch;
}

namespace ui::video {

// The studio look of the movie being edited: background, frame, pointer, zoom and camera.
// Every change goes to the model at once; the preview follows shortly after.
class VideoStylePanel : public QWidget {
    Q_OBJECT
public:
    explicit VideoStylePanel(VideoEditorModel* model, QWidget* parent = nullptr);

private:
    using Edit = std::function<void(StudioStyle&)>;

    QVBoxLayout* section(const QString& title);
    QSlider* slider(QFormLayout* form, const QString& label, int minimum, int maximum,
                    std::function<QString(int)> text, std::function<void(int)> apply);
    QCheckBox* check(QVBoxLayout* layout, const QString& label, std::function<void(bool)> apply);
    QComboBox* choice(QFormLayout* form, const QString& label, const QStringList& items,
                      std::function<void(int)> apply);
    void edit(const Edit& change);
    void chooseBackground(BackgroundStyle background);
    void chooseImage();
    void sync();

    VideoEditorModel* m_model;
    QVBoxLayout* m_sections = nullptr;
    QHash<BackgroundStyle, editor::ColorSwatch*> m_swatches;
    QPushButton* m_image = nullptr;
    QSlider* m_padding = nullptr;
    QSlider* m_radius = nullptr;
    QCheckBox* m_shadow = nullptr;
    QComboBox* m_shape = nullptr;
    QComboBox* m_framing = nullptr;
    QCheckBox* m_drawPointer = nullptr;
    QSlider* m_pointerSize = nullptr;
    QSlider* m_smoothing = nullptr;
    QCheckBox* m_ripples = nullptr;
    QCheckBox* m_zoom = nullptr;
    QSlider* m_zoomLevel = nullptr;
    QSlider* m_zoomHold = nullptr;
    QCheckBox* m_follow = nullptr;
    QWidget* m_cameraSection = nullptr;
    QCheckBox* m_camera = nullptr;
    QComboBox* m_cameraPosition = nullptr;
    QSlider* m_cameraSize = nullptr;
    QComboBox* m_cameraShape = nullptr;
    QCheckBox* m_cameraBlur = nullptr;
    QList<QWidget*> m_pointerControls; // only with a recorded pointer track
    bool m_syncing = false;
};

} // namespace ui::video
