#include "editor/EditorModel.h"

#include "app/Prefs.h"
#include "app/Toast.h"
#include "app/Usage.h"
#include "capture/CaptureContext.h"
#include "capture/FileNamer.h"
#include "capture/HistoryManager.h"
#include "capture/ImageUtils.h"
#include "capture/OutputPipeline.h"
#include "capture/SaveFolder.h"
#include "editor/AnnotationRenderer.h"
#include "editor/ColorPalette.h"
#include "editor/ProjectStore.h"
#include "platform/Platform.h"
#include "text/SensitiveScanner.h"
#include "text/TextRecognizer.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPainter>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>
#include <cmath>

namespace {

// The two formats the renderer draws without converting on every frame.
QImage drawable(const QImage& image) {
    if (image.format() == QImage::Format_ARGB32_Premultiplied || image.format() == QImage::Format_RGB32)
        return image;
    return image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied
                                                         : QImage::Format_RGB32);
}

std::optional<QByteArray> optionalPNG(const QImage& image) {
    if (image.isNull()) return std::nullopt;
    return ImageUtils::data(image, QStringLiteral("png"));
}

} // namespace

EditorModel::EditorModel(const QImage& image, double scale, QObject* parent) : QObject(parent) {
    m_scene.baseImage = drawable(image);
    m_scene.scale = scale > 0 ? scale : 1.0;
    m_customColors = ColorPalette::load();
}

EditorModel::~EditorModel() = default;

std::unique_ptr<EditorModel> EditorModel::make(const ProjectDocument& document) {
    const QImage image = ImageUtils::decoded(document.imagePNG);
    if (image.isNull()) return nullptr;
    auto model = std::make_unique<EditorModel>(image, document.scale);
    EditorScene& scene = model->m_scene;
    scene.annotations = document.annotations;
    scene.padding = document.padding;
    scene.cornerRadius = document.cornerRadius;
    scene.background = Backgrounds::parse(document.background).value_or(BackgroundStyle::None);
    scene.isWindowCapture = document.isWindowCapture;
    scene.windowShadow = document.windowShadow;
    if (document.backdropPNG) scene.backdropImage = ImageUtils::decoded(*document.backdropPNG);
    if (document.customBackgroundPNG)
        scene.customBackground = ImageUtils::decoded(*document.customBackgroundPNG);
    model->m_nextCounter = document.nextCounter;
    model->m_nextStep = document.nextStep;
    model->recalcBadgeCounters();
    model->openedFromProject = true;
    return model;
}

ProjectDocument EditorModel::makeProject() const {
    ProjectDocument document;
    document.savedAt = QDateTime::currentDateTimeUtc();
    document.imagePNG = ImageUtils::data(m_scene.baseImage, QStringLiteral("png"));
    document.scale = m_scene.scale;
    document.annotations = m_scene.annotations;
    document.padding = m_scene.padding;
    document.cornerRadius = m_scene.cornerRadius;
    document.background = Backgrounds::raw(m_scene.background);
    document.nextCounter = m_nextCounter;
    document.nextStep = m_nextStep;
    if (!sourceURL.isEmpty()) document.sourceFileName = QFileInfo(sourceURL).fileName();
    document.isWindowCapture = m_scene.isWindowCapture;
    document.windowShadow = m_scene.windowShadow;
    document.backdropPNG = optionalPNG(m_scene.backdropImage);
    document.customBackgroundPNG = optionalPNG(m_scene.customBackground);
    return document;
}

// --- Selection and draft ----------------------------------------------------------------

void EditorModel::setSelectedID(const std::optional<QUuid>& id) {
    if (m_selectedID == id) return;
    m_selectedID = id;
    emit selectionChanged();
}

std::optional<Annotation> EditorModel::selectedAnnotation() const {
    if (!m_selectedID) return std::nullopt;
    for (const auto& annotation : m_scene.annotations)
        if (annotation.id == *m_selectedID) return annotation;
    return std::nullopt;
}

void EditorModel::setDraft(const std::optional<Annotation>& draft) {
    m_draft = draft;
    emit draftChanged();
}

// --- Style ----------------------------------------------------------------------------------

