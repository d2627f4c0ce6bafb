#pragma once

#include "platform/ScreenBackend.h"

#include <QImage>
#include <QList>
#include <QObject>
#include <QTimer>
#include <QWidget>

#include <functional>

class QScreen;

namespace ui {

// One display as an overlay covers it: where Qt puts it and what was on it when the
// overlay came up.
struct OverlayDisplay {
    platform::DisplayInfo display;
    QScreen* screen = nullptr; // Qt's screen showing the display
    QRect logicalGeometry;     // the display in Qt's device-independent coordinates
    QImage snapshot;           // the display's pixels at full size
    bool grabbed = false;      // false when the grab failed and `snapshot` is a plain fill
};

// Every display, each grabbed now. Must run before any overlay shows.
QList<OverlayDisplay> grabOverlayDisplays();

// What the overlay windows report. Positions are in root-window pixels (fractional where
// Qt scales), so a drag that crosses displays reads the same on every window.
// A copy of a snapshot darkened by black at `alpha` (0 to 1), the backdrop of the overlays.
QImage dimmed(const QImage& snapshot, double alpha);

class OverlayInput {
public:
    virtual ~OverlayInput() = default;
    virtual void pointerPressed(QPointF root, Qt::MouseButton button, Qt::KeyboardModifiers modifiers) = 0;
    virtual void pointerMoved(QPointF root, Qt::MouseButtons buttons) = 0;
    virtual void pointerReleased(QPointF root, Qt::MouseButton button) = 0;
    virtual void keyPressed(int key, Qt::KeyboardModifiers modifiers) = 0;
};

// A frameless window over exactly one display, above everything (the window manager
// never sees it), showing the display's snapshot. Subclasses paint on top in the display's
// points; input goes to the OverlayInput.
class OverlayWindow : public QWidget {
    Q_OBJECT
public:
    OverlayWindow(const OverlayDisplay& display, const QString& title, OverlayInput* input);

    const OverlayDisplay& overlayDisplay() const { return m_display; }
    const platform::DisplayInfo& display() const { return m_display.display; }

    // Root-window pixels to the display's points and back to this window's coordinates.
    QPointF pointsFromRoot(QPointF root) const;
    QRectF localFromPoints(const QRectF& points) const;

    // Takes the keyboard and the pointer (an X grab); false when another client holds them.
    bool grabInput();
    void releaseInput();
    // Stops reporting input (the window outlives the flow until Qt deletes it).
    void detachInput() { m_input = nullptr; }

protected:
    // The window's pixels per Qt unit, and the display's points per Qt unit.
    double pixelsPerUnit() const { return m_pixelsPerUnit; }
    double pointsPerUnit() const { return m_pixelsPerUnit / m_display.display.scale; }

    // The part of the snapshot (or of `image`, of the same size) under `area` of the
    // window, at device pixels.
    void drawSnapshot(QPainter& painter, const QImage& image, const QRectF& area) const;
    // Makes the painter draw in the display's points.
    void usePoints(QPainter& painter) const;
    // Repaints the union of two areas given in points, a little larger for antialiasing.
    void updatePoints(const QRectF& a, const QRectF& b);

    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void enterEvent(QEnterEvent* event) override;

private:
    QPointF rootFromLocal(QPointF local) const;
    QPointF rootOf(const QMouseEvent* event) const;

    OverlayDisplay m_display;
    OverlayInput* m_input;
    double m_pixelsPerUnit = 1.0;
};

// The overlay windows of one flow: shows them, keeps the keyboard and pointer grabbed on
// the one under the pointer, and takes them all down before the flow's completion runs.
class OverlaySession : public QObject {
    Q_OBJECT
public:
    OverlaySession() = default;
    ~OverlaySession() override;

    // Takes ownership.
    void add(OverlayWindow* window);
    const QList<OverlayWindow*>& windows() const { return m_windows; }
    // The window over the display holding a root-window point; -1 for none.
    int indexAt(QPointF root) const;

    // Shows every window and grabs input on the one holding `pointer`.
    void show(QPointF pointer);
    // Moves the grab to the window under the pointer (call while no button is held).
    void follow(QPointF root);

    // Hides every window, lets the X server take them down, and runs `then` after
    // `delayMs`, from the event loop (never when the session is destroyed first).
    void dismiss(int delayMs, std::function<void()> then);

private:
    void grabOn(int index);
    void retryGrab();

    QList<OverlayWindow*> m_windows;
    int m_grabbed = -1;
    int m_grabAttempts = 0;
    QTimer m_grabRetry;
};

} // namespace ui
