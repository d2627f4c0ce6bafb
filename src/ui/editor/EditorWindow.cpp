#include "ui/editor/EditorWindow.h"

#include "app/Toast.h"
#include "editor/EditorModel.h"
#include "ui/AppIcon.h"
#include "ui/OverlayStyle.h"
#include "ui/editor/AnnotationGeometry.h"
#include "ui/editor/BeautifyPanel.h"
#include "ui/editor/EditorCanvas.h"
#include "ui/editor/EditorIcons.h"
#include "ui/editor/ExpandCanvasDialog.h"
#include "ui/editor/StyleBar.h"
#include "ui/editor/ToolCatalog.h"

#include <QActionGroup>
#include <QCloseEvent>
#include <QDockWidget>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QImageReader>
#include <QInputDialog>
#include <QLabel>
#include <QMenuBar>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QStatusBar>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

#include <cmath>

namespace ui {

namespace {

const QString imageFilter =
    QStringLiteral("Images (*.png *.jpg *.jpeg *.webp *.heic *.gif *.bmp);;Pictavia Projects (*.pictavia)");

QString displayName(const EditorModel& model) {
    const QString file = !model.sourceURL.isEmpty() ? model.sourceURL : model.projectFileURL;
    return file.isEmpty() ? QObject::tr("Untitled") : QFileInfo(file).fileName();
}

QStringList droppedFiles(const QMimeData* data) {
    QStringList files;
    for (const QUrl& url : data->urls())
        if (url.isLocalFile()) files.append(url.toLocalFile());
    return files;
}

} // namespace

EditorWindow::EditorWindow(std::unique_ptr<EditorModel> model, QWidget* parent)
    : QMainWindow(parent), m_model(std::move(model)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setAcceptDrops(true);
    setWindowIcon(appIcon());
    setWindowTitle(tr("Pictavia Editor — %1").arg(displayName(*m_model)));

    m_canvas = new editor::EditorCanvas(m_model.get());
    auto* central = new QWidget;
    auto* column = new QVBoxLayout(central);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(new editor::StyleBar(m_model.get(), m_canvas));
    column->addWidget(m_canvas, 1);
    setCentralWidget(central);

    auto* dock = new QDockWidget(tr("Beautify"), this);
    dock->setObjectName(QStringLiteral("beautify"));
    dock->setFeatures(QDockWidget::DockWidgetClosable);
    dock->setAllowedAreas(Qt::LeftDockWidgetArea | Qt::RightDockWidgetArea);
    auto* scroller = new QScrollArea;
    scroller->setWidgetResizable(true);
    scroller->setFrameShape(QFrame::NoFrame);
    scroller->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroller->setWidget(new editor::BeautifyPanel(m_model.get()));
    dock->setWidget(scroller);
    dock->setMinimumWidth(240);
    addDockWidget(Qt::RightDockWidgetArea, dock);
    m_beautify = dock->toggleViewAction();
    m_beautify->setIcon(
        editor::icons::glyph(editor::icons::Glyph::Beautify, palette().color(QPalette::WindowText)));
    m_beautify->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_B));
    m_beautify->setToolTip(tr("Beautify (Ctrl+B)"));
    // Open when the capture already has a look, or it is a window that deserves one.
    dock->setVisible(m_model->padding() > 0 || m_model->isWindowCapture());

    buildTools();
    buildMenus();
    buildStatusBar();
    installPanels();

    connect(m_model.get(), &EditorModel::historyChanged, this, &EditorWindow::syncHistory);
    connect(m_model.get(), &EditorModel::busyChanged, this, &EditorWindow::syncBusy);
    connect(m_model.get(), &EditorModel::sensitiveChanged, this, &EditorWindow::syncSensitive);
    connect(m_model.get(), &EditorModel::baseImageChanged, this, &EditorWindow::syncImageInfo);
    connect(m_model.get(), &EditorModel::beautifyChanged, this, &EditorWindow::syncImageInfo);
    connect(m_model.get(), &EditorModel::styleChanged, this, [this] {
        const QList<QAction*> actions = m_tools->actions();
        const int index = static_cast<int>(m_model->tool());
        if (index < actions.size() && !actions[index]->isChecked()) actions[index]->setChecked(true);
    });
    syncHistory();
    syncBusy();
    syncSensitive();
    syncImageInfo();
    resizeToImage();
    m_canvas->setFocus();
    if (m_model->smartHighlight()) m_model->prepareSmartHighlight();
}

