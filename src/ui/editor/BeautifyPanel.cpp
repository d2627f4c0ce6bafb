#include "ui/editor/BeautifyPanel.h"

#include "editor/EditorModel.h"
#include "editor/PresetStore.h"
#include "ui/OverlayStyle.h"
#include "ui/editor/BackgroundPreview.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QSlider>
#include <QToolButton>
#include <QVBoxLayout>

#include <cmath>

namespace ui::editor {

namespace {

constexpr QSize swatchSize(62, 42);
constexpr int columns = 3;
// Padding a background gets when it is picked with none, so that it shows at all, and
// the rounding that goes with it.
constexpr int paddingForNewBackground = 48;
constexpr int radiusForNewBackground = 12;

QLabel* heading(const QString& text) {
    auto* label = new QLabel(text);
    QFont font = label->font();
    font.setWeight(QFont::DemiBold);
    label->setFont(font);
    return label;
}

} // namespace

BeautifyPanel::BeautifyPanel(EditorModel* model, QWidget* parent) : QWidget(parent), m_model(model) {
    setObjectName(QStringLiteral("beautifyPanel"));
    setStyleSheet(QStringLiteral("QToolButton#background { border: 2px solid transparent; border-radius: 7px;"
                                 " padding: 0px; background: transparent; }"
                                 "QToolButton#background:hover { border-color: palette(mid); }"
                                 "QToolButton#background:checked { border-color: %1; }")
                      .arg(overlaystyle::accent.name()));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 10, 12, 12);
    layout->setSpacing(8);

    layout->addWidget(heading(tr("Background")));
    auto* grid = new QGridLayout;
    grid->setSpacing(4);
    int index = 0;
    for (BackgroundStyle style : Backgrounds::pickerCases()) {
        auto* button = new QToolButton;
        button->setObjectName(QStringLiteral("background"));
        button->setCheckable(true);
        button->setAutoExclusive(false);
        button->setFocusPolicy(Qt::NoFocus);
        button->setIconSize(swatchSize);
        button->setToolTip(Backgrounds::label(style));
        button->setAccessibleName(Backgrounds::label(style));
        connect(button, &QToolButton::clicked, this, [this, style] { chooseBackground(style); });
        grid->addWidget(button, index / columns, index % columns);
        m_backgrounds.insert(style, button);
        ++index;
    }
    layout->addLayout(grid);

    auto* imageRow = new QHBoxLayout;
    m_desktop = new QPushButton(tr("Desktop"));
    m_desktop->setCheckable(true);
    m_desktop->setToolTip(tr("The desktop picture behind the capture"));
    connect(m_desktop, &QPushButton::clicked, this, [this] { chooseBackground(BackgroundStyle::Desktop); });
    m_customImage = new QPushButton(tr("Image…"));
    m_customImage->setCheckable(true);
    m_customImage->setToolTip(tr("A picture of your choice"));
    connect(m_customImage, &QPushButton::clicked, this, [this] {
        m_model->chooseCustomBackground();
        syncFromModel(); // unchecks the button when the choice was cancelled
    });
    for (QPushButton* button : {m_desktop, m_customImage}) {
        button->setFocusPolicy(Qt::NoFocus);
        imageRow->addWidget(button);
    }
    layout->addLayout(imageRow);

    layout->addSpacing(6);
    m_padding = addSlider(tr("Padding"), 240, &m_paddingValue);
    connectBeautifySlider(m_padding, [this](int value) { m_model->setPadding(value); });
    m_radius = addSlider(tr("Corner radius"), 64, &m_radiusValue);
    connectBeautifySlider(m_radius, [this](int value) { m_model->setCornerRadius(value); });

    m_windowShadow = new QCheckBox(tr("Window shadow"));
    m_windowShadow->setFocusPolicy(Qt::NoFocus);
    m_windowShadow->setToolTip(tr("A shadow under a captured window"));
    connect(m_windowShadow, &QCheckBox::toggled, this, [this](bool on) { m_model->setWindowShadow(on); });
    layout->addWidget(m_windowShadow);

    layout->addSpacing(6);
    layout->addWidget(heading(tr("Presets")));
    m_presets = new QListWidget;
    m_presets->setFocusPolicy(Qt::NoFocus);
    m_presets->setIconSize(QSize(36, 24));
    m_presets->setContextMenuPolicy(Qt::CustomContextMenu);
    m_presets->setMinimumHeight(110);
    connect(m_presets, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) {
        if (const auto preset = PresetStore::shared().find(item->data(Qt::UserRole).toUuid())) {
            m_model->applyPreset(*preset);
            PresetStore::shared().setActiveID(preset->id);
        }
    });
    connect(m_presets, &QListWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        QListWidgetItem* item = m_presets->itemAt(at);
        if (!item) return;
        QMenu menu;
        const QUuid id = item->data(Qt::UserRole).toUuid();
        menu.addAction(tr("Delete Preset"), this, [id] { PresetStore::shared().remove(id); });
        menu.exec(m_presets->viewport()->mapToGlobal(at));
    });
    layout->addWidget(m_presets, 1);
    auto* save = new QPushButton(tr("Save as Preset…"));
    save->setFocusPolicy(Qt::NoFocus);
    connect(save, &QPushButton::clicked, this, &BeautifyPanel::saveAsPreset);
    layout->addWidget(save);

    m_previewTimer.setSingleShot(true);
    m_previewTimer.setInterval(120);
    connect(&m_previewTimer, &QTimer::timeout, this, &BeautifyPanel::renderPreviews);
    connect(model, &EditorModel::baseImageChanged, &m_previewTimer, qOverload<>(&QTimer::start));
    connect(model, &EditorModel::beautifyChanged, this, &BeautifyPanel::syncFromModel);
    connect(&PresetStore::shared(), &PresetStore::presetsChanged, this, &BeautifyPanel::rebuildPresets);
    connect(&PresetStore::shared(), &PresetStore::activeIDChanged, this, &BeautifyPanel::rebuildPresets);
    renderPreviews();
    rebuildPresets();
    syncFromModel();
}