namespace {
template <typename T> bool assign(T& field, const T& value) {
    if (field == value) return false;
    field = value;
    return true;
}
} // namespace

void EditorModel::setTool(EditorTool tool) {
    if (assign(m_tool, tool)) emit styleChanged();
}
void EditorModel::setColor(const QColor& color) {
    if (assign(m_color, color)) emit styleChanged();
}
void EditorModel::setUseBrandGradient(bool on) {
    if (assign(m_useBrandGradient, on)) emit styleChanged();
}
void EditorModel::setLineWidth(double width) {
    if (assign(m_lineWidth, width)) emit styleChanged();
}
void EditorModel::setFontSize(double size) {
    if (assign(m_fontSize, size)) emit styleChanged();
}
void EditorModel::setOpacity(double opacity) {
    if (assign(m_opacity, std::clamp(opacity, 0.0, 1.0))) emit styleChanged();
}
void EditorModel::setObjectShadow(bool on) {
    if (assign(m_objectShadow, on)) emit styleChanged();
}
void EditorModel::setFontName(const std::optional<QString>& name) {
    if (assign(m_fontName, name)) emit styleChanged();
}
void EditorModel::setTextStyle(TextStyle style) {
    if (assign(m_textStyle, style)) emit styleChanged();
}
void EditorModel::setEmoji(const QString& emoji) {
    if (assign(m_emoji, emoji)) emit styleChanged();
}
void EditorModel::setCropAspect(CropAspect aspect) {
    if (assign(m_cropAspect, aspect)) emit styleChanged();
}
void EditorModel::setSmartHighlight(bool on) {
    if (assign(m_smartHighlight, on)) emit styleChanged();
}

void EditorModel::setBlurStyle(BlurStyle style) {
    if (assign(m_blurStyle, style)) emit styleChanged();
    auto selected = selectedAnnotation();
    if (!selected || selected->tool != EditorTool::Blur || selected->blurStyle == style) return;
    pushUndo();
    selected->blurStyle = style;
    updateAnnotation(*selected);
}

void EditorModel::saveCurrentColor() {
    if (m_customColors.contains(m_color)) return;
    m_customColors.append(m_color);
    ColorPalette::save(m_customColors);
    emit customColorsChanged();
}

Annotation EditorModel::newAnnotation(const QPointF& p1, const QPointF& p2) const {
    Annotation a;
    a.tool = m_tool;
    a.p1 = p1;
    a.p2 = p2;
    a.color = m_color;
    a.brandGradient = m_useBrandGradient;
    a.blurStyle = m_blurStyle;
    a.lineWidth = m_lineWidth;
    a.fontSize = m_fontSize;
    a.fontName = m_fontName;
    a.textStyle = m_textStyle;
    a.opacity = m_opacity;
    a.shadow = m_objectShadow;
    if (m_tool == EditorTool::Counter) a.number = m_nextCounter;
    if (m_tool == EditorTool::Step) a.number = m_nextStep;
    if (m_tool == EditorTool::Emoji) a.text = m_emoji;
    if (m_tool == EditorTool::Freehand) a.points = {p1};
    return a;
}

// --- Beautify -------------------------------------------------------------------------------

void EditorModel::setPadding(double padding) {
    if (assign(m_scene.padding, std::max(0.0, padding))) emit beautifyChanged();
}
void EditorModel::setCornerRadius(double radius) {
    if (assign(m_scene.cornerRadius, std::max(0.0, radius))) emit beautifyChanged();
}
void EditorModel::setBackground(BackgroundStyle style) {
    if (!assign(m_scene.background, style)) return;
    Usage::count(QStringLiteral("editor.background"));
    emit beautifyChanged();
}
void EditorModel::setIsWindowCapture(bool on) {
    if (assign(m_scene.isWindowCapture, on)) emit beautifyChanged();
}
void EditorModel::setWindowShadow(bool on) {
    if (assign(m_scene.windowShadow, on)) emit beautifyChanged();
}
void EditorModel::setBackdropImage(const QImage& image) {
    m_scene.backdropImage = image;
    emit beautifyChanged();
}
void EditorModel::setCustomBackground(const QImage& image) {
    m_scene.customBackground = image;
    emit beautifyChanged();
}