EditorWindow::~EditorWindow() = default;

QAction* EditorWindow::addCommand(QMenu* menu, const QString& text, const QList<QKeySequence>& keys,
                                  const std::function<void()>& run) {
    auto* action = new QAction(text, this);
    action->setShortcuts(keys);
    connect(action, &QAction::triggered, this, run);
    if (menu) menu->addAction(action);
    addAction(action); // shortcuts work while the menu bar is closed
    return action;
}

void EditorWindow::buildTools() {
    const QColor ink = palette().color(QPalette::WindowText);
    auto* bar = new QToolBar(tr("Tools"), this);
    bar->setObjectName(QStringLiteral("tools"));
    bar->setMovable(false);
    bar->setFloatable(false);
    bar->setIconSize(QSize(20, 20));
    bar->setContextMenuPolicy(Qt::PreventContextMenu);
    bar->setStyleSheet(
        QStringLiteral("QToolBar#tools { spacing: 2px; padding: 5px 8px; border: none; border-bottom: 1px "
                       "solid palette(mid); }"
                       "QToolBar#tools QToolButton { border: none; border-radius: 6px; padding: 5px; }"
                       "QToolBar#tools QToolButton:hover { background: palette(midlight); }"
                       "QToolBar#tools QToolButton:checked { background: %1; }"
                       "QToolBar#tools QPushButton#done { background: %1; color: white; border: none; "
                       "border-radius: 6px;"
                       " padding: 6px 18px; font-weight: 600; }"
                       "QToolBar#tools QPushButton#done:hover { background: %2; }")
            .arg(overlaystyle::accent.name(), overlaystyle::accent.darker(115).name()));
    addToolBar(Qt::TopToolBarArea, bar);

    m_tools = new QActionGroup(this);
    m_tools->setExclusive(true);
    for (const editor::ToolInfo& info : editor::toolCatalog()) {
        QAction* action = bar->addAction(editor::icons::tool(info.tool, ink), info.label);
        action->setCheckable(true);
        action->setShortcut(QKeySequence(info.key));
        action->setToolTip(editor::toolTip(info));
        action->setChecked(info.tool == m_model->tool());
        m_tools->addAction(action);
        const EditorTool tool = info.tool;
        connect(action, &QAction::triggered, this, [this, tool] {
            m_model->setTool(tool);
            m_canvas->setFocus();
        });
        if (info.tool == EditorTool::Select || info.tool == EditorTool::Highlight ||
            info.tool == EditorTool::Step || info.tool == EditorTool::Spotlight)
            bar->addSeparator();
    }
    bar->addSeparator();
    m_undo = bar->addAction(editor::icons::glyph(editor::icons::Glyph::Undo, ink), tr("Undo"));
    m_undo->setShortcut(QKeySequence::Undo);
    m_undo->setToolTip(tr("Undo (Ctrl+Z)"));
    connect(m_undo, &QAction::triggered, m_model.get(), &EditorModel::undo);
    m_redo = bar->addAction(editor::icons::glyph(editor::icons::Glyph::Redo, ink), tr("Redo"));
    m_redo->setShortcuts(
        {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z), QKeySequence(Qt::CTRL | Qt::Key_Y)});
    m_redo->setToolTip(tr("Redo (Ctrl+Shift+Z)"));
    connect(m_redo, &QAction::triggered, m_model.get(), &EditorModel::redo);

    auto* spacer = new QWidget;
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    bar->addWidget(spacer);
    bar->addAction(m_beautify);

    QAction* copy = m_copy =
        bar->addAction(editor::icons::glyph(editor::icons::Glyph::Copy, ink), tr("Copy"));
    copy->setShortcut(QKeySequence::Copy);
    copy->setToolTip(tr("Copy to clipboard (Ctrl+C)"));
    connect(copy, &QAction::triggered, m_model.get(), &EditorModel::copyToClipboard);
    QAction* save = m_save =
        bar->addAction(editor::icons::glyph(editor::icons::Glyph::Save, ink), tr("Save"));
    save->setShortcut(QKeySequence::Save);
    save->setToolTip(tr("Save to the save folder (Ctrl+S)"));
    connect(save, &QAction::triggered, this, [this] { m_model->saveToDefaultLocation(); });

    auto* done = new QPushButton(tr("Done"));
    done->setObjectName(QStringLiteral("done"));
    done->setFocusPolicy(Qt::NoFocus);
    done->setToolTip(tr("Finish editing (Ctrl+Return)"));
    bar->addWidget(done);
    connect(done, &QPushButton::clicked, this, [this] {
        m_model->done();
        close();
    });
}

