#pragma once

#include "video/CaptionLine.h"

#include <QUuid>
#include <QWidget>

#include <optional>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QSlider;
class QTableWidget;
class VideoEditorModel;

namespace ui::video {

// The captions of the movie being edited: transcribing them, the lines in time order with the
// one under the playhead highlighted, editing, timing and finding in them, their look, and
// taking them out as a transcript or SubRip file. All of it goes through the model.
class VideoCaptionPanel : public QWidget {
    Q_OBJECT
public:
    explicit VideoCaptionPanel(VideoEditorModel* model, QWidget* parent = nullptr);

    // The line the buttons act on: the one selected, else the one under the playhead.
    std::optional<QUuid> chosenLine() const;

private:
    QWidget* buildTranscribe();
    QWidget* buildLook();
    QWidget* buildLines();
    QWidget* buildFind();
    void transcribe();
    void exportSRT();
    void addLine();
    void removeLine();
    void splitLine();
    void mergeLine();
    void nudge(bool start, double by);
    void replaceAll();
    void fillLines();
    void followPlayhead();
    void select(const QUuid& id);
    void syncButtons();
    void sync();

    VideoEditorModel* m_model;
    QComboBox* m_language = nullptr;
    QPushButton* m_transcribe = nullptr;
    QProgressBar* m_progress = nullptr;
    QPushButton* m_cancel = nullptr;
    QLabel* m_status = nullptr;
    QCheckBox* m_show = nullptr;
    QComboBox* m_look = nullptr;
    QComboBox* m_color = nullptr;
    QComboBox* m_position = nullptr;
    QSlider* m_size = nullptr;
    QTableWidget* m_lines = nullptr;
    QList<QPushButton*> m_lineButtons; // act on one line
    QPushButton* m_merge = nullptr;
    QLineEdit* m_find = nullptr;
    QLineEdit* m_replace = nullptr;
    QLabel* m_replaced = nullptr;
    QPushButton* m_copy = nullptr;
    QPushButton* m_export = nullptr;
    QList<CaptionLine> m_shown;     // what the table holds
    std::optional<QUuid> m_current; // the line highlighted as under the playhead
    bool m_syncing = false;
};

} // namespace ui::video