void EditorModel::applyPreset(const BeautifyPreset& preset) {
    pushUndo();
    setBackground(Backgrounds::parse(preset.style).value_or(BackgroundStyle::None));
    setPadding(preset.padding);
    setCornerRadius(preset.radius);
}

// --- Annotations ----------------------------------------------------------------------------

void EditorModel::addAnnotation(const Annotation& annotation) {
    pushUndo();
    m_scene.annotations.append(annotation);
    recalcBadgeCounters();
    emit annotationsChanged();
    setSelectedID(annotation.id);
    Usage::count(QStringLiteral("editor.tool.") + editorToolNames.raw(annotation.tool));
}

void EditorModel::updateAnnotation(const Annotation& annotation) {
    for (auto& existing : m_scene.annotations) {
        if (existing.id != annotation.id) continue;
        existing = annotation;
        recalcBadgeCounters();
        emit annotationsChanged();
        return;
    }
}

void EditorModel::duplicateSelected() {
    auto copy = selectedAnnotation();
    if (!copy) return;
    copy->id = QUuid::createUuid();
    addAnnotation(*copy);
}

void EditorModel::deleteSelected() {
    if (!selectedAnnotation()) return;
    pushUndo();
    const QUuid id = *m_selectedID;
    m_scene.annotations.removeIf([&](const Annotation& a) { return a.id == id; });
    m_blurCache.remove(id);
    recalcBadgeCounters();
    emit annotationsChanged();
    setSelectedID(std::nullopt);
}

void EditorModel::clearAnnotations() {
    if (m_scene.annotations.isEmpty()) return;
    pushUndo();
    m_scene.annotations.clear();
    m_blurCache.clear();
    recalcBadgeCounters();
    emit annotationsChanged();
    setSelectedID(std::nullopt);
}

// --- History --------------------------------------------------------------------------------

EditorModel::Snapshot EditorModel::snapshot() const {
    return {m_scene.annotations,  m_scene.baseImage,  m_scene.padding,
            m_scene.cornerRadius, m_scene.background, m_scene.isWindowCapture};
}

void EditorModel::restore(const Snapshot& s) {
    m_scene.annotations = s.annotations;
    emit annotationsChanged();
    if (s.baseImage.cacheKey() != m_scene.baseImage.cacheKey()) setBaseImage(s.baseImage);
    m_scene.padding = s.padding;
    m_scene.cornerRadius = s.cornerRadius;
    m_scene.background = s.background;
    m_scene.isWindowCapture = s.isWindowCapture;
    emit beautifyChanged();
    setSelectedID(std::nullopt);
}

void EditorModel::pushUndo() {
    m_undoStack.append(snapshot());
    if (m_undoStack.size() > undoLimit) m_undoStack.removeFirst();
    m_redoStack.clear();
    emit historyChanged();
}

void EditorModel::undo() {
    if (m_undoStack.isEmpty()) return;
    const Snapshot previous = m_undoStack.takeLast();
    m_redoStack.append(snapshot());
    restore(previous);
    recalcBadgeCounters();
    emit historyChanged();
}

void EditorModel::redo() {
    if (m_redoStack.isEmpty()) return;
    const Snapshot next = m_redoStack.takeLast();
    m_undoStack.append(snapshot());
    restore(next);
    recalcBadgeCounters();
    emit historyChanged();
}

// --- Badges ---------------------------------------------------------------------------------

void EditorModel::recalcBadgeCounters() {
    int counter = 0;
    int step = 0;
    for (const auto& a : m_scene.annotations) {
        if (a.tool == EditorTool::Counter) counter = std::max(counter, a.number);
        if (a.tool == EditorTool::Step) step = std::max(step, a.number);
    }
    if (m_nextCounter == counter + 1 && m_nextStep == step + 1) return;
    m_nextCounter = counter + 1;
    m_nextStep = step + 1;
    emit countersChanged();
}

// --- Smart highlight --------------------------------------------------------------------------