void EditorWindow::buildMenus() {
    QMenu* file = menuBar()->addMenu(tr("&File"));
    addCommand(file, tr("Open…"), {QKeySequence::Open}, [this] {
        const QString path = QFileDialog::getOpenFileName(this, tr("Open Image"), QString(), imageFilter);
        if (path.isEmpty()) return;
        QString error;
        if (!Editor::openFile(path, &error)) Toast::show(error);
    });
    file->addSeparator();
    file->addAction(m_copy);
    file->addAction(m_save);
    addCommand(file, tr("Save As…"), {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S)},
               [this] { m_model->saveViaPanel(); });
    addCommand(file, tr("Export Project…"), {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_E)},
               [this] { m_model->exportProject(); });
    file->addSeparator();
    addCommand(file, tr("Done"),
               {QKeySequence(Qt::CTRL | Qt::Key_Return), QKeySequence(Qt::CTRL | Qt::Key_Enter)}, [this] {
                   m_model->done();
                   close();
               });
    addCommand(file, tr("Close"), {QKeySequence::Close}, [this] { close(); });

    QMenu* edit = menuBar()->addMenu(tr("&Edit"));
    edit->addAction(m_undo);
    edit->addAction(m_redo);
    edit->addSeparator();
    addCommand(edit, tr("Duplicate"), {QKeySequence(Qt::CTRL | Qt::Key_D)}, [this] {
        m_model->duplicateSelected();
        // Set off from the original so the copy can be seen; part of the same step.
        if (const auto copy = m_model->selectedAnnotation())
            m_model->updateAnnotation(editor::geometry::moved(*copy, QPointF(12, 12)));
    });
    // Keys that also mean something while typing a text act only when the canvas has focus.
    auto canvasCommand = [this, edit](const QString& text, const QList<QKeySequence>& keys,
                                      const std::function<void()>& run) {
        QAction* action = addCommand(edit, text, keys, run);
        action->setShortcutContext(Qt::WidgetShortcut);
        m_canvas->addAction(action);
        return action;
    };
    canvasCommand(tr("Delete"), {QKeySequence(Qt::Key_Delete), QKeySequence(Qt::Key_Backspace)},
                  [this] { m_model->deleteSelected(); });
    canvasCommand(tr("Deselect"), {QKeySequence(Qt::Key_Escape)}, [this] { m_canvas->cancel(); });
    canvasCommand(tr("Apply Crop"), {QKeySequence(Qt::Key_Return), QKeySequence(Qt::Key_Enter)},
                  [this] { m_canvas->applyCrop(); });
    edit->addSeparator();
    addCommand(edit, tr("Clear All Annotations"), {}, [this] {
        if (m_model->annotations().isEmpty()) return;
        m_model->pushUndo();
        m_model->clearAnnotations();
    });

    QMenu* image = menuBar()->addMenu(tr("&Image"));
    addCommand(image, tr("Rotate Left"), {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_L)},
               [this] { m_model->rotate(false); });
    addCommand(image, tr("Rotate Right"), {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_R)},
               [this] { m_model->rotate(true); });
    addCommand(image, tr("Flip Horizontally"), {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_H)},
               [this] { m_model->flip(true); });
    addCommand(image, tr("Flip Vertically"), {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_V)},
               [this] { m_model->flip(false); });
    image->addSeparator();
    addCommand(image, tr("Resize…"), {QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_I)}, [this] {
        bool ok = false;
        const int width = QInputDialog::getInt(this, tr("Resize Image"), tr("Width in pixels:"),
                                               m_model->baseImage().width(), 1, 30000, 1, &ok);
        if (ok && width != m_model->baseImage().width()) m_model->resizeImage(width);
    });
    addCommand(image, tr("Expand Canvas…"), {QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_C)}, [this] {
        if (const auto expansion = editor::askCanvasExpansion(this))
            m_model->expandCanvas(expansion->top, expansion->left, expansion->bottom, expansion->right,
                                  expansion->fill);
    });
    image->addSeparator();
    m_removeBackground =
        addCommand(image, tr("Remove Background"), {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_B)},
                   [this] { m_model->removeBackground(); });
    m_removeBackground->setIcon(
        editor::icons::glyph(editor::icons::Glyph::RemoveBackground, palette().color(QPalette::WindowText)));

    const QColor ink = palette().color(QPalette::WindowText);
    QMenu* tools = menuBar()->addMenu(tr("&Tools"));
    for (QAction* action : m_tools->actions())
        tools->addAction(action);
    tools->addSeparator();
    QAction* extract = addCommand(tools, tr("Extract Text"), {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_T)},
                                  [this] { m_model->extractText(); });
    extract->setIcon(editor::icons::glyph(editor::icons::Glyph::Text, ink));
    m_scan = addCommand(tools, tr("Scan && Redact"), {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_X)},
                        [this] { m_model->scanForSensitive(); });
    m_scan->setIcon(editor::icons::glyph(editor::icons::Glyph::Scan, ink));

    QMenu* view = menuBar()->addMenu(tr("&View"));
    QAction* zoomIn = m_zoomActions[0] = addCommand(
        view, tr("Zoom In"), {QKeySequence(Qt::CTRL | Qt::Key_Equal), QKeySequence(Qt::CTRL | Qt::Key_Plus)},
        [this] { m_canvas->zoomIn(); });
    zoomIn->setIcon(editor::icons::glyph(editor::icons::Glyph::ZoomIn, ink));
    QAction* zoomOut = m_zoomActions[1] = addCommand(
        view, tr("Zoom Out"), {QKeySequence(Qt::CTRL | Qt::Key_Minus)}, [this] { m_canvas->zoomOut(); });
    zoomOut->setIcon(editor::icons::glyph(editor::icons::Glyph::ZoomOut, ink));
    m_zoomActions[2] = addCommand(view, tr("Zoom to Fit"), {QKeySequence(Qt::CTRL | Qt::Key_0)},
                                  [this] { m_canvas->zoomToFit(); });
    m_zoomActions[3] = addCommand(view, tr("Actual Size"), {QKeySequence(Qt::CTRL | Qt::Key_1)},
                                  [this] { m_canvas->zoomActualSize(); });
    view->addSeparator();
    view->addAction(m_beautify);
}

