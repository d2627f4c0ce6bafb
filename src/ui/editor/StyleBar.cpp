#include "ui/editor/StyleBar.h"

#include "editor/BackgroundStyle.h"
#include "editor/EditorModel.h"
#include "ui/OverlayStyle.h"
#include "ui/editor/ColorSwatch.h"
#include "ui/editor/EditorCanvas.h"
#include "ui/editor/EditorIcons.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QToolButton>

#include <cmath>

namespace ui::editor {

namespace {

struct NamedColor {
    QColor color;
    const char* name;
};

const QList<NamedColor>& defaultColors() {
    static const QList<NamedColor> colors{
        {systemRed(), "Red"},           {QColor(255, 149, 0), "Orange"}, {QColor(255, 204, 0), "Yellow"},
        {QColor(52, 199, 89), "Green"}, {QColor(0, 122, 255), "Blue"},   {QColor(175, 82, 222), "Purple"},
        {QColor(255, 45, 85), "Pink"},  {QColor(Qt::black), "Black"},    {QColor(Qt::white), "White"},
    };
    return colors;
}

// Which controls make sense for a kind of annotation.
struct Controls {
    bool color = false, width = false, opacity = false, shadow = false;
    bool font = false, size = false, textStyle = false, blur = false, emoji = false, smart = false,
         crop = false;
};

Controls controlsFor(EditorTool tool) {
    Controls c;
    switch (tool) {
    case EditorTool::Select:
        c.color = c.width = c.opacity = c.shadow = true;
        break;
    case EditorTool::Arrow:
    case EditorTool::Line:
    case EditorTool::Rect:
    case EditorTool::Ellipse:
    case EditorTool::Freehand:
        c.color = c.width = c.opacity = c.shadow = true;
        break;
    case EditorTool::Highlight:
        c.color = c.opacity = c.smart = true;
        break;
    case EditorTool::Text:
        c.color = c.opacity = c.shadow = c.font = c.size = c.textStyle = true;
        break;
    case EditorTool::Emoji:
        c.size = c.emoji = c.shadow = true;
        break;
    case EditorTool::Counter:
    case EditorTool::Step:
        c.color = c.size = c.opacity = c.shadow = true;
        break;
    case EditorTool::Blur:
        c.blur = true;
        break;
    case EditorTool::Spotlight:
        break;
    case EditorTool::Crop:
        c.crop = true;
        break;
    }
    return c;
}

QLabel* caption(const QString& text) {
    auto* label = new QLabel(text);
    label->setObjectName(QStringLiteral("caption"));
    return label;
}

QPushButton* segment(const QString& text, QButtonGroup* group, int id) {
    auto* button = new QPushButton(text);
    button->setObjectName(QStringLiteral("segment"));
    button->setCheckable(true);
    button->setFocusPolicy(Qt::NoFocus);
    group->addButton(button, id);
    return button;
}

const QStringList emojiChoices{
    QStringLiteral("\U0001F600"),   QStringLiteral("\U0001F44D"), QStringLiteral("\u2764\uFE0F"),
    QStringLiteral("\U0001F525"),   QStringLiteral("\u2705"),     QStringLiteral("\u274C"),
    QStringLiteral("\u26A0\uFE0F"), QStringLiteral("\U0001F440"), QStringLiteral("\U0001F389"),
    QStringLiteral("\U0001F914"),   QStringLiteral("\U0001F4A1"), QStringLiteral("\U0001F680"),
};

} // namespace

StyleBar::StyleBar(EditorModel* model, EditorCanvas* canvas, QWidget* parent)
    : QWidget(parent), m_model(model), m_canvas(canvas) {
    setObjectName(QStringLiteral("styleBar"));
    setAttribute(Qt::WA_StyledBackground);
    // The controls of a busy tool may not all fit; they are cut off rather than widening
    // the window.
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    // One height for every tool, so that the canvas does not shift when the tool changes.
    setFixedHeight(40);
    setStyleSheet(
        QStringLiteral(
            "#styleBar { border-bottom: 1px solid palette(mid); }"
            "QLabel#caption { color: palette(placeholder-text); }"
            "QPushButton#segment { border: 1px solid palette(mid); border-radius: 0; padding: 3px 10px;"
            " background: palette(base); min-height: 18px; }"
            "QPushButton#segment:checked { background: %1; border-color: %1; color: white; }")
            .arg(overlaystyle::accent.name()));
    // The controls sit on a row of their natural width, cut off at the bar's right edge
    // when the window is narrower than they need.
    m_row = new QWidget(this);
    auto* layout = new QHBoxLayout(m_row);
    layout->setContentsMargins(10, 0, 10, 0);
    layout->setSpacing(12);

    m_palette = new QWidget;
    m_paletteLayout = new QHBoxLayout(m_palette);
    m_paletteLayout->setContentsMargins(0, 0, 0, 0);
    m_paletteLayout->setSpacing(2);
    layout->addWidget(m_palette);

    m_width = new QSlider(Qt::Horizontal);
    m_width->setRange(1, 24);
    m_width->setFixedWidth(100);
    m_width->setToolTip(tr("Line width"));
    m_widthValue = new QLabel;
    m_widthValue->setMinimumWidth(30);
    m_widthGroup = group({caption(tr("Width")), m_width, m_widthValue});
    layout->addWidget(m_widthGroup);
    connectSlider(m_width, [this](int value) {
        m_model->setLineWidth(value);
        restyle([value](Annotation& a) { a.lineWidth = value; }, false);
    });

    m_opacity = new QSlider(Qt::Horizontal);
    m_opacity->setRange(10, 100);
    m_opacity->setFixedWidth(80);
    m_opacity->setToolTip(tr("Opacity"));
    m_opacityValue = new QLabel;
    m_opacityValue->setMinimumWidth(34);
    m_opacityGroup = group({caption(tr("Opacity")), m_opacity, m_opacityValue});
    layout->addWidget(m_opacityGroup);
    connectSlider(m_opacity, [this](int value) {
        m_model->setOpacity(value / 100.0);
        restyle([value](Annotation& a) { a.opacity = value / 100.0; }, false);
    });

    m_shadow = new QCheckBox(tr("Shadow"));
    m_shadow->setFocusPolicy(Qt::NoFocus);
    layout->addWidget(m_shadow);
    connect(m_shadow, &QCheckBox::toggled, this, [this](bool on) {
        m_model->setObjectShadow(on);
        restyle([on](Annotation& a) { a.shadow = on; });
    });

    m_font = new QComboBox;
    m_font->setFocusPolicy(Qt::NoFocus);
    m_font->addItem(tr("System Bold"));
    m_font->addItems(QFontDatabase::families());
    m_font->setMaxVisibleItems(18);
    m_font->setMinimumContentsLength(9);
    m_font->setToolTip(tr("Font"));
    m_fontGroup = group({caption(tr("Font")), m_font});
    layout->addWidget(m_fontGroup);
    connect(m_font, &QComboBox::activated, this, [this](int index) {
        const std::optional<QString> name =
            index == 0 ? std::nullopt : std::optional<QString>(m_font->itemText(index));
        m_model->setFontName(name);
        restyle([name](Annotation& a) { a.fontName = name; });
        m_canvas->setFocus();
    });

    m_size = new QSpinBox;
    m_size->setRange(8, 240);
    m_size->setSuffix(tr(" px"));
    m_size->setToolTip(tr("Size"));
    m_sizeGroup = group({caption(tr("Size")), m_size});
    layout->addWidget(m_sizeGroup);
    connect(m_size, &QSpinBox::valueChanged, this, [this](int value) {
        if (value == int(std::round(m_model->fontSize()))) return;
        m_model->setFontSize(value);
        restyle([value](Annotation& a) { a.fontSize = value; });
    });
    connect(m_size, &QSpinBox::editingFinished, m_canvas, [this] { m_canvas->setFocus(); });

    m_textStyle = new QButtonGroup(this);
    m_textStyleGroup = group({segment(tr("Plain"), m_textStyle, int(TextStyle::Plain)),
                              segment(tr("Filled"), m_textStyle, int(TextStyle::Filled)),
                              segment(tr("Outlined"), m_textStyle, int(TextStyle::Outlined))});
    m_textStyleGroup->layout()->setSpacing(0);
    layout->addWidget(m_textStyleGroup);
    connect(m_textStyle, &QButtonGroup::idClicked, this, [this](int id) {
        const auto style = TextStyle(id);
        m_model->setTextStyle(style);
        restyle([style](Annotation& a) { a.textStyle = style; });
    });

    m_blurStyle = new QButtonGroup(this);
    m_blurGroup = group({caption(tr("Blur")), segment(tr("Pixelate"), m_blurStyle, int(BlurStyle::Pixelate)),
                         segment(tr("Gaussian"), m_blurStyle, int(BlurStyle::Gaussian))});
    layout->addWidget(m_blurGroup);
    connect(m_blurStyle, &QButtonGroup::idClicked, this, [this](int id) {
        // The model restyles the selected blur itself; the undo step is ours to record.
        const auto selected = m_model->selectedAnnotation();
        if (selected && selected->tool == EditorTool::Blur && selected->blurStyle != BlurStyle(id))
            m_model->pushUndo();
        m_model->setBlurStyle(BlurStyle(id));
    });

    m_emoji = new QComboBox;
    m_emoji->setFocusPolicy(Qt::NoFocus);
    m_emoji->addItems(emojiChoices);
    m_emoji->setToolTip(tr("Emoji"));
    m_emojiGroup = group({caption(tr("Emoji")), m_emoji});
    layout->addWidget(m_emojiGroup);
    connect(m_emoji, &QComboBox::activated, this, [this](int index) {
        const QString emoji = m_emoji->itemText(index);
        m_model->setEmoji(emoji);
        restyle([emoji](Annotation& a) {
            if (a.tool == EditorTool::Emoji) a.text = emoji;
        });
    });

    m_smartHighlight = new QCheckBox(tr("Snap to words"));
    m_smartHighlight->setFocusPolicy(Qt::NoFocus);
    m_smartHighlight->setToolTip(tr("Highlights snap to the words they cover"));
    layout->addWidget(m_smartHighlight);
    connect(m_smartHighlight, &QCheckBox::toggled, this, [this](bool on) { m_model->setSmartHighlight(on); });

    m_aspect = new QComboBox;
    m_aspect->setFocusPolicy(Qt::NoFocus);
    const QList<std::pair<CropAspect, QString>> aspects{
        {CropAspect::Free, tr("Free")},       {CropAspect::Square, tr("Square 1:1")},
        {CropAspect::Wide, tr("Wide 16:9")},  {CropAspect::Standard, tr("Standard 4:3")},
        {CropAspect::Photo, tr("Photo 3:2")}, {CropAspect::Portrait, tr("Portrait 9:16")}};
    for (const auto& [aspect, label] : aspects)
        m_aspect->addItem(label, int(aspect));
    m_aspect->setToolTip(tr("Aspect"));
    m_applyCrop = new QPushButton(tr("Crop"));
    m_applyCrop->setFocusPolicy(Qt::NoFocus);
    auto* cancelCrop = new QPushButton(tr("Cancel"));
    cancelCrop->setFocusPolicy(Qt::NoFocus);
    m_cropGroup = group({caption(tr("Aspect")), m_aspect, m_applyCrop, cancelCrop});
    layout->addWidget(m_cropGroup);
    connect(m_aspect, &QComboBox::activated, this,
            [this](int index) { m_model->setCropAspect(CropAspect(m_aspect->itemData(index).toInt())); });
    connect(m_applyCrop, &QPushButton::clicked, m_canvas, [this] { m_canvas->applyCrop(); });
    connect(cancelCrop, &QPushButton::clicked, m_canvas, [this] { m_canvas->cancel(); });
    connect(m_canvas, &EditorCanvas::cropRectChanged, this,
            [this] { m_applyCrop->setEnabled(m_canvas->hasCropRect()); });
    m_applyCrop->setEnabled(false);

    layout->addStretch(1);

    buildPalette();
    connect(model, &EditorModel::customColorsChanged, this, &StyleBar::buildPalette);
    connect(model, &EditorModel::styleChanged, this, &StyleBar::syncFromModel);
    connect(model, &EditorModel::selectionChanged, this, &StyleBar::syncVisibility);
    syncFromModel();
}

void StyleBar::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    layoutRow();
}