QRectF EditorModel::snappedHighlightRect(const QRectF& input) const {
    const QRectF rect = input.normalized();
    if (!m_smartHighlight || m_wordBoxes.isEmpty()) return input;
    // A click rather than a drag probes the words around it.
    const QRectF probe = rect.width() < 5 && rect.height() < 5 ? rect.adjusted(-8, -8, 8, 8) : rect;
    QRectF united;
    for (const QRectF& box : m_wordBoxes)
        if (box.intersects(probe) || (probe.isEmpty() && box.contains(probe.center())))
            united = united.isNull() ? box : united.united(box);
    if (united.isNull()) return input;
    const double dx = united.height() * 0.08;
    const double dy = united.height() * 0.16;
    return united.adjusted(-dx, -dy, dx, dy).intersected(QRectF(QPointF(0, 0), imageSize()));
}

void EditorModel::setWordBoxes(const QList<QRectF>& boxes) {
    m_wordBoxes = boxes;
    emit wordBoxesChanged();
}

void EditorModel::prepareSmartHighlight() {
    const int generation = ++m_wordBoxGeneration;
    m_wordBoxesWanted = true;
    QtConcurrent::run([image = m_scene.baseImage] {
        return TextRecognizer::wordBoxes(image);
    }).then(this, [this, generation](const QList<QRectF>& boxes) {
        if (generation == m_wordBoxGeneration) setWordBoxes(boxes);
    });
}

// --- Image operations -------------------------------------------------------------------------

void EditorModel::setBaseImage(const QImage& image) {
    m_scene.baseImage = drawable(image);
    // Patches and word boxes were cut from the old pixels.
    m_blurCache.clear();
    ++m_imageGeneration;
    m_sensitiveHits.clear();
    m_sensitiveScanned = false;
    emit baseImageChanged();
    emit sensitiveChanged();
    if (m_wordBoxesWanted) {
        m_wordBoxes.clear();
        prepareSmartHighlight();
    }
}

void EditorModel::transformAnnotations(const std::function<QPointF(QPointF)>& map, double sizeFactor) {
    for (auto& a : m_scene.annotations) {
        a.p1 = map(a.p1);
        a.p2 = map(a.p2);
        for (auto& point : a.points)
            point = map(point);
        a.lineWidth *= sizeFactor;
        a.fontSize *= sizeFactor;
    }
    emit annotationsChanged();
}

void EditorModel::applyCrop(const QRectF& rect) {
    const QRect pixels = rect.normalized().toAlignedRect().intersected(m_scene.baseImage.rect());
    if (pixels.width() < 1 || pixels.height() < 1 || pixels == m_scene.baseImage.rect()) return;
    pushUndo();
    const QPointF origin = pixels.topLeft();
    transformAnnotations([origin](QPointF p) { return p - origin; });
    setBaseImage(m_scene.baseImage.copy(pixels));
}

void EditorModel::rotate(bool clockwise) {
    pushUndo();
    const double w = imageSize().width();
    const double h = imageSize().height();
    if (clockwise)
        transformAnnotations([h](QPointF p) { return QPointF(h - p.y(), p.x()); });
    else
        transformAnnotations([w](QPointF p) { return QPointF(p.y(), w - p.x()); });
    // Boxes keep p1 as their top left corner after the turn.
    for (auto& a : m_scene.annotations) {
        if (a.tool == EditorTool::Arrow || a.tool == EditorTool::Line || a.tool == EditorTool::Freehand)
            continue;
        if (a.tool == EditorTool::Text || a.tool == EditorTool::Emoji || a.tool == EditorTool::Counter ||
            a.tool == EditorTool::Step)
            continue;
        const QRectF box = QRectF(a.p1, a.p2).normalized();
        a.p1 = box.topLeft();
        a.p2 = box.bottomRight();
    }
    setBaseImage(ImageUtils::rotated90(m_scene.baseImage, clockwise));
}

void EditorModel::flip(bool horizontal) {
    pushUndo();
    const double w = imageSize().width();
    const double h = imageSize().height();
    if (horizontal)
        transformAnnotations([w](QPointF p) { return QPointF(w - p.x(), p.y()); });
    else
        transformAnnotations([h](QPointF p) { return QPointF(p.x(), h - p.y()); });
    setBaseImage(ImageUtils::flipped(m_scene.baseImage, horizontal));
}