void EditorWindow::buildStatusBar() {
    QStatusBar* bar = statusBar();
    bar->setSizeGripEnabled(true);

    m_progress = new QProgressBar;
    m_progress->setRange(0, 0);
    m_progress->setFixedSize(110, 12);
    m_progress->setTextVisible(false);
    m_busyLabel = new QLabel;
    bar->addWidget(m_progress);
    bar->addWidget(m_busyLabel);

    m_sensitiveLabel = new QLabel;
    m_redact = new QPushButton;
    m_redact->setFocusPolicy(Qt::NoFocus);
    connect(m_redact, &QPushButton::clicked, m_model.get(), &EditorModel::redactDetected);
    bar->addWidget(m_sensitiveLabel);
    bar->addWidget(m_redact);

    auto* scan = new QToolButton;
    scan->setDefaultAction(m_scan);
    scan->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    scan->setAutoRaise(true);
    scan->setFocusPolicy(Qt::NoFocus);
    bar->addPermanentWidget(scan);

    m_imageInfo = new QLabel;
    m_imageInfo->setObjectName(QStringLiteral("imageInfo"));
    bar->addPermanentWidget(m_imageInfo);

    m_zoom = new QToolButton;
    m_zoom->setAutoRaise(true);
    m_zoom->setFocusPolicy(Qt::NoFocus);
    m_zoom->setPopupMode(QToolButton::InstantPopup);
    m_zoom->setToolTip(tr("Zoom"));
    auto* menu = new QMenu(m_zoom);
    for (QAction* action : m_zoomActions)
        menu->addAction(action);
    menu->addSeparator();
    for (int percent : {25, 50, 100, 200, 400})
        menu->addAction(tr("%1 %").arg(percent), this,
                        [this, percent] { m_canvas->setZoomFactor(percent / 100.0); });
    m_zoom->setMenu(menu);
    bar->addPermanentWidget(m_zoom);
    auto showZoom = [this] {
        m_zoom->setText(tr("%1 %").arg(int(std::round(m_canvas->zoomFactor() * 100))));
    };
    connect(m_canvas, &editor::EditorCanvas::zoomChanged, this, showZoom);
    showZoom();
}

