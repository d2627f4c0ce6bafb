#include "ui/video/VideoExportBar.h"

#include "video/VideoEditorModel.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <QSlider>
#include <QStackedWidget>

#include <cmath>

namespace ui::video {

namespace {

enum Format { mp4, gif };

QLabel* caption(const QString& text) {
    auto* label = new QLabel(text);
    label->setObjectName(QStringLiteral("fieldCaption"));
    return label;
}

} // namespace

VideoExportBar::VideoExportBar(VideoEditorModel* model, QWidget* parent) : QWidget(parent), m_model(model) {
    setObjectName(QStringLiteral("videoExportBar"));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(16, 10, 16, 10);
    layout->setSpacing(10);

    m_format = new QComboBox;
    m_format->setAccessibleName(tr("Format"));
    m_format->addItem(QStringLiteral("MP4"), mp4);
    m_format->addItem(QStringLiteral("GIF"), gif);
    m_resolution = new QComboBox;
    m_resolution->setAccessibleName(tr("Resolution"));
    for (ExportResolution resolution : ExportResolutions::allCases())
        m_resolution->addItem(ExportResolutions::label(resolution), int(resolution));
    m_codec = new QComboBox;
    m_codec->setAccessibleName(tr("Codec"));
    m_codec->addItem(QStringLiteral("H.264"), int(RecordingCodec::h264));
    m_codec->addItem(QStringLiteral("HEVC"), int(RecordingCodec::hevc));
    m_mute = new QCheckBox(tr("Mute"));
    m_volume = new QSlider(Qt::Horizontal);
    m_volume->setAccessibleName(tr("Volume"));
    m_volume->setRange(0, 200);
    m_volume->setFixedWidth(110);
    m_volumeValue = new QLabel;
    m_volumeValue->setMinimumWidth(40);
    m_mono = new QCheckBox(tr("Mono"));
    m_sizes = new QLabel;
    m_sizes->setObjectName(QStringLiteral("exportSizes"));

    m_export = new QPushButton(tr("Export"));
    m_export->setObjectName(QStringLiteral("exportButton"));
    m_export->setDefault(true);
    m_export->setMinimumWidth(110);
    m_progress = new QProgressBar;
    m_progress->setRange(0, 1000);
    m_progress->setTextVisible(false);
    m_progress->setFixedWidth(160);
    m_cancel = new QPushButton(tr("Cancel"));
    auto* exporting = new QWidget;
    auto* exportingRow = new QHBoxLayout(exporting);
    exportingRow->setContentsMargins(0, 0, 0, 0);
    exportingRow->addWidget(m_progress);
    exportingRow->addWidget(m_cancel);
    m_action = new QStackedWidget;
    m_action->addWidget(m_export);
    m_action->addWidget(exporting);
    m_action->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);

    layout->addWidget(caption(tr("Format")));
    layout->addWidget(m_format);
    layout->addWidget(caption(tr("Size")));
    layout->addWidget(m_resolution);
    layout->addWidget(caption(tr("Codec")));
    layout->addWidget(m_codec);
    layout->addSpacing(8);
    layout->addWidget(m_mute);
    layout->addWidget(m_volume);
    layout->addWidget(m_volumeValue);
    layout->addWidget(m_mono);
    layout->addStretch(1);
    layout->addWidget(m_sizes);
    layout->addWidget(m_action);

    connect(m_format, &QComboBox::currentIndexChanged, this, [this] { sync(); });
    connect(m_resolution, &QComboBox::currentIndexChanged, this, [this] {
        if (!m_syncing) m_model->setResolution(ExportResolution(m_resolution->currentData().toInt()));
    });
    connect(m_codec, &QComboBox::currentIndexChanged, this, [this] {
        if (!m_syncing) m_model->setCodec(RecordingCodec(m_codec->currentData().toInt()));
    });
    connect(m_mute, &QCheckBox::toggled, this, [this](bool on) {
        if (!m_syncing) m_model->setMute(on);
    });
    connect(m_volume, &QSlider::valueChanged, this, [this](int v) {
        m_volumeValue->setText(QStringLiteral("%1 %").arg(v));
        if (!m_syncing) m_model->setVolume(v / 100.0);
    });
    connect(m_mono, &QCheckBox::toggled, this, [this](bool on) {
        if (!m_syncing) m_model->setMonoAudio(on);
    });
    connect(m_export, &QPushButton::clicked, this, &VideoExportBar::startExport);
    connect(m_cancel, &QPushButton::clicked, m_model, &VideoEditorModel::cancelExport);
    connect(m_model, &VideoEditorModel::changed, this, &VideoExportBar::sync);
    connect(m_model, &VideoEditorModel::exportProgress, this,
            [this](double done) { m_progress->setValue(int(std::lround(done * 1000))); });
    connect(m_model, &VideoEditorModel::exportFinished, this, &VideoExportBar::showFinished);
    sync();
}

void VideoExportBar::startExport() {
    if (m_model->isExporting()) return;
    m_progress->setValue(0);
    if (m_format->currentData().toInt() == gif)
        m_model->exportGIF();
    else
        m_model->exportMP4();
    sync();
}

void VideoExportBar::showFinished() {
    // The model has told the user how it went; the bar shows the sizes and the button again.
    m_progress->setValue(0);
    sync();
}

void VideoExportBar::sync() {
    m_syncing = true;
    const bool movie = m_format->currentData().toInt() == mp4;
    const bool exporting = m_model->isExporting();
    m_resolution->setCurrentIndex(m_resolution->findData(int(m_model->resolution())));
    m_codec->setCurrentIndex(m_codec->findData(int(m_model->codec())));
    m_codec->setEnabled(!exporting && movie && ExportResolutions::supportsHEVC(m_model->resolution()));
    m_mute->setChecked(m_model->mute());
    m_volume->setValue(int(std::lround(m_model->volume() * 100)));
    m_volumeValue->setText(QStringLiteral("%1 %").arg(m_volume->value()));
    m_mono->setChecked(m_model->monoAudio());
    // GIFs have no sound.
    const bool sound = movie && m_model->hasAudio();
    for (QWidget* control : {static_cast<QWidget*>(m_mute), static_cast<QWidget*>(m_mono)})
        control->setEnabled(sound);
    m_volume->setEnabled(sound && !m_model->mute());
    const QLocale locale;
    QString sizes = tr("Original %1").arg(locale.formattedDataSize(m_model->sourceBytes()));
    if (const auto exported = m_model->exportedBytes())
        sizes += QStringLiteral("  →  ") + tr("Exported %1").arg(locale.formattedDataSize(*exported));
    m_sizes->setText(sizes);
    m_action->setCurrentIndex(exporting ? 1 : 0);
    m_format->setEnabled(!exporting);
    // A GIF's size and frame rate come from the GIF preferences.
    m_resolution->setEnabled(!exporting && movie);
    m_syncing = false;
}

} // namespace ui::video