void EditorModel::resizeImage(int width) {
    if (width < 1 || width == m_scene.baseImage.width()) return;
    pushUndo();
    const double factor = double(width) / m_scene.baseImage.width();
    const int height = std::max(1, int(std::lround(m_scene.baseImage.height() * factor)));
    transformAnnotations([factor](QPointF p) { return p * factor; }, factor);
    setBaseImage(ImageUtils::scaled(m_scene.baseImage, QSize(width, height)));
}

void EditorModel::expandCanvas(int top, int left, int bottom, int right, const std::optional<QColor>& fill) {
    top = std::max(0, top);
    left = std::max(0, left);
    bottom = std::max(0, bottom);
    right = std::max(0, right);
    if (top + left + bottom + right == 0) return;
    pushUndo();
    const QImage& base = m_scene.baseImage;
    QImage canvas(base.width() + left + right, base.height() + top + bottom,
                  QImage::Format_ARGB32_Premultiplied);
    canvas.fill(fill.value_or(Qt::transparent));
    {
        QPainter painter(&canvas);
        painter.drawImage(QPoint(left, top), base);
    }
    const QPointF offset(left, top);
    transformAnnotations([offset](QPointF p) { return p + offset; });
    setBaseImage(canvas);
}

void EditorModel::applyCutOut(const QImage& cutOut) {
    if (cutOut.isNull()) return;
    pushUndo();
    const QImage& next = cutOut;
    if (next.size() != m_scene.baseImage.size()) {
        const double fx = double(next.width()) / m_scene.baseImage.width();
        const double fy = double(next.height()) / m_scene.baseImage.height();
        transformAnnotations([fx, fy](QPointF p) { return QPointF(p.x() * fx, p.y() * fy); });
    }
    setBaseImage(next);
}

void EditorModel::combine(const QList<QImage>& images, bool vertical, double gap,
                          const std::optional<QColor>& fill) {
    QList<QImage> parts{m_scene.baseImage};
    for (const auto& image : images)
        if (!image.isNull()) parts.append(image);
    if (parts.size() < 2) return;
    pushUndo();
    const int gapPixels = std::max(0, int(std::lround(gap * m_scene.scale)));
    int along = 0;
    int across = 0;
    for (const auto& part : parts) {
        along += vertical ? part.height() : part.width();
        across = std::max(across, vertical ? part.width() : part.height());
    }
    along += gapPixels * int(parts.size() - 1);
    QImage canvas(vertical ? across : along, vertical ? along : across, QImage::Format_ARGB32_Premultiplied);
    canvas.fill(fill.value_or(Qt::transparent));
    QPointF baseOffset;
    {
        QPainter painter(&canvas);
        int position = 0;
        for (int i = 0; i < parts.size(); ++i) {
            const QImage& part = parts[i];
            // Centred across the strip, edge to edge along it with the gap between.
            const int centre = (across - (vertical ? part.width() : part.height())) / 2;
            const QPoint at = vertical ? QPoint(centre, position) : QPoint(position, centre);
            if (i == 0) baseOffset = at;
            painter.drawImage(at, part);
            position += (vertical ? part.height() : part.width()) + gapPixels;
        }
    }
    transformAnnotations([baseOffset](QPointF p) { return p + baseOffset; });
    setBaseImage(canvas);
}

// --- Output -----------------------------------------------------------------------------------

std::optional<QImage> EditorModel::renderFinal() {
    QImage image = AnnotationRenderer::render(m_scene, m_blurCache);
    if (image.isNull()) return std::nullopt;
    return image;
}

void EditorModel::copyToClipboard() {
    auto image = renderFinal();
    if (!image) return;
    Usage::count(QStringLiteral("editor.copy"));
    // Pasted at its size on screen rather than its pixel size.
    image->setDevicePixelRatio(m_scene.scale);
    if (const auto& clipboard = platform::services().clipboard) clipboard->setImage(*image);
    Toast::show(QStringLiteral("Copied"));
}

