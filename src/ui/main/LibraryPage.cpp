#include "ui/main/LibraryPage.h"

#include "app/QuickActions.h"
#include "app/Toast.h"
#include "editor/ClipboardOpener.h"
#include "history/HistoryBatch.h"
#include "history/HistoryFiles.h"
#include "history/HistoryIndex.h"
#include "ui/ThemeIcons.h"
#include "ui/main/FileManager.h"
#include "ui/main/LibraryModel.h"
#include "ui/main/LibraryTileDelegate.h"

#include <QAction>
#include <QComboBox>
#include <QDir>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QImage>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QResizeEvent>
#include <QStackedLayout>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

namespace ui {
namespace {

// Opening dozens of editors at once is never what was meant.
constexpr int mostEditorsAtOnce = 8;

// The action's name with its key, for the tooltip of an icon-only button.
void describe(QAction* action) {
    const QString keys = action->shortcut().toString(QKeySequence::NativeText);
    action->setToolTip(keys.isEmpty()
                           ? action->text().remove(QStringLiteral("…"))
                           : QStringLiteral("%1 (%2)").arg(action->text().remove(QStringLiteral("…")), keys));
}

} // namespace

LibraryPage::LibraryPage(HistoryIndex& index, QWidget* parent)
    : QWidget(parent), m_index(index), m_model(new LibraryModel(index, this)), m_search(new QLineEdit(this)),
      m_kind(new QComboBox(this)), m_span(new QComboBox(this)), m_count(new QLabel(this)),
      m_grid(new QListView(this)), m_empty(new QLabel(this)), m_body(new QStackedLayout) {
    m_search->setPlaceholderText(tr("Search the words in your captures"));
    m_search->setClearButtonEnabled(true);
    m_search->setAccessibleName(tr("Search"));
    m_kind->addItem(tr("All kinds"), -1);
    m_kind->addItem(tr("Screenshots"), int(HistoryRecord::Kind::Image));
    m_kind->addItem(tr("Movies"), int(HistoryRecord::Kind::Video));
    m_kind->addItem(tr("GIFs"), int(HistoryRecord::Kind::Gif));
    for (const auto span : {LibraryQuery::Span::Any, LibraryQuery::Span::Today, LibraryQuery::Span::Week,
                            LibraryQuery::Span::Month, LibraryQuery::Span::Year})
        m_span->addItem(LibraryQuery::spanLabel(span), int(span));
    m_count->setForegroundRole(QPalette::PlaceholderText);

    m_grid->setModel(m_model);
    m_grid->setItemDelegate(new LibraryTileDelegate(m_grid));
    m_grid->setViewMode(QListView::IconMode);
    m_grid->setResizeMode(QListView::Adjust);
    m_grid->setMovement(QListView::Static);
    // Sizes follow the grid, which stretches with the view.
    m_grid->setUniformItemSizes(false);
    m_grid->setGridSize(LibraryTileDelegate::tileSize);
    m_grid->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_grid->viewport()->installEventFilter(this);
    m_grid->setSpacing(0);
    m_grid->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_grid->setDragEnabled(true);
    m_grid->setDragDropMode(QAbstractItemView::DragOnly);
    m_grid->setDefaultDropAction(Qt::CopyAction);
    m_grid->setMouseTracking(true);
    m_grid->setContextMenuPolicy(Qt::CustomContextMenu);
    m_grid->setFrameShape(QFrame::NoFrame);
    m_empty->setAlignment(Qt::AlignCenter);
    m_empty->setWordWrap(true);
    m_empty->setForegroundRole(QPalette::PlaceholderText);

    buildActions();

    auto* bar = new QToolBar(this);
    bar->setIconSize(QSize(20, 20));
    bar->setToolButtonStyle(Qt::ToolButtonIconOnly);
    bar->addAction(m_open);
    bar->addAction(m_reveal);
    bar->addAction(m_copy);
    bar->addSeparator();
    bar->addAction(m_keep);
    bar->addAction(m_rename);
    bar->addAction(m_delete);
    bar->addSeparator();
    // The four ways out of the library share one button.
    auto* exportMenu = new QMenu(this);
    exportMenu->addActions({m_pdf, m_zip, m_styled, m_share});
    auto* exportButton = new QToolButton(bar);
    exportButton->setText(tr("Export"));
    exportButton->setIcon(themeIcon(QStringLiteral("document-export"), QStyle::SP_DialogSaveButton));
    exportButton->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    exportButton->setPopupMode(QToolButton::InstantPopup);
    exportButton->setMenu(exportMenu);
    exportButton->setAutoRaise(true);
    bar->addWidget(exportButton);
    if (auto* openButton = qobject_cast<QToolButton*>(bar->widgetForAction(m_open)))
        openButton->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    // Enabled with the exports, that is with a selection.
    connect(m_pdf, &QAction::changed, exportButton,
            [this, exportButton] { exportButton->setEnabled(m_pdf->isEnabled()); });

    m_search->setMinimumWidth(240);
    auto* top = new QHBoxLayout;
    top->setSpacing(6);
    top->addWidget(bar);
    top->addStretch(1);
    top->addWidget(m_search, 2);
    top->addWidget(m_kind);
    top->addWidget(m_span);
    m_body->addWidget(m_grid);
    m_body->addWidget(m_empty);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 12, 16, 12);
    layout->addLayout(top);
    layout->addWidget(m_count);
    layout->addLayout(m_body, 1);

