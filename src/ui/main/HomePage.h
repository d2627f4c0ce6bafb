#pragma once

#include <QWidget>

class HistoryIndex;
class QListView;
class QStackedWidget;

namespace ui {

class LibraryModel;

// Where the main window opens: the capture flows with their hotkeys, the latest captures,
// and ways into the editor.
class HomePage : public QWidget {
    Q_OBJECT
public:
    explicit HomePage(HistoryIndex& index, QWidget* parent = nullptr);

signals:
    void showLibrary();

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    // What stands where the latest captures go while there are none.
    QWidget* makeEmptyState();
    // Shows the tiles that fit the width whole, or the empty state.
    void fitRecent();

    // Gets the window out of the picture, then starts the capture.
    void capture(const QString& command);

    LibraryModel* m_model;
    QListView* m_recent;
    QStackedWidget* m_recentStack;
};

} // namespace ui
