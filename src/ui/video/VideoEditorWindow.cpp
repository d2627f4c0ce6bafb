#include "ui/video/VideoEditorWindow.h"

#include "platform/MoviePlayer.h"
#include "platform/Platform.h"
#include "ui/AppIcon.h"
#include "ui/OverlayStyle.h"
#include "ui/video/VideoCaptionPanel.h"
#include "ui/video/VideoExportBar.h"
#include "ui/video/VideoPreview.h"
#include "ui/video/VideoStylePanel.h"
#include "ui/video/VideoTimeline.h"
#include "video/VideoEditorModel.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QShortcut>
#include <QSplitter>
#include <QTabWidget>
#include <QVBoxLayout>

#include <cmath>

namespace ui::video {

namespace {

// A dark workspace, as video tools have: the picture is what stands out.
QString darkStyleSheet() {
    return QStringLiteral(
               "QMainWindow#videoEditor, QWidget#videoWorkspace { background: #1B1C1F; color: #E6E7EA; }"
               "QWidget#videoWorkspace QLabel { color: #E6E7EA; }"
               "QWidget#transport, QWidget#videoExportBar { background: #232428; }"
               "QScrollArea#styleScroll, QWidget#videoStylePanel { background: #1F2024; border: none; }"
               "QWidget#styleSection { background: #27292E; border-radius: 10px; }"
               "QLabel#sectionHeading { color: #8A8F98; font-weight: 600; letter-spacing: 1px; }"
               "QLabel#sliderValue, QLabel#fieldCaption, QLabel#exportSizes, QLabel#timeLabel { color: "
               "#A9AEB7; }"
               "QLabel#timeLabel { font-family: monospace; }"
               "QCheckBox { color: #E6E7EA; spacing: 8px; }"
               "QCheckBox::indicator { width: 14px; height: 14px; border: 1px solid #4A4D55; border-radius: "
               "4px;"
               " background: #30323A; }"
               "QCheckBox::indicator:checked { background: %1; border-color: %1; }"
               "QCheckBox::indicator:disabled { background: #25272C; border-color: #33363D; }"
               "QComboBox { background: #30323A; color: #E6E7EA; border: 1px solid #3A3D45; border-radius: "
               "6px;"
               " padding: 3px 8px; }"
               "QComboBox QAbstractItemView { background: #30323A; color: #E6E7EA;"
               " selection-background-color: %1; }"
               "QPushButton { background: #30323A; color: #E6E7EA; border: 1px solid #3A3D45; border-radius: "
               "6px;"
               " padding: 5px 12px; }"
               "QPushButton:hover { background: #393C45; }"
               "QPushButton:checked { border-color: %1; }"
               "QPushButton:disabled, QCheckBox:disabled, QComboBox:disabled { color: #5E626B; }"
               "QPushButton#exportButton { background: %1; border: none; color: white; font-weight: 600; }"
               "QPushButton#exportButton:hover { background: %2; }"
               "QPushButton#playButton { border-radius: 17px; padding: 0; }"
               "QProgressBar { background: #30323A; border: none; border-radius: 4px; height: 8px; }"
               "QProgressBar::chunk { background: %1; border-radius: 4px; }"
               "QSlider::groove:horizontal { height: 4px; background: #3A3D45; border-radius: 2px; }"
               "QSlider::sub-page:horizontal { background: %1; border-radius: 2px; }"
               "QSlider::handle:horizontal { background: #E6E7EA; width: 12px; margin: -5px 0; "
               "border-radius: 6px; }"
               "QSplitter::handle { background: #141518; }"
               "QTabWidget#sidePanels::pane { border: none; background: #1F2024; }"
               "QTabWidget#sidePanels QTabBar::tab { background: #232428; color: #A9AEB7; padding: 6px 16px;"
               " border: none; }"
               "QTabWidget#sidePanels QTabBar::tab:selected { color: #E6E7EA; border-bottom: 2px solid %1; }"
               "QScrollArea#captionScroll, QWidget#videoCaptionPanel { background: #1F2024; border: none; }"
               "QMessageBox { background: #27292E; } QMessageBox QLabel { color: #E6E7EA; }"
               "QLineEdit { background: #30323A; color: #E6E7EA; border: 1px solid #3A3D45; border-radius: "
               "6px;"
               " padding: 3px 6px; }"
               "QTableWidget { background: #27292E; alternate-background-color: #2B2D33; color: #E6E7EA;"
               " border: none; gridline-color: #33363D; selection-background-color: #3A3D45; }"
               "QHeaderView::section { background: #232428; color: #8A8F98; border: none; padding: 3px 6px; "
               "}")
        .arg(overlaystyle::accent.name(), overlaystyle::accent.lighter(115).name());
}

// The play and pause glyphs of the transport.
QIcon transportIcon(bool playing) {
    QPixmap pixmap(QSize(36, 36) * qApp->devicePixelRatio());
    pixmap.setDevicePixelRatio(qApp->devicePixelRatio());
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0xE6, 0xE7, 0xEA));
    if (playing) {
        painter.drawRoundedRect(QRectF(11, 9, 5, 18), 1.5, 1.5);
        painter.drawRoundedRect(QRectF(20, 9, 5, 18), 1.5, 1.5);
    } else {
        QPainterPath triangle;
        triangle.moveTo(13, 9);
        triangle.lineTo(27, 18);
        triangle.lineTo(13, 27);
        triangle.closeSubpath();
        painter.drawPath(triangle);
    }
    return QIcon(pixmap);
}