    // Typing searches as it goes; a short pause keeps fast typing smooth on big histories.
    auto* typing = new QTimer(this);
    typing->setSingleShot(true);
    typing->setInterval(60);
    connect(typing, &QTimer::timeout, this, &LibraryPage::applyQuery);
    connect(m_search, &QLineEdit::textChanged, typing, qOverload<>(&QTimer::start));
    connect(m_search, &QLineEdit::returnPressed, this, [this] {
        applyQuery();
        if (m_model->rowCount() == 0) return;
        m_grid->setFocus();
        if (!m_grid->selectionModel()->hasSelection()) m_grid->setCurrentIndex(m_model->index(0));
    });
    connect(m_kind, &QComboBox::currentIndexChanged, this, &LibraryPage::applyQuery);
    connect(m_span, &QComboBox::currentIndexChanged, this, &LibraryPage::applyQuery);
    connect(m_grid, &QListView::activated, this, [this] { openSelection(); });
    connect(m_grid, &QListView::customContextMenuRequested, this, &LibraryPage::showContextMenu);
    connect(m_grid->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &LibraryPage::updateState);

    // The selection survives reloads caused by new captures and finished scans.
    connect(m_model, &QAbstractItemModel::modelAboutToBeReset, this,
            [this] { m_selectionBeforeReload = selectedNames(); });
    connect(m_model, &QAbstractItemModel::modelReset, this, [this] {
        for (const QString& name : std::as_const(m_selectionBeforeReload))
            if (const int row = m_model->rowOf(name); row >= 0)
                m_grid->selectionModel()->select(m_model->index(row), QItemSelectionModel::Select);
    });
    connect(m_model, &LibraryModel::itemsChanged, this, &LibraryPage::updateState);
    updateState();
}

bool LibraryPage::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_grid->viewport() && event->type() == QEvent::Resize)
        LibraryTileDelegate::stretchGrid(*m_grid);
    return QWidget::eventFilter(watched, event);
}

void LibraryPage::focusSearch() {
    m_search->setFocus();
    m_search->selectAll();
}

