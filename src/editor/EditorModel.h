#pragma once

#include "editor/Annotation.h"
#include "editor/BackgroundStyle.h"
#include "editor/BeautifyPreset.h"
#include "editor/BlurCache.h"
#include "editor/EditorScene.h"
#include "editor/ProjectDocument.h"
#include "text/SensitiveHit.h"

#include <QColor>
#include <QImage>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QRectF>
#include <QString>
#include <QUuid>

#include <functional>
#include <memory>
#include <optional>

// The document of one editor window: the image, its annotations, the tool and style for
// new annotations, the beautify settings and the undo history. Views observe the signals
// and call the operations; every change a user can undo goes through here. Main thread
// only; recognition, scans and background removal run in the background and land back
// here.
class EditorModel : public QObject {
    Q_OBJECT
public:
    static constexpr int undoLimit = 60;

    EditorModel(const QImage& image, double scale, QObject* parent = nullptr);
    ~EditorModel() override;
    // None when the document's image cannot be read.
    static std::unique_ptr<EditorModel> make(const ProjectDocument& document);
    ProjectDocument makeProject() const;

    // --- Document -------------------------------------------------------------------
    const QImage& baseImage() const { return m_scene.baseImage; }
    double scale() const { return m_scene.scale; }
    QSizeF imageSize() const { return m_scene.imageSize(); }
    QSizeF contentSize() const { return m_scene.contentSize(); }
    const QList<Annotation>& annotations() const { return m_scene.annotations; }
    // Everything the renderer needs.
    const EditorScene& scene() const { return m_scene; }
    BlurCache& blurCache() { return m_blurCache; }
    // The blurred patch of a blur annotation (cached by id and rectangle).
    QImage blurPatch(const Annotation& blur) { return m_blurCache.patch(blur, m_scene.baseImage); }

    std::optional<QUuid> selectedID() const { return m_selectedID; }
    void setSelectedID(const std::optional<QUuid>& id);
    std::optional<Annotation> selectedAnnotation() const;

    // The annotation being dragged, not yet in the list.
    const std::optional<Annotation>& draft() const { return m_draft; }
    void setDraft(const std::optional<Annotation>& draft);

    // --- Style of new annotations (not part of the undo history) -----------------------
    EditorTool tool() const { return m_tool; }
    void setTool(EditorTool tool);
    QColor color() const { return m_color; }
    void setColor(const QColor& color);
    bool useBrandGradient() const { return m_useBrandGradient; }
    void setUseBrandGradient(bool on);
    BlurStyle blurStyle() const { return m_blurStyle; }
    // Also restyles the selected blur annotation.
    void setBlurStyle(BlurStyle style);
    double lineWidth() const { return m_lineWidth; }
    void setLineWidth(double width);
    double fontSize() const { return m_fontSize; }
    void setFontSize(double size);
    double opacity() const { return m_opacity; }
    void setOpacity(double opacity);
    bool objectShadow() const { return m_objectShadow; }
    void setObjectShadow(bool on);
    std::optional<QString> fontName() const { return m_fontName; }
    void setFontName(const std::optional<QString>& name);
    TextStyle textStyle() const { return m_textStyle; }
    void setTextStyle(TextStyle style);
    QString emoji() const { return m_emoji; }
    void setEmoji(const QString& emoji);
    CropAspect cropAspect() const { return m_cropAspect; }
    void setCropAspect(CropAspect aspect);
    bool smartHighlight() const { return m_smartHighlight; }
    void setSmartHighlight(bool on);
    const QList<QColor>& customColors() const { return m_customColors; }
    // Adds `color` to the custom colours and saves the palette.
    void saveCurrentColor();

    // An annotation of the current tool and style between two points, numbered for
    // badges; what a drag or click of the tool would make.
    Annotation newAnnotation(const QPointF& p1, const QPointF& p2) const;

    // --- Beautify (callers push undo first) --------------------------------------------
    double padding() const { return m_scene.padding; }
    void setPadding(double padding);
    double cornerRadius() const { return m_scene.cornerRadius; }
    void setCornerRadius(double radius);
    BackgroundStyle background() const { return m_scene.background; }
    void setBackground(BackgroundStyle style);
    bool isWindowCapture() const { return m_scene.isWindowCapture; }
    void setIsWindowCapture(bool on);
    bool windowShadow() const { return m_scene.windowShadow; }
    void setWindowShadow(bool on);
    const QImage& backdropImage() const { return m_scene.backdropImage; }
    void setBackdropImage(const QImage& image);
    const QImage& customBackground() const { return m_scene.customBackground; }
    void setCustomBackground(const QImage& image);
    // Records undo, then takes background, padding and radius from the preset.
    void applyPreset(const BeautifyPreset& preset);

    // --- Annotation editing --------------------------------------------------------------
    void addAnnotation(const Annotation& annotation);
    // Replaces the annotation with the same id (a move or restyle; callers push undo).
    void updateAnnotation(const Annotation& annotation);
    void duplicateSelected();
    void deleteSelected();
    void clearAnnotations();

    // --- History ------------------------------------------------------------------------------
    void pushUndo();
    void undo();
    void redo();
    bool canUndo() const { return !m_undoStack.isEmpty(); }
    bool canRedo() const { return !m_redoStack.isEmpty(); }
    int undoDepth() const { return int(m_undoStack.size()); }