QString clockText(double seconds) {
    const double clamped = std::max(0.0, seconds);
    const int minutes = int(clamped) / 60;
    return QStringLiteral("%1:%2").arg(minutes).arg(clamped - minutes * 60, 4, 'f', 1, QLatin1Char('0'));
}

} // namespace

VideoEditorWindow::VideoEditorWindow(std::unique_ptr<VideoEditorModel> model, QWidget* parent)
    : QMainWindow(parent), m_model(std::move(model)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName(QStringLiteral("videoEditor"));
    setWindowTitle(tr("Pictavia Video Editor — %1").arg(QFileInfo(m_model->url()).fileName()));
    setWindowIcon(appIcon());
    setStyleSheet(darkStyleSheet());

    m_preview = new VideoPreview;
    m_timeline = new VideoTimeline(m_model.get());
    m_style = new VideoStylePanel(m_model.get());
    m_export = new VideoExportBar(m_model.get());

    auto* stage = new QWidget;
    auto* stageLayout = new QVBoxLayout(stage);
    stageLayout->setContentsMargins(0, 0, 0, 0);
    stageLayout->setSpacing(0);
    stageLayout->addWidget(m_preview, 1);
    stageLayout->addWidget(buildTransport());
    stageLayout->addWidget(m_timeline);

    auto* styleScroll = new QScrollArea;
    styleScroll->setObjectName(QStringLiteral("styleScroll"));
    styleScroll->setWidget(m_style);
    styleScroll->setWidgetResizable(true);
    styleScroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    styleScroll->setMinimumWidth(300);
    m_captions = new VideoCaptionPanel(m_model.get());
    auto* captionScroll = new QScrollArea;
    captionScroll->setObjectName(QStringLiteral("captionScroll"));
    captionScroll->setWidget(m_captions);
    captionScroll->setWidgetResizable(true);
    captionScroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto* side = new QTabWidget;
    side->setObjectName(QStringLiteral("sidePanels"));
    side->setDocumentMode(true);
    side->addTab(styleScroll, tr("Style"));
    side->addTab(captionScroll, tr("Captions"));

    auto* split = new QSplitter(Qt::Horizontal);
    split->addWidget(stage);
    split->addWidget(side);
    split->setStretchFactor(0, 1);
    split->setStretchFactor(1, 0);
    split->setChildrenCollapsible(false);
    split->setHandleWidth(1);

    auto* workspace = new QWidget;
    workspace->setObjectName(QStringLiteral("videoWorkspace"));
    auto* layout = new QVBoxLayout(workspace);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(split, 1);
    layout->addWidget(m_export);
    setCentralWidget(workspace);

    auto* space = new QShortcut(Qt::Key_Space, this);
    connect(space, &QShortcut::activated, this, &VideoEditorWindow::togglePlaying);
    for (const QKeySequence& key : {QKeySequence(Qt::Key_Delete), QKeySequence(Qt::Key_Backspace)})
        connect(new QShortcut(key, this), &QShortcut::activated, m_timeline,
                &VideoTimeline::removeSelectedZoom);
    connect(m_preview, &VideoPreview::clicked, this, &VideoEditorWindow::togglePlaying);
    // A frame at a time with the arrows, a second with Shift; the ends of the kept part.
    const std::pair<QKeySequence, std::function<void()>> keys[] = {
        {QKeySequence(Qt::Key_Left), [this] { step(-1.0 / 30); }},
        {QKeySequence(Qt::Key_Right), [this] { step(1.0 / 30); }},
        {QKeySequence(Qt::SHIFT | Qt::Key_Left), [this] { step(-1); }},
        {QKeySequence(Qt::SHIFT | Qt::Key_Right), [this] { step(1); }},
        {QKeySequence(Qt::Key_Home), [this] { m_model->setPlayhead(m_model->trimStart()); }},
        {QKeySequence(Qt::Key_End), [this] { m_model->setPlayhead(m_model->trimEnd()); }},
        {QKeySequence(Qt::Key_Z), [this] { addZoom(); }},
    };
    for (const auto& [key, run] : keys)
        connect(new QShortcut(key, this), &QShortcut::activated, this, run);

    m_preview->setScene(m_model->scene());
    connect(m_model.get(), &VideoEditorModel::sceneChanged, this,
            [this] { m_preview->setScene(m_model->scene()); });
    connect(m_model.get(), &VideoEditorModel::playheadChanged, this, &VideoEditorWindow::syncTime);
    connect(m_model.get(), &VideoEditorModel::changed, this, &VideoEditorWindow::syncTransport);
    connect(m_timeline, &VideoTimeline::selectionChanged, this, &VideoEditorWindow::syncTransport);
    connectPlayer();
    openCamera();
    syncTransport();
    syncTime();

    // Room for the picture at a comfortable size, within the screen.
    const QRect screen = this->screen() ? this->screen()->availableGeometry() : QRect(0, 0, 1280, 800);
    resize(std::min(1280, screen.width() - 40), std::min(820, screen.height() - 40));
}