void LibraryPage::buildActions() {
    const auto make = [this](const QString& text, const QKeySequence& keys, void (LibraryPage::*slot)()) {
        auto* action = new QAction(text, this);
        if (!keys.isEmpty()) {
            action->setShortcut(keys);
            action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        }
        connect(action, &QAction::triggered, this, slot);
        addAction(action);
        return action;
    };
    m_open = make(tr("Open in Editor"), {}, &LibraryPage::openSelection);
    m_reveal = make(tr("Show in Folder"), QKeySequence(tr("Ctrl+Shift+R")), &LibraryPage::revealSelection);
    m_copy = make(tr("Copy"), QKeySequence::Copy, &LibraryPage::copySelection);
    m_keep = make(tr("Keep"), QKeySequence(tr("Ctrl+K")), &LibraryPage::toggleKeep);
    m_rename = make(tr("Rename…"), QKeySequence(Qt::Key_F2), &LibraryPage::renameSelection);
    m_delete = make(tr("Delete"), QKeySequence::Delete, &LibraryPage::deleteSelection);
    m_pdf = new QAction(tr("Export PDF…"), this);
    m_zip = new QAction(tr("Export ZIP…"), this);
    m_styled = new QAction(tr("Beautify and Export…"), this);
    m_share = new QAction(tr("Share…"), this);
    const std::pair<QAction*, const char*> icons[] = {
        {m_open, "document-edit"},  {m_reveal, "document-open-folder"},
        {m_copy, "edit-copy"},      {m_keep, "pin"},
        {m_rename, "edit-rename"},  {m_delete, "edit-delete"},
        {m_pdf, "application-pdf"}, {m_zip, "application-zip"},
        {m_styled, "tools-wizard"}, {m_share, "document-share"}};
    for (const auto& [action, icon] : icons) {
        action->setIcon(themeIcon(QString::fromLatin1(icon)));
        describe(action);
    }
    connect(m_pdf, &QAction::triggered, this, [this] { HistoryBatch::exportPDF(selectedPaths()); });
    connect(m_zip, &QAction::triggered, this, [this] { HistoryBatch::exportZIP(selectedPaths()); });
    connect(m_styled, &QAction::triggered, this,
            [this] { HistoryBatch::beautifyAndExportToFolder(selectedPaths()); });
    connect(m_share, &QAction::triggered, this, [this] { HistoryBatch::share(selectedPaths()); });
}

void LibraryPage::applyQuery() {
    LibraryQuery query;
    query.words = m_search->text();
    if (const int kind = m_kind->currentData().toInt(); kind >= 0)
        query.kind = static_cast<HistoryRecord::Kind>(kind);
    query.span = static_cast<LibraryQuery::Span>(m_span->currentData().toInt());
    m_model->setQuery(query);
}

void LibraryPage::updateState() {
    const int shown = m_model->rowCount();
    const int total = m_model->total();
    const QStringList names = selectedNames();
    const int selected = static_cast<int>(names.size());
    const QString noun = total == 1 ? tr("capture") : tr("captures");
    QString count = shown == total ? QStringLiteral("%1 %2").arg(total).arg(noun)
                                   : tr("%1 of %2 %3").arg(shown).arg(total).arg(noun);
    if (selected > 0) count += tr(" · %1 selected").arg(selected);
    m_count->setText(count);

    const bool searching = !m_search->text().trimmed().isEmpty();
    if (total == 0)
        m_empty->setText(tr("No captures yet.\nPress Print to capture an area; every capture lands here."));
    else if (searching)
        m_empty->setText(tr("No capture shows “%1”.").arg(m_search->text().trimmed()));
    else
        m_empty->setText(tr("No captures match these filters."));
    m_body->setCurrentWidget(shown == 0 ? static_cast<QWidget*>(m_empty) : m_grid);

    for (QAction* action : {m_open, m_reveal, m_copy, m_keep, m_delete, m_pdf, m_zip, m_styled, m_share})
        action->setEnabled(selected > 0);
    m_rename->setEnabled(selected == 1);
    m_keep->setText(allKept(names) ? tr("Don't Keep") : tr("Keep"));
    describe(m_keep);
}

bool LibraryPage::allKept(const QStringList& names) const {
    return !names.isEmpty() && std::all_of(names.begin(), names.end(),
                                           [this](const QString& name) { return m_index.isKept(name); });
}