void StyleBar::layoutRow() {
    // Where the tool's controls do not fit (a narrow window, the beautify drawer open),
    // the captions and values give way first, so that every control stays on the bar;
    // the tooltips still name them.
    for (const Compactness level : {Compactness::Full, Compactness::NoValues, Compactness::NoCaptions}) {
        setCompact(level);
        if (m_row->minimumSizeHint().width() <= width()) break;
    }
    m_row->setGeometry(0, 0, std::max(width(), m_row->minimumSizeHint().width()), height());
}

void StyleBar::setCompact(Compactness level) {
    for (QLabel* caption : m_row->findChildren<QLabel*>(QStringLiteral("caption")))
        caption->setVisible(level != Compactness::NoCaptions);
    m_widthValue->setVisible(level == Compactness::Full);
    m_opacityValue->setVisible(level == Compactness::Full);
    for (QWidget* box : m_row->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly))
        if (box->layout()) box->layout()->invalidate();
    m_row->layout()->invalidate();
    m_row->layout()->activate();
}

QWidget* StyleBar::group(const QList<QWidget*>& widgets) {
    auto* box = new QWidget;
    auto* layout = new QHBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    for (QWidget* widget : widgets)
        layout->addWidget(widget);
    return box;
}

void StyleBar::connectSlider(QSlider* slider, const std::function<void(int)>& apply) {
    slider->setFocusPolicy(Qt::NoFocus);
    connect(slider, &QSlider::sliderPressed, this, [this] { m_undoOpen = false; });
    connect(slider, &QSlider::sliderReleased, this, [this] { m_undoOpen = false; });
    connect(slider, &QSlider::valueChanged, this, [this, slider, apply](int value) {
        // A click on the groove or a key is a step of its own; a drag is one step in all.
        if (!slider->isSliderDown()) m_undoOpen = false;
        apply(value);
    });
}

