#pragma once

#include <QWidget>

class HistoryIndex;

namespace ui {

// Where the main window opens: the capture flows with their hotkeys, the latest captures,
// and ways into the editor.
class HomePage : public QWidget {
    Q_OBJECT
public:
    explicit HomePage(HistoryIndex& index, QWidget* parent = nullptr);

signals:
    void showLibrary();

private:
    // Gets the window out of the picture, then starts the capture.
    void capture(const QString& command);
};

} // namespace ui