void EditorWindow::installPanels() {
    EditorModel::Panels panels;
    panels.chooseSaveFile = [this](const QString& suggested) {
        return QFileDialog::getSaveFileName(
            this, tr("Save Image"), suggested,
            tr("PNG Image (*.png);;JPEG Image (*.jpg *.jpeg);;WebP Image (*.webp);;HEIC Image (*.heic)"));
    };
    panels.chooseProjectFile = [this](const QString& suggested) {
        return QFileDialog::getSaveFileName(this, tr("Export Project"), suggested,
                                            tr("Pictavia Project (*.pictavia)"));
    };
    panels.chooseImageFile = [this] {
        return QFileDialog::getOpenFileName(this, tr("Choose Background Image"), QString(),
                                            tr("Images (*.png *.jpg *.jpeg *.webp *.heic)"));
    };
    m_model->setPanels(std::move(panels));
}

void EditorWindow::syncHistory() {
    m_undo->setEnabled(m_model->canUndo());
    m_redo->setEnabled(m_model->canRedo());
}

void EditorWindow::syncBusy() {
    const bool scanning = m_model->scanningSensitive();
    const bool removing = m_model->removingBackground();
    m_progress->setVisible(scanning || removing);
    m_busyLabel->setVisible(scanning || removing);
    m_busyLabel->setText(scanning ? tr("Scanning for sensitive data…") : tr("Removing background…"));
    m_scan->setEnabled(!scanning);
    m_removeBackground->setEnabled(!removing);
}

void EditorWindow::syncSensitive() {
    const auto count = m_model->sensitiveHits().size();
    m_sensitiveLabel->setVisible(count > 0);
    m_redact->setVisible(count > 0);
    m_sensitiveLabel->setText(count == 1 ? tr("1 sensitive item found")
                                         : tr("%1 sensitive items found").arg(count));
    m_redact->setText(tr("Redact %1").arg(count));
}

void EditorWindow::syncImageInfo() {
    const QSize size = m_model->baseImage().size();
    m_imageInfo->setText(tr("%1 × %2 px").arg(size.width()).arg(size.height()));
}

void EditorWindow::resizeToImage() {
    const QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen) screen = QGuiApplication::primaryScreen();
    const QRect available = screen ? screen->availableGeometry() : QRect(0, 0, 1280, 800);
    // Room for the image at its size in points plus the chrome, within most of the screen.
    const QSizeF points = m_model->contentSize() / std::max(1.0, m_model->scale());
    const QSize wanted(int(points.width()) + 120 + (m_beautify->isChecked() ? 260 : 0),
                       int(points.height()) + 190);
    // The open drawer takes its width from the window, not from the style bar's controls.
    const QSize least(980 + (m_beautify->isChecked() ? 260 : 0), 640);
    const QSize size = wanted.expandedTo(least).boundedTo(available.size() * 0.9);
    resize(size);
    QRect frame(QPoint(), size);
    frame.moveCenter(available.center());
    move(frame.topLeft());
}

void EditorWindow::closeEvent(QCloseEvent* event) {
    m_model->persistProjectOnCloseIfNeeded();
    event->accept();
}

void EditorWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (!droppedFiles(event->mimeData()).isEmpty()) event->acceptProposedAction();
}

void EditorWindow::dropEvent(QDropEvent* event) {
    // Each dropped file opens in an editor of its own; this one stays as it is.
    for (const QString& path : droppedFiles(event->mimeData())) {
        QString error;
        if (!Editor::openFile(path, &error)) Toast::show(error);
    }
    event->acceptProposedAction();
}

} // namespace ui