void StyleBar::restyle(const std::function<void(Annotation&)>& change, bool recordUndo) {
    const auto selected = m_model->selectedAnnotation();
    if (!selected) return;
    Annotation changed = *selected;
    change(changed);
    if (changed == *selected) return;
    if (recordUndo || !m_undoOpen) m_model->pushUndo();
    if (!recordUndo) m_undoOpen = true;
    m_model->updateAnnotation(changed);
}

void StyleBar::buildPalette() {
    for (QAbstractButton* swatch : std::as_const(m_swatches))
        swatch->deleteLater();
    m_swatches.clear();
    while (QLayoutItem* item = m_paletteLayout->takeAt(0))
        delete item;

    auto addSwatch = [this](const QColor& color, const QString& name) {
        auto* swatch = new ColorSwatch({color}, name);
        connect(swatch, &QAbstractButton::clicked, this, [this, color] {
            m_model->setUseBrandGradient(false);
            m_model->setColor(color);
            restyle([color](Annotation& a) {
                a.color = color;
                a.brandGradient = false;
            });
        });
        m_paletteLayout->addWidget(swatch);
        m_swatches.append(swatch);
    };
    for (const NamedColor& named : defaultColors())
        addSwatch(named.color, tr(named.name));
    for (const QColor& color : m_model->customColors())
        addSwatch(color, color.name().toUpper());

    auto* brand = new ColorSwatch(Backgrounds::brandColors(), tr("Brand gradient"));
    brand->setObjectName(QStringLiteral("brand"));
    connect(brand, &QAbstractButton::clicked, this, [this] {
        m_model->setUseBrandGradient(true);
        restyle([](Annotation& a) { a.brandGradient = true; });
    });
    m_paletteLayout->addWidget(brand);
    m_swatches.append(brand);

    auto* add = new QToolButton;
    add->setIcon(icons::glyph(icons::Glyph::Plus, palette().color(QPalette::WindowText)));
    add->setIconSize(QSize(14, 14));
    add->setAutoRaise(true);
    add->setFocusPolicy(Qt::NoFocus);
    add->setToolTip(tr("Add a colour to the palette"));
    connect(add, &QToolButton::clicked, this, &StyleBar::chooseCustomColor);
    m_paletteLayout->addWidget(add);
    m_swatches.append(add);
    syncFromModel();
}