QString EditorModel::suggestedFileName() const {
    if (!sourceURL.isEmpty()) return QFileInfo(sourceURL).completeBaseName();
    const QString name = FileNamer::filename(QStringLiteral("png"), QDateTime::currentDateTime(),
                                             CaptureContext{}, m_scene.scale);
    return QFileInfo(name).completeBaseName();
}

std::optional<QString> EditorModel::saveToDefaultLocation() {
    const auto image = renderFinal();
    if (!image) return std::nullopt;
    const auto encoded =
        ImageUtils::encode(*image, Prefs::text(QStringLiteral("imageFormat")), m_scene.scale);
    const auto path =
        SaveFolder::write(encoded.bytes, suggestedFileName() + QLatin1Char('.') + encoded.format);
    if (!path) return std::nullopt;
    Usage::count(QStringLiteral("editor.save"));
    Toast::show(QStringLiteral("Saved to ") + *path);
    return path;
}

std::optional<QString> EditorModel::saveViaPanel() {
    if (!m_panels.chooseSaveFile) return std::nullopt;
    const QString format = Prefs::text(QStringLiteral("imageFormat"));
    const QString suggested =
        QDir(SaveFolder::directory()).filePath(suggestedFileName() + QLatin1Char('.') + format);
    const QString path = m_panels.chooseSaveFile(suggested);
    if (path.isEmpty()) return std::nullopt;
    const auto image = renderFinal();
    if (!image) return std::nullopt;
    const QString suffix = QFileInfo(path).suffix().toLower();
    const auto encoded = ImageUtils::encode(*image, suffix.isEmpty() ? format : suffix, m_scene.scale);
    const auto written = SaveFolder::writeFile(path, encoded.bytes);
    if (written) Toast::show(QStringLiteral("Saved to ") + *written);
    return written;
}

std::optional<QString> EditorModel::exportProject() {
    if (!m_panels.chooseProjectFile) return std::nullopt;
    const QString suggested =
        QDir(SaveFolder::directory()).filePath(suggestedFileName() + QStringLiteral(".pictavia"));
    const QString path = m_panels.chooseProjectFile(suggested);
    if (path.isEmpty()) return std::nullopt;
    const auto written = SaveFolder::writeFile(path, makeProject().toBinary());
    if (written) Toast::show(QStringLiteral("Saved to ") + *written);
    return written;
}

void EditorModel::done() {
    Usage::count(QStringLiteral("editor.done"));
    // A capture from the history takes its edits back there: the file shows them, and the
    // project keeps them editable on the original pixels.
    if (hasEdits() && updateHistoryCapture()) persistProject();
    if (onDone) onDone();
}

bool EditorModel::hasEdits() const {
    return canUndo() || !m_scene.annotations.isEmpty() || m_scene.padding > 0 ||
           m_scene.background != BackgroundStyle::None;
}

bool EditorModel::updateHistoryCapture() {
    if (sourceURL.isEmpty() || HistoryManager::captureIdOf(sourceURL).isEmpty()) return false;
    const auto image = renderFinal();
    if (!image) return false;
    const QString name = QFileInfo(sourceURL).fileName();
    const auto format = ImageUtils::formatNamed(QFileInfo(sourceURL).suffix());
    const auto encoded = ImageUtils::encode(*image, format.value_or(QStringLiteral("png")), m_scene.scale);
    if (!format || encoded.format != *format) {
        Toast::show(QStringLiteral("Could not update %1: this format cannot be written").arg(name));
        return false;
    }
    // Written in place rather than replaced: the file keeps its creation date, and with it
    // its place among the captures.
    QFile file(sourceURL);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(encoded.bytes) != encoded.bytes.size()) {
        Toast::show(QStringLiteral("Could not update %1: %2").arg(name, file.errorString()));
        return false;
    }
    file.close();
    // Read again: its size and text are the edited image's now.
    HistoryManager::addToIndex(sourceURL, CaptureContext{});
    return true;
}

void EditorModel::extractText() {
    struct Read {
        Result<QString> text;
        QStringList codes;
    };
    QtConcurrent::run([image = m_scene.baseImage] {
        return std::make_shared<Read>(
            Read{TextRecognizer::recognize(image), TextRecognizer::barcodePayloads(image)});
    }).then(this, [](const std::shared_ptr<Read>& read) {
        if (read->text)
            OutputPipeline::deliverText(*read->text, read->codes);
        else
            Toast::show(QStringLiteral("Text recognition failed: ") + read->text.error().message);
    });
}