    // --- Badges ---------------------------------------------------------------------------------
    int nextCounter() const { return m_nextCounter; }
    int nextStep() const { return m_nextStep; }
    void recalcBadgeCounters();

    // --- Smart highlight ------------------------------------------------------------------------
    QRectF snappedHighlightRect(const QRectF& rect) const;
    const QList<QRectF>& wordBoxes() const { return m_wordBoxes; }
    void setWordBoxes(const QList<QRectF>& boxes);
    // Recognises the words of the base image in the background for snapping.
    void prepareSmartHighlight();

    // --- Image operations: record undo, change the image, move the annotations with it --------
    void applyCrop(const QRectF& rect);
    void rotate(bool clockwise);
    void flip(bool horizontal);
    void resizeImage(int width);
    void expandCanvas(int top, int left, int bottom, int right, const std::optional<QColor>& fill);
    void applyCutOut(const QImage& cutOut);
    void combine(const QList<QImage>& images, bool vertical, double gap, const std::optional<QColor>& fill);

    // --- Output -----------------------------------------------------------------------------------
    // Background, image and annotations flattened; none when there is nothing to render.
    std::optional<QImage> renderFinal();
    void copyToClipboard();
    // Writes into the save folder under the capture's name; none when nothing was written.
    std::optional<QString> saveToDefaultLocation();
    // Asks where to save; none when cancelled or failed.
    std::optional<QString> saveViaPanel();
    // Writes the project where the user chooses.
    std::optional<QString> exportProject();
    // Finishes editing: a capture from the history is written back there with its edits
    // (its project keeps them editable), then onDone runs.
    void done();
    void extractText();

    // --- Sensitive data, background removal --------------------------------------------------
    const QList<SensitiveHit>& sensitiveHits() const { return m_sensitiveHits; }
    bool scanningSensitive() const { return m_scanningSensitive; }
    bool sensitiveScanned() const { return m_sensitiveScanned; }
    void scanForSensitive();
    // Covers every hit with a blur annotation, in one undo step.
    void redactDetected();
    bool removingBackground() const { return m_removingBackground; }
    void removeBackground();
    void chooseCustomBackground();

    // --- Files and projects -----------------------------------------------------------------------
    std::function<void()> onDone;
    QString sourceURL;      // the file the image came from
    QString projectFileURL; // the project behind this editor
    bool openedFromProject = false;
    bool didPersistProject = false;
    bool persistProject();
    void persistProjectOnCloseIfNeeded();

    // Dialogs the window supplies; an empty answer means cancelled.
    struct Panels {
        std::function<QString(const QString& suggestedPath)> chooseSaveFile;
        std::function<QString(const QString& suggestedPath)> chooseProjectFile;
        std::function<QString()> chooseImageFile;
    };
    void setPanels(Panels panels) { m_panels = std::move(panels); }

signals:
    void baseImageChanged();
    void annotationsChanged();
    void selectionChanged();
    void draftChanged();
    void styleChanged();
    void beautifyChanged();
    void historyChanged();
    void countersChanged();
    void wordBoxesChanged();
    void sensitiveChanged();
    void busyChanged();
    void customColorsChanged();

private:
    struct Snapshot {
        QList<Annotation> annotations;
        QImage baseImage;
        double padding;
        double cornerRadius;
        BackgroundStyle background;
        bool isWindowCapture;
    };
    Snapshot snapshot() const;
    void restore(const Snapshot& snapshot);
    void setBaseImage(const QImage& image);
    void transformAnnotations(const std::function<QPointF(QPointF)>& map, double sizeFactor = 1.0);
    QString suggestedFileName() const;
    // Anything that makes the result differ from the image it was opened with.
    bool hasEdits() const;
    // Writes the rendered image over the history capture it was opened from, and has the
    // history read it again. False when there is none, or it could not be written.
    bool updateHistoryCapture();

    EditorScene m_scene;
    BlurCache m_blurCache;
    std::optional<QUuid> m_selectedID;
    std::optional<Annotation> m_draft;
    EditorTool m_tool = EditorTool::Arrow;
    QColor m_color = systemRed();
    bool m_useBrandGradient = false;
    BlurStyle m_blurStyle = BlurStyle::Pixelate;
    double m_lineWidth = 4.0;
    double m_fontSize = 28.0;
    double m_opacity = 1.0;
    bool m_objectShadow = true;
    std::optional<QString> m_fontName;
    TextStyle m_textStyle = TextStyle::Plain;
    QString m_emoji = QStringLiteral("\U0001F600");
    CropAspect m_cropAspect = CropAspect::Free;
    bool m_smartHighlight = true;
    QList<SensitiveHit> m_sensitiveHits;
    bool m_scanningSensitive = false;
    bool m_removingBackground = false;
    bool m_sensitiveScanned = false;
    QList<QColor> m_customColors;
    int m_nextCounter = 1;
    int m_nextStep = 1;
    QList<Snapshot> m_undoStack;
    QList<Snapshot> m_redoStack;
    QList<QRectF> m_wordBoxes;
    int m_wordBoxGeneration = 0; // results of recognition started for an older image are dropped
    bool m_wordBoxesWanted = false;
    int m_imageGeneration = 0; // likewise for scans and background removal
    Panels m_panels;
};