void StyleBar::chooseCustomColor() {
    const QColor color = QColorDialog::getColor(m_model->color(), window(), tr("Add Colour"));
    if (!color.isValid()) return;
    m_model->setUseBrandGradient(false);
    m_model->setColor(color);
    m_model->saveCurrentColor();
    restyle([color](Annotation& a) {
        a.color = color;
        a.brandGradient = false;
    });
}

void StyleBar::syncFromModel() {
    const QSignalBlocker blockers[] = {QSignalBlocker(m_width),  QSignalBlocker(m_opacity),
                                       QSignalBlocker(m_shadow), QSignalBlocker(m_font),
                                       QSignalBlocker(m_size),   QSignalBlocker(m_emoji),
                                       QSignalBlocker(m_aspect), QSignalBlocker(m_smartHighlight)};
    for (QAbstractButton* button : std::as_const(m_swatches)) {
        auto* swatch = qobject_cast<ColorSwatch*>(button);
        if (!swatch) continue;
        const bool isBrand = swatch->colors().size() > 1;
        swatch->setChecked(
            m_model->useBrandGradient() ? isBrand : !isBrand && swatch->colors().front() == m_model->color());
    }
    m_width->setValue(int(std::round(m_model->lineWidth())));
    m_widthValue->setText(tr("%1 px").arg(m_width->value()));
    m_opacity->setValue(int(std::round(m_model->opacity() * 100)));
    m_opacityValue->setText(tr("%1 %").arg(m_opacity->value()));
    m_shadow->setChecked(m_model->objectShadow());
    const auto fontName = m_model->fontName();
    m_font->setCurrentIndex(fontName ? std::max(0, m_font->findText(*fontName)) : 0);
    m_size->setValue(int(std::round(m_model->fontSize())));
    if (QAbstractButton* button = m_textStyle->button(int(m_model->textStyle()))) button->setChecked(true);
    if (QAbstractButton* button = m_blurStyle->button(int(m_model->blurStyle()))) button->setChecked(true);
    m_emoji->setCurrentIndex(std::max(0, m_emoji->findText(m_model->emoji())));
    m_aspect->setCurrentIndex(std::max(0, m_aspect->findData(int(m_model->cropAspect()))));
    m_smartHighlight->setChecked(m_model->smartHighlight());
    syncVisibility();
}

void StyleBar::syncVisibility() {
    EditorTool tool = m_model->tool();
    // With the select tool, the controls of what is selected.
    if (const auto selected = m_model->selectedAnnotation(); selected && tool == EditorTool::Select)
        tool = selected->tool;
    const Controls c = controlsFor(tool);
    m_palette->setVisible(c.color);
    m_widthGroup->setVisible(c.width);
    m_opacityGroup->setVisible(c.opacity);
    m_shadow->setVisible(c.shadow);
    m_fontGroup->setVisible(c.font);
    m_sizeGroup->setVisible(c.size);
    m_textStyleGroup->setVisible(c.textStyle);
    m_blurGroup->setVisible(c.blur);
    m_emojiGroup->setVisible(c.emoji);
    m_smartHighlight->setVisible(c.smart);
    m_cropGroup->setVisible(c.crop);
    m_row->layout()->activate();
    layoutRow();
}

} // namespace ui::editor