VideoEditorWindow::~VideoEditorWindow() {
    // The player's thread must not reach widgets that are going away.
    if (platform::MoviePlayer* player = m_model->player()) {
        player->pause();
        player->setFrameHandler({});
        player->setEndHandler({});
    }
    m_camera.reset();
}

QWidget* VideoEditorWindow::buildTransport() {
    auto* bar = new QWidget;
    bar->setObjectName(QStringLiteral("transport"));
    auto* layout = new QHBoxLayout(bar);
    layout->setContentsMargins(14, 8, 14, 8);
    layout->setSpacing(10);
    m_play = new QPushButton;
    m_play->setObjectName(QStringLiteral("playButton"));
    m_play->setFixedSize(34, 34);
    m_play->setIconSize(QSize(34, 34));
    m_play->setFocusPolicy(Qt::NoFocus);
    m_play->setToolTip(tr("Play or pause (Space)"));
    connect(m_play, &QPushButton::clicked, this, &VideoEditorWindow::togglePlaying);
    m_time = new QLabel;
    m_time->setObjectName(QStringLiteral("timeLabel"));
    m_addZoom = new QPushButton(tr("Add Zoom"));
    m_addZoom->setToolTip(tr("Zoom in at the playhead (Z)"));
    m_addZoom->setFocusPolicy(Qt::NoFocus);
    connect(m_addZoom, &QPushButton::clicked, this, &VideoEditorWindow::addZoom);
    m_removeZoom = new QPushButton(tr("Remove Zoom"));
    m_removeZoom->setToolTip(tr("Remove the selected zoom (Delete)"));
    m_removeZoom->setFocusPolicy(Qt::NoFocus);
    connect(m_removeZoom, &QPushButton::clicked, m_timeline, &VideoTimeline::removeSelectedZoom);
    layout->addWidget(m_play);
    layout->addWidget(m_time);
    layout->addStretch(1);
    layout->addWidget(m_addZoom);
    layout->addWidget(m_removeZoom);
    return bar;
}