// --- Sensitive data and background removal ------------------------------------------------------

void EditorModel::scanForSensitive() {
    if (m_scanningSensitive) return;
    m_scanningSensitive = true;
    emit busyChanged();
    const int generation = m_imageGeneration;
    QtConcurrent::run([image = m_scene.baseImage] {
        return SensitiveScanner::scan(image);
    }).then(this, [this, generation](const QList<SensitiveHit>& hits) {
        m_scanningSensitive = false;
        emit busyChanged();
        // The image changed while the scan ran: its boxes no longer fit.
        if (generation != m_imageGeneration) return;
        m_sensitiveHits = hits;
        m_sensitiveScanned = true;
        emit sensitiveChanged();
        if (hits.isEmpty())
            Toast::show(QStringLiteral("No sensitive data found"));
        else
            Toast::show(hits.size() == 1 ? QStringLiteral("Found 1 item to redact")
                                         : QStringLiteral("Found %1 items to redact").arg(hits.size()));
    });
}

void EditorModel::redactDetected() {
    if (m_sensitiveHits.isEmpty()) return;
    pushUndo();
    for (const auto& hit : std::as_const(m_sensitiveHits)) {
        Annotation blur = newAnnotation(hit.rect.topLeft(), hit.rect.bottomRight());
        blur.tool = EditorTool::Blur;
        blur.shadow = false;
        m_scene.annotations.append(blur);
    }
    const auto count = m_sensitiveHits.size();
    m_sensitiveHits.clear();
    emit annotationsChanged();
    emit sensitiveChanged();
    Usage::count(QStringLiteral("editor.redact"));
    Toast::show(count == 1 ? QStringLiteral("Redacted 1 item")
                           : QStringLiteral("Redacted %1 items").arg(count));
}

void EditorModel::removeBackground() {
    if (m_removingBackground) return;
    if (!platform::services().subjectLifter) {
        Toast::show(QStringLiteral("Background removal is not available"));
        return;
    }
    m_removingBackground = true;
    emit busyChanged();
    const int generation = m_imageGeneration;
    QtConcurrent::run([image = m_scene.baseImage] {
        return std::make_shared<Result<QImage>>(platform::services().subjectLifter->lift(image));
    }).then(this, [this, generation](const std::shared_ptr<Result<QImage>>& lifted) {
        m_removingBackground = false;
        emit busyChanged();
        if (!*lifted) {
            Toast::show(lifted->error().message);
            return;
        }
        if (generation == m_imageGeneration) applyCutOut(lifted->value());
    });
}

void EditorModel::chooseCustomBackground() {
    if (!m_panels.chooseImageFile) return;
    const QString path = m_panels.chooseImageFile();
    if (path.isEmpty()) return;
    QFile file(path);
    const QImage image = file.open(QIODevice::ReadOnly) ? ImageUtils::decoded(file.readAll()) : QImage();
    if (image.isNull()) {
        Toast::show(QStringLiteral("Pictavia cannot open that file"));
        return;
    }
    pushUndo();
    setCustomBackground(image);
    setBackground(BackgroundStyle::CustomImage);
}

// --- Projects ---------------------------------------------------------------------------------

bool EditorModel::persistProject() {
    // A capture keeps its project in the store; an exported project opened on its own is
    // written back where it came from.
    std::optional<QString> written;
    if (!sourceURL.isEmpty())
        written = ProjectStore::save(makeProject(), sourceURL);
    else if (!projectFileURL.isEmpty())
        written = SaveFolder::writeFile(projectFileURL, makeProject().toBinary());
    if (!written) return false;
    projectFileURL = *written;
    didPersistProject = true;
    return true;
}

void EditorModel::persistProjectOnCloseIfNeeded() {
    if (didPersistProject) return;
    const bool worthKeeping =
        !m_scene.annotations.isEmpty() || m_scene.padding > 0 || m_scene.background != BackgroundStyle::None;
    if (openedFromProject || worthKeeping) persistProject();
}