QStringList LibraryPage::selectedNames() const {
    QStringList names;
    QModelIndexList rows = m_grid->selectionModel()->selectedIndexes();
    std::sort(rows.begin(), rows.end(),
              [](const QModelIndex& a, const QModelIndex& b) { return a.row() < b.row(); });
    for (const QModelIndex& row : std::as_const(rows))
        names << m_model->item(row.row()).name;
    return names;
}

QStringList LibraryPage::selectedPaths() const {
    QStringList paths;
    const QDir folder(m_index.historyDirectory());
    for (const QString& name : selectedNames())
        paths << folder.filePath(name);
    return paths;
}

void LibraryPage::showContextMenu(const QPoint& position) {
    const QModelIndex under = m_grid->indexAt(position);
    if (!under.isValid()) return;
    if (!m_grid->selectionModel()->isSelected(under))
        m_grid->selectionModel()->select(under, QItemSelectionModel::ClearAndSelect);
    QMenu menu(this);
    menu.addActions({m_open, m_reveal, m_copy});
    menu.addSeparator();
    menu.addActions({m_keep, m_rename});
    menu.addSeparator();
    menu.addActions({m_pdf, m_zip, m_styled, m_share});
    menu.addSeparator();
    menu.addAction(m_delete);
    menu.exec(m_grid->viewport()->mapToGlobal(position));
}

void LibraryPage::openSelection() {
    const QStringList paths = selectedPaths();
    for (const QString& path : paths.mid(0, mostEditorsAtOnce))
        ClipboardOpener::open(path);
}

void LibraryPage::revealSelection() {
    revealInFileManager(selectedPaths());
}

void LibraryPage::copySelection() {
    const QStringList paths = selectedPaths();
    if (paths.isEmpty()) return;
    // One picture on the clipboard; the rest would be lost silently, so only the first is taken.
    QuickActions::copy(paths.first(), QImage(paths.first()));
}

void LibraryPage::toggleKeep() {
    const QStringList names = selectedNames();
    const bool keep = !allKept(names);
    for (const QString& name : names)
        m_index.setKeep(name, keep);
    updateState();
}

void LibraryPage::renameSelection() {
    const QStringList names = selectedNames();
    if (names.size() != 1) return;
    const QString name = names.first();
    bool accepted = false;
    const QString wanted =
        QInputDialog::getText(this, tr("Rename Capture"), tr("New name:"), QLineEdit::Normal,
                              QFileInfo(name).completeBaseName(), &accepted);
    if (!accepted || wanted.trimmed().isEmpty()) return;
    const auto renamed = HistoryFiles::rename(m_index, name, wanted);
    if (!renamed) {
        QMessageBox::warning(this, tr("Rename Capture"), renamed.error().message);
        return;
    }
    m_index.scheduleSave();
}

void LibraryPage::deleteSelection() {
    const QStringList names = selectedNames();
    if (names.isEmpty()) return;
    const QString question = names.size() == 1 ? tr("Delete “%1”?").arg(names.first())
                                               : tr("Delete %1 captures?").arg(names.size());
    QMessageBox box(QMessageBox::Warning, tr("Delete"), question, QMessageBox::Cancel, this);
    box.setInformativeText(
        tr("They are removed from the disk and the history, with their editable projects."));
    const QAbstractButton* confirm = box.addButton(tr("Delete"), QMessageBox::DestructiveRole);
    box.setDefaultButton(QMessageBox::Cancel);
    box.exec();
    if (box.clickedButton() != confirm) return;
    QStringList failures;
    for (const QString& name : names)
        if (const auto removed = HistoryFiles::remove(m_index, name); !removed)
            failures << removed.error().message;
    m_index.scheduleSave();
    if (!failures.isEmpty()) QMessageBox::warning(this, tr("Delete"), failures.join(u'\n'));
}

} // namespace ui
