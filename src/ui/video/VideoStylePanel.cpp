#include "ui/video/VideoStylePanel.h"

#include "ui/editor/ColorSwatch.h"
#include "video/VideoEditorModel.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QVBoxLayout>

#include <cmath>

namespace ui::video {

namespace {

constexpr int swatchColumns = 6;
// Padding and rounding a background gets when it is picked with none, so that it shows.
constexpr double paddingForNewBackground = 0.06;
constexpr double radiusForNewBackground = 0.03;

const QList<StudioShape> shapes{StudioShape::original, StudioShape::wide, StudioShape::vertical,
                                StudioShape::square};
const QList<StudioFraming> framings{StudioFraming::fit, StudioFraming::follow};
const QList<CameraPosition> cameraPositions{CameraPosition::recorded, CameraPosition::bottomLeft,
                                            CameraPosition::bottomRight, CameraPosition::topRight,
                                            CameraPosition::topLeft};
const QList<CameraShape> cameraShapes{CameraShape::circle, CameraShape::rounded};

QString percent(int value) {
    return QStringLiteral("%1 %").arg(value);
}

QString times(int tenths) {
    return QStringLiteral("%1×").arg(tenths / 10.0, 0, 'f', 1);
}

} // namespace

VideoStylePanel::VideoStylePanel(VideoEditorModel* model, QWidget* parent) : QWidget(parent), m_model(model) {
    setObjectName(QStringLiteral("videoStylePanel"));
    m_sections = new QVBoxLayout(this);
    m_sections->setContentsMargins(14, 12, 14, 14);
    m_sections->setSpacing(6);

    // Background: the beautify styles as swatches, and a picture of one's own.
    QVBoxLayout* background = section(tr("Background"));
    auto* grid = new QGridLayout;
    grid->setSpacing(6);
    const QList<BackgroundStyle> styles = Backgrounds::pickerCases();
    for (int i = 0; i < styles.size(); ++i) {
        const BackgroundStyle style = styles[i];
        QList<QColor> colors = Backgrounds::swatchColors(style);
        if (colors.isEmpty()) colors = {QColor(0x3A, 0x3C, 0x42)};
        auto* swatch = new editor::ColorSwatch(
            colors, style == BackgroundStyle::None ? tr("None") : Backgrounds::label(style));
        swatch->setObjectName(QStringLiteral("background-") + Backgrounds::raw(style));
        connect(swatch, &QAbstractButton::clicked, this, [this, style] { chooseBackground(style); });
        grid->addWidget(swatch, i / swatchColumns, i % swatchColumns);
        m_swatches.insert(style, swatch);
    }
    background->addLayout(grid);
    m_image = new QPushButton(tr("Image…"));
    m_image->setCheckable(true);
    m_image->setToolTip(tr("A picture of your choice behind the recording"));
    connect(m_image, &QPushButton::clicked, this, &VideoStylePanel::chooseImage);
    background->addWidget(m_image, 0, Qt::AlignLeft);
    auto* backgroundForm = new QFormLayout;
    background->addLayout(backgroundForm);
    m_padding = slider(backgroundForm, tr("Padding"), 0, 20, percent,
                       [this](int v) { edit([v](StudioStyle& s) { s.padding = v / 100.0; }); });
    m_radius = slider(backgroundForm, tr("Corners"), 0, 50, percent,
                      [this](int v) { edit([v](StudioStyle& s) { s.cornerRadius = v / 100.0; }); });
    m_shadow =
        check(background, tr("Shadow"), [this](bool on) { edit([on](StudioStyle& s) { s.shadow = on; }); });

    // The frame's shape and how the recording goes into it.
    QVBoxLayout* frame = section(tr("Frame"));
    auto* frameForm = new QFormLayout;
    frame->addLayout(frameForm);
    m_shape =
        choice(frameForm, tr("Shape"), {tr("Original"), tr("Wide 16:9"), tr("Vertical 9:16"), tr("Square")},
               [this](int i) { edit([i](StudioStyle& s) { s.shape = shapes.value(i); }); });
    m_framing = choice(frameForm, tr("Framing"), {tr("Fit"), tr("Fill, follow the pointer")},
                       [this](int i) { edit([i](StudioStyle& s) { s.framing = framings.value(i); }); });

    // The pointer drawn from the recorded track, and the clicks.
    QVBoxLayout* pointer = section(tr("Pointer"));
    m_drawPointer = check(pointer, tr("Draw the pointer"),
                          [this](bool on) { edit([on](StudioStyle& s) { s.drawPointer = on; }); });
    auto* pointerForm = new QFormLayout;
    pointer->addLayout(pointerForm);
    m_pointerSize = slider(pointerForm, tr("Size"), 6, 25, times,
                           [this](int v) { edit([v](StudioStyle& s) { s.pointerSize = v / 10.0; }); });
    m_smoothing = slider(pointerForm, tr("Smoothing"), 0, 100, percent,
                         [this](int v) { edit([v](StudioStyle& s) { s.pointerSmoothing = v / 100.0; }); });
    m_ripples = check(pointer, tr("Click ripples"),
                      [this](bool on) { edit([on](StudioStyle& s) { s.clickRipples = on; }); });
    m_pointerControls = {m_drawPointer, m_pointerSize, m_smoothing};

    // Zooming in on the clicks.
    QVBoxLayout* zoom = section(tr("Zoom"));
    m_zoom = check(zoom, tr("Zoom in on clicks"), [this](bool on) { m_model->setZoomEnabled(on); });
    auto* zoomForm = new QFormLayout;
    zoom->addLayout(zoomForm);
    m_zoomLevel =
        slider(zoomForm, tr("Level"), 12, 30, times, [this](int v) { m_model->setZoomLevel(v / 10.0); });
    m_zoomHold = slider(
        zoomForm, tr("Hold"), 3, 60, [](int v) { return QStringLiteral("%1 s").arg(v / 10.0, 0, 'f', 1); },
        [this](int v) { m_model->setZoomHold(v / 10.0); });
    m_follow = check(zoom, tr("Follow the pointer while zoomed"),
                     [this](bool on) { edit([on](StudioStyle& s) { s.followPointer = on; }); });

    // The camera bubble.
    QVBoxLayout* camera = section(tr("Camera"));
    m_cameraSection = camera->parentWidget();
    m_camera = check(camera, tr("Show the camera"),
                     [this](bool on) { edit([on](StudioStyle& s) { s.camera = on; }); });
    auto* cameraForm = new QFormLayout;
    camera->addLayout(cameraForm);
    m_cameraPosition =
        choice(cameraForm, tr("Place"),
               {tr("As recorded"), tr("Bottom left"), tr("Bottom right"), tr("Top right"), tr("Top left")},
               [this](int i) { edit([i](StudioStyle& s) { s.cameraPosition = cameraPositions.value(i); }); });
    m_cameraSize = slider(cameraForm, tr("Size"), 5, 25, times,
                          [this](int v) { edit([v](StudioStyle& s) { s.cameraSize = v / 10.0; }); });
    m_cameraShape = choice(cameraForm, tr("Shape"), {tr("Circle"), tr("Rounded")}, [this](int i) {
        edit([i](StudioStyle& s) { s.cameraShape = cameraShapes.value(i); });
    });
    m_cameraBlur = check(camera, tr("Blur the camera's background"),
                         [this](bool on) { edit([on](StudioStyle& s) { s.cameraBlur = on; }); });

    m_sections->addStretch(1);
    connect(m_model, &VideoEditorModel::changed, this, &VideoStylePanel::sync);
    sync();
}

QVBoxLayout* VideoStylePanel::section(const QString& title) {
    auto* box = new QWidget;
    box->setObjectName(QStringLiteral("styleSection"));
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(12, 10, 12, 12);
    layout->setSpacing(8);
    auto* heading = new QLabel(title.toUpper());
    heading->setObjectName(QStringLiteral("sectionHeading"));
    layout->addWidget(heading);
    m_sections->addWidget(box);
    return layout;
}

QSlider* VideoStylePanel::slider(QFormLayout* form, const QString& label, int minimum, int maximum,
                                 std::function<QString(int)> text, std::function<void(int)> apply) {
    auto* row = new QHBoxLayout;
    auto* control = new QSlider(Qt::Horizontal);
    control->setRange(minimum, maximum);
    control->setAccessibleName(label);
    auto* value = new QLabel;
    value->setObjectName(QStringLiteral("sliderValue"));
    value->setMinimumWidth(44);
    value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    value->setText(text(minimum));
    connect(control, &QSlider::valueChanged, value, [value, text](int v) { value->setText(text(v)); });
    connect(control, &QSlider::valueChanged, this, [this, apply](int v) {
        if (!m_syncing) apply(v);
    });
    row->addWidget(control, 1);
    row->addWidget(value);
    form->addRow(label, row);
    return control;
}

QCheckBox* VideoStylePanel::check(QVBoxLayout* layout, const QString& label,
                                  std::function<void(bool)> apply) {
    auto* box = new QCheckBox(label);
    connect(box, &QCheckBox::toggled, this, [this, apply](bool on) {
        if (!m_syncing) apply(on);
    });
    layout->addWidget(box);
    return box;
}

QComboBox* VideoStylePanel::choice(QFormLayout* form, const QString& label, const QStringList& items,
                                   std::function<void(int)> apply) {
    auto* box = new QComboBox;
    box->addItems(items);
    box->setAccessibleName(label);
    connect(box, &QComboBox::currentIndexChanged, this, [this, apply](int i) {
        if (!m_syncing && i >= 0) apply(i);
    });
    form->addRow(label, box);
    return box;
}

void VideoStylePanel::edit(const Edit& change) {
    StudioStyle style = m_model->style();
    change(style);
    m_model->setStyle(style);
}

void VideoStylePanel::chooseBackground(BackgroundStyle background) {
    edit([background](StudioStyle& s) {
        if (s.background == BackgroundStyle::None && background != BackgroundStyle::None) {
            s.padding = std::max(s.padding, paddingForNewBackground);
            s.cornerRadius = std::max(s.cornerRadius, radiusForNewBackground);
        }
        s.background = background;
    });
    sync(); // a swatch clicked twice stays checked
}

void VideoStylePanel::chooseImage() {
    const QString file = QFileDialog::getOpenFileName(this, tr("Background Image"), {},
                                                      tr("Images (*.png *.jpg *.jpeg *.webp)"));
    if (!file.isEmpty())
        edit([&file](StudioStyle& s) {
            s.background = BackgroundStyle::CustomImage;
            s.backgroundImage = file;
            s.padding = std::max(s.padding, paddingForNewBackground);
        });
    sync();
}

void VideoStylePanel::sync() {
    m_syncing = true;
    const StudioStyle& style = m_model->style();
    for (auto it = m_swatches.begin(); it != m_swatches.end(); ++it)
        it.value()->setChecked(it.key() == style.background);
    m_image->setChecked(style.background == BackgroundStyle::CustomImage);
    m_padding->setValue(int(std::lround(style.padding * 100)));
    m_radius->setValue(int(std::lround(style.cornerRadius * 100)));
    m_shadow->setChecked(style.shadow);
    m_shape->setCurrentIndex(int(shapes.indexOf(style.shape)));
    m_framing->setCurrentIndex(int(framings.indexOf(style.framing)));
    m_framing->setEnabled(style.shape != StudioShape::original);
    m_drawPointer->setChecked(style.drawPointer);
    m_pointerSize->setValue(int(std::lround(style.pointerSize * 10)));
    m_smoothing->setValue(int(std::lround(style.pointerSmoothing * 100)));
    m_ripples->setChecked(style.clickRipples);
    // A timeline may hold captions alone: the pointer controls need its pointer track.
    const bool tracked = m_model->timeline() && !m_model->timeline()->cursor.isEmpty();
    for (QWidget* control : m_pointerControls)
        control->setEnabled(tracked);
    m_pointerSize->setEnabled(tracked && style.drawPointer);
    m_smoothing->setEnabled(tracked && style.drawPointer);
    m_ripples->setEnabled(m_model->clicksTracked() || !m_model->clicks().isEmpty());
    m_zoom->setChecked(m_model->zoomEnabled());
    m_zoomLevel->setValue(int(std::lround(m_model->zoomLevel() * 10)));
    m_zoomHold->setValue(int(std::lround(m_model->zoomHold() * 10)));
    m_zoomLevel->setEnabled(m_model->zoomEnabled());
    m_zoomHold->setEnabled(m_model->zoomEnabled());
    m_follow->setChecked(style.followPointer);
    m_follow->setEnabled(m_model->zoomEnabled() && tracked);
    m_camera->setChecked(style.camera);
    m_cameraPosition->setCurrentIndex(int(cameraPositions.indexOf(style.cameraPosition)));
    m_cameraSize->setValue(int(std::lround(style.cameraSize * 10)));
    m_cameraShape->setCurrentIndex(int(cameraShapes.indexOf(style.cameraShape)));
    m_cameraBlur->setChecked(style.cameraBlur);
    m_cameraSection->setVisible(m_model->hasWebcam());
    m_syncing = false;
}

} // namespace ui::video