void VideoEditorWindow::connectPlayer() {
    platform::MoviePlayer* player = m_model->player();
    if (!player) return;
    player->setFrameHandler(
        [preview = m_preview](const QImage& picture, double time) { preview->offerPicture(picture, time); });
    player->setEndHandler([window = QPointer(this)](const QString&) {
        QMetaObject::invokeMethod(
            qApp,
            [window] {
                if (window) window->syncTransport();
            },
            Qt::QueuedConnection);
    });
}

void VideoEditorWindow::openCamera() {
    const auto& players = platform::services().moviePlayers;
    if (!m_model->hasWebcam() || !players || !m_model->player()) return;
    auto opened = players->open(m_model->webcamURL());
    if (!opened) return; // the bubble stays empty in the preview; the export says why
    m_camera = std::move(opened).value();
    m_camera->setMuted(true);
    m_camera->setFrameHandler(
        [preview = m_preview](const QImage& picture, double) { preview->offerCamera(picture); });
    // Paused, it shows the picture at the playhead; playing, it runs alongside on its own.
    connect(m_model.get(), &VideoEditorModel::playheadChanged, this, [this](double seconds) {
        if (!m_model->player()->isPlaying()) m_camera->seek(seconds);
    });
}

void VideoEditorWindow::addZoom() {
    // A zoom placed by hand is meant to be seen: zooming comes on with it.
    m_model->setZoomEnabled(true);
    m_model->addZoomAtPlayhead();
}

void VideoEditorWindow::step(double seconds) {
    if (platform::MoviePlayer* player = m_model->player(); player && player->isPlaying()) togglePlaying();
    m_model->setPlayhead(std::clamp(m_model->playhead() + seconds, 0.0, m_model->duration()));
}

void VideoEditorWindow::togglePlaying() {
    platform::MoviePlayer* player = m_model->player();
    if (!player) return;
    if (player->isPlaying()) {
        player->pause();
        if (m_camera) m_camera->pause();
    } else {
        player->play();
        if (m_camera) {
            m_camera->seek(player->position());
            m_camera->play();
        }
    }
    syncTransport();
}

void VideoEditorWindow::syncTransport() {
    platform::MoviePlayer* player = m_model->player();
    if (m_camera && player && !player->isPlaying()) m_camera->pause();
    m_play->setEnabled(player != nullptr);
    m_play->setIcon(transportIcon(player && player->isPlaying()));
    m_addZoom->setEnabled(m_model->duration() > 0);
    m_removeZoom->setEnabled(m_timeline->selectedZoom().has_value());
    syncTime();
}

void VideoEditorWindow::syncTime() {
    m_time->setText(
        QStringLiteral("%1 / %2").arg(clockText(m_model->playhead()), clockText(m_model->duration())));
}

void VideoEditorWindow::closeEvent(QCloseEvent* event) {
    if (m_model->isExporting()) {
        // The export's worker still uses the model: the window goes once it has stopped.
        m_model->cancelExport();
        connect(m_model.get(), &VideoEditorModel::exportFinished, this, &QObject::deleteLater);
        hide();
        event->ignore();
        return;
    }
    if (m_model->transcribing()) {
        // Likewise a transcription: cancelled, the window goes once it has stopped.
        m_model->cancelTranscription();
        connect(m_model.get(), &VideoEditorModel::transcribeFinished, this, &QObject::deleteLater);
        hide();
        event->ignore();
        return;
    }
    event->accept();
}

VideoEditorWindow* openVideoEditor(const QString& file, QString* error) {
    const QString path = QFileInfo(file).absoluteFilePath();
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (auto* open = qobject_cast<VideoEditorWindow*>(widget);
            open && QFileInfo(open->model()->url()).absoluteFilePath() == path) {
            open->raise();
            open->activateWindow();
            return open;
        }
    auto model = std::make_unique<VideoEditorModel>(path);
    if (!model->loadError().isEmpty()) {
        if (error) *error = model->loadError();
        return nullptr;
    }
    auto* window = new VideoEditorWindow(std::move(model));
    window->show();
    window->raise();
    window->activateWindow();
    return window;
}

} // namespace ui::video
