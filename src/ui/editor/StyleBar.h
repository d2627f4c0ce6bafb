#pragma once

#include "editor/Annotation.h"

#include <QWidget>

#include <functional>

class EditorModel;
class QAbstractButton;
class QButtonGroup;
class QCheckBox;
class QComboBox;
class QHBoxLayout;
class QLabel;
class QPushButton;
class QSlider;
class QSpinBox;

namespace ui::editor {

class EditorCanvas;

// The style of new annotations, and of the selected one: colour, width, opacity, shadow,
// font and the tool's own choices. Shows what fits the current tool (or the selected
// annotation's). A change made while something is selected restyles it as one undo step.
class StyleBar : public QWidget {
    Q_OBJECT
public:
    StyleBar(EditorModel* model, EditorCanvas* canvas, QWidget* parent = nullptr);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void layoutRow();
    // What gives way on a bar too narrow for every control: the slider values, then the
    // captions as well.
    enum class Compactness { Full, NoValues, NoCaptions };
    void setCompact(Compactness level);
    void buildPalette();
    void syncFromModel();
    void syncVisibility();
    // Applies `change` to the selected annotation, if any. `recordUndo` false continues
    // the undo step that a slider press opened.
    void restyle(const std::function<void(Annotation&)>& change, bool recordUndo = true);
    void connectSlider(QSlider* slider, const std::function<void(int)>& apply);
    void chooseCustomColor();
    QWidget* group(const QList<QWidget*>& widgets);

    EditorModel* m_model;
    EditorCanvas* m_canvas;
    bool m_undoOpen = false; // a slider drag has recorded its undo step
    QWidget* m_row = nullptr;

    QHBoxLayout* m_paletteLayout = nullptr;
    QWidget* m_palette = nullptr;
    QList<QAbstractButton*> m_swatches;
    QWidget* m_widthGroup = nullptr;
    QSlider* m_width = nullptr;
    QLabel* m_widthValue = nullptr;
    QWidget* m_opacityGroup = nullptr;
    QSlider* m_opacity = nullptr;
    QLabel* m_opacityValue = nullptr;
    QCheckBox* m_shadow = nullptr;
    QWidget* m_fontGroup = nullptr;
    QComboBox* m_font = nullptr;
    QWidget* m_sizeGroup = nullptr;
    QSpinBox* m_size = nullptr;
    QWidget* m_textStyleGroup = nullptr;
    QButtonGroup* m_textStyle = nullptr;
    QWidget* m_blurGroup = nullptr;
    QButtonGroup* m_blurStyle = nullptr;
    QWidget* m_emojiGroup = nullptr;
    QComboBox* m_emoji = nullptr;
    QCheckBox* m_smartHighlight = nullptr;
    QWidget* m_cropGroup = nullptr;
    QComboBox* m_aspect = nullptr;
    QPushButton* m_applyCrop = nullptr;
};

} // namespace ui::editor
