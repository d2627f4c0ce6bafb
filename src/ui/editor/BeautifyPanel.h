#pragma once

#include "editor/BackgroundStyle.h"

#include <QHash>
#include <QImage>
#include <QTimer>
#include <QWidget>

#include <functional>

class EditorModel;
class QCheckBox;
class QLabel;
class QListWidget;
class QPushButton;
class QSlider;
class QToolButton;

namespace ui::editor {

// The beautify drawer: background, padding, corner radius, window shadow and presets.
// Each background choice previews the current image on that style.
class BeautifyPanel : public QWidget {
    Q_OBJECT
public:
    explicit BeautifyPanel(EditorModel* model, QWidget* parent = nullptr);

private:
    QSlider* addSlider(const QString& label, int maximum, QLabel** value);
    void connectBeautifySlider(QSlider* slider, const std::function<void(int)>& apply);
    void chooseBackground(BackgroundStyle style);
    void renderPreviews();
    void syncFromModel();
    void rebuildPresets();
    void saveAsPreset();

    EditorModel* m_model;
    QHash<BackgroundStyle, QToolButton*> m_backgrounds;
    QImage m_thumbnail;
    QTimer m_previewTimer; // coalesces image changes into one round of previews
    QPushButton* m_desktop = nullptr;
    QPushButton* m_customImage = nullptr;
    QSlider* m_padding = nullptr;
    QLabel* m_paddingValue = nullptr;
    QSlider* m_radius = nullptr;
    QLabel* m_radiusValue = nullptr;
    QCheckBox* m_windowShadow = nullptr;
    QListWidget* m_presets = nullptr;
    bool m_undoOpen = false;
};

} // namespace ui::editor