QSlider* BeautifyPanel::addSlider(const QString& label, int maximum, QLabel** value) {
    auto* row = new QHBoxLayout;
    auto* name = new QLabel(label);
    *value = new QLabel;
    (*value)->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    row->addWidget(name);
    row->addStretch(1);
    row->addWidget(*value);
    auto* slider = new QSlider(Qt::Horizontal);
    slider->setRange(0, maximum);
    slider->setFocusPolicy(Qt::NoFocus);
    auto* box = static_cast<QVBoxLayout*>(layout());
    box->addLayout(row);
    box->addWidget(slider);
    return slider;
}

void BeautifyPanel::connectBeautifySlider(QSlider* slider, const std::function<void(int)>& apply) {
    connect(slider, &QSlider::sliderPressed, this, [this] { m_undoOpen = false; });
    connect(slider, &QSlider::valueChanged, this, [this, slider, apply](int value) {
        // One undo step for a whole drag; clicks on the groove are steps of their own.
        if (!slider->isSliderDown() || !m_undoOpen) m_model->pushUndo();
        m_undoOpen = slider->isSliderDown();
        apply(value);
    });
}

void BeautifyPanel::chooseBackground(BackgroundStyle style) {
    if (style == m_model->background()) {
        syncFromModel();
        return;
    }
    m_model->pushUndo();
    m_model->setBackground(style);
    if (style != BackgroundStyle::None && m_model->padding() == 0) {
        m_model->setPadding(paddingForNewBackground);
        if (m_model->cornerRadius() == 0) m_model->setCornerRadius(radiusForNewBackground);
    }
}

void BeautifyPanel::renderPreviews() {
    m_thumbnail = previewThumbnail(m_model->baseImage(), 160);
    const double ratio = devicePixelRatioF();
    for (auto it = m_backgrounds.begin(); it != m_backgrounds.end(); ++it) {
        const QImage preview =
            backgroundPreview(it.key(), m_thumbnail, m_model->backdropImage(), swatchSize, ratio);
        it.value()->setIcon(QIcon(QPixmap::fromImage(preview)));
    }
}

void BeautifyPanel::syncFromModel() {
    const BackgroundStyle current = m_model->background();
    for (auto it = m_backgrounds.begin(); it != m_backgrounds.end(); ++it)
        it.value()->setChecked(it.key() == current);
    m_desktop->setChecked(current == BackgroundStyle::Desktop);
    m_desktop->setEnabled(!m_model->backdropImage().isNull());
    m_customImage->setChecked(current == BackgroundStyle::CustomImage);

    const QSignalBlocker blockPadding(m_padding);
    const QSignalBlocker blockRadius(m_radius);
    const QSignalBlocker blockShadow(m_windowShadow);
    m_padding->setValue(int(std::round(m_model->padding())));
    m_paddingValue->setText(tr("%1 px").arg(m_padding->value()));
    m_radius->setValue(int(std::round(m_model->cornerRadius())));
    m_radiusValue->setText(tr("%1 px").arg(m_radius->value()));
    m_windowShadow->setChecked(m_model->windowShadow());
    m_windowShadow->setVisible(m_model->isWindowCapture());
}

void BeautifyPanel::rebuildPresets() {
    m_presets->clear();
    const PresetStore& store = PresetStore::shared();
    const double ratio = devicePixelRatioF();
    for (const BeautifyPreset& preset : store.presets()) {
        const BackgroundStyle style = Backgrounds::parse(preset.style).value_or(BackgroundStyle::None);
        const QImage preview =
            backgroundPreview(style, m_thumbnail, m_model->backdropImage(), {36, 24}, ratio);
        auto* item = new QListWidgetItem(QIcon(QPixmap::fromImage(preview)), preset.name);
        item->setData(Qt::UserRole, preset.id);
        item->setToolTip(tr("%1, padding %2, radius %3")
                             .arg(Backgrounds::label(style))
                             .arg(preset.padding)
                             .arg(preset.radius));
        m_presets->addItem(item);
        if (store.activeID() == preset.id) item->setSelected(true);
    }
}

void BeautifyPanel::saveAsPreset() {
    bool ok = false;
    const QString name = QInputDialog::getText(window(), tr("Save Preset"), tr("Preset name:"),
                                               QLineEdit::Normal, QString(), &ok)
                             .trimmed();
    if (!ok || name.isEmpty()) return;
    BeautifyPreset preset;
    preset.name = name;
    preset.style = Backgrounds::raw(m_model->background());
    preset.padding = int(std::round(m_model->padding()));
    preset.radius = int(std::round(m_model->cornerRadius()));
    PresetStore::shared().add(preset);
    PresetStore::shared().setActiveID(preset.id);
}

} // namespace ui::editor
