#pragma once

#include <QImage>
#include <QMainWindow>
#include <QString>

#include <array>
#include <functional>
#include <memory>

class EditorModel;
class QAction;
class QActionGroup;
class QLabel;
class QMenu;
class QProgressBar;
class QPushButton;
class QToolButton;

namespace ui {

namespace editor {
class EditorCanvas;
}

// One image being edited: the tools, the canvas, the style bar, the beautify drawer and
// the commands, all over one EditorModel that the window owns. Deletes itself on close,
// after keeping the edits as a project where that is wanted.
class EditorWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit EditorWindow(std::unique_ptr<EditorModel> model, QWidget* parent = nullptr);
    ~EditorWindow() override;

    EditorModel* model() const { return m_model.get(); }

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    QAction* addCommand(QMenu* menu, const QString& text, const QList<QKeySequence>& keys,
                        const std::function<void()>& run);
    void buildTools();
    void buildMenus();
    void buildStatusBar();
    void syncHistory();
    void syncBusy();
    void syncSensitive();
    void syncImageInfo();
    void installPanels();
    void resizeToImage();

    std::unique_ptr<EditorModel> m_model;
    editor::EditorCanvas* m_canvas = nullptr;
    QActionGroup* m_tools = nullptr;
    QAction* m_undo = nullptr;
    QAction* m_redo = nullptr;
    QAction* m_scan = nullptr;
    QAction* m_removeBackground = nullptr;
    QAction* m_beautify = nullptr;
    QAction* m_copy = nullptr;
    QAction* m_save = nullptr;
    std::array<QAction*, 4> m_zoomActions{}; // in, out, fit, actual size
    QProgressBar* m_progress = nullptr;
    QLabel* m_busyLabel = nullptr;
    QLabel* m_sensitiveLabel = nullptr;
    QPushButton* m_redact = nullptr;
    QLabel* m_imageInfo = nullptr;
    QToolButton* m_zoom = nullptr;
};

// Opening editor windows.
namespace Editor {

// A window for a model made elsewhere (a file, the clipboard, a project).
EditorWindow* present(std::unique_ptr<EditorModel> model);
// An image file, or the project kept for it, or an exported project. Null with the reason
// in `error` when it cannot be opened.
EditorWindow* openFile(const QString& path, QString* error);
// A capture just taken. `backdrop` is the desktop behind it, for the Desktop background.
EditorWindow* openImage(const QImage& image, double scale, const QString& sourcePath, bool windowCapture,
                        const QImage& backdrop);

} // namespace Editor

} // namespace ui
