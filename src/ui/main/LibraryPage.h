#pragma once

#include <QWidget>

class HistoryIndex;
class QAction;
class QComboBox;
class QLabel;
class QLineEdit;
class QListView;
class QStackedLayout;

namespace ui {

class LibraryModel;

// Every capture of the history as a grid, newest first: searched by the words inside the
// pictures as one types, narrowed by kind and date, and acted on one at a time or as a
// selection.
class LibraryPage : public QWidget {
    Q_OBJECT
public:
    explicit LibraryPage(HistoryIndex& index, QWidget* parent = nullptr);

    // Puts the cursor in the search field.
    void focusSearch();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildActions();
    void applyQuery();
    void showContextMenu(const QPoint& position);
    void updateState();

    QStringList selectedNames() const;
    // The selection is non-empty and every capture in it is kept.
    bool allKept(const QStringList& names) const;
    QStringList selectedPaths() const;

    void openSelection();
    void revealSelection();
    void copySelection();
    void toggleKeep();
    void renameSelection();
    void deleteSelection();

    HistoryIndex& m_index;
    LibraryModel* m_model;
    QLineEdit* m_search;
    QComboBox* m_kind;
    QComboBox* m_span;
    QLabel* m_count;
    QListView* m_grid;
    QLabel* m_empty;
    QStackedLayout* m_body;
    QStringList m_selectionBeforeReload;

    QAction* m_open = nullptr;
    QAction* m_reveal = nullptr;
    QAction* m_copy = nullptr;
    QAction* m_keep = nullptr;
    QAction* m_rename = nullptr;
    QAction* m_delete = nullptr;
    QAction* m_pdf = nullptr;
    QAction* m_zip = nullptr;
    QAction* m_styled = nullptr;
    QAction* m_share = nullptr;
};

} // namespace ui
