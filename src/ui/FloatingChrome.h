#pragma once

#include "ui/OverlayStyle.h"

#include "app/DesktopSnapshot.h"
#include "platform/ScreenBackend.h"

#include <QColor>
#include <QImage>
#include <QMarginsF>
#include <QRect>
#include <QRectF>

#include <optional>

class QFont;
class QPainter;
class QScreen;
class QWidget;

// What the floating windows (countdown, quick-access cards, pins) share: their colours,
// where a display is on the Qt side, and a look of depth without a compositing manager.
//
// Without a compositor a window's transparent pixels come out black, so these windows are
// opaque: each paints what is behind it (a Backdrop), and draws its shadows and rounded
// edges over that. A shape mask trims what lies well outside the rounded outline, so the
// live desktop shows there.
namespace ui::chrome {

using overlaystyle::accent;
using overlaystyle::pillFill;

// The QScreen showing a display: the one with the same name, else the one whose top-left
// corner is at the display's.
QScreen* screenFor(const platform::DisplayInfo& display);
// The display as the platform lists it for a QScreen; none when it does not know it.
std::optional<platform::DisplayInfo> displayFor(const QScreen* screen);

// Device-independent rectangles of a screen in root-window pixels, and back.
QRect rootRect(const QScreen* screen, const QRectF& logical);
QRectF logicalRect(const QScreen* screen, const QRect& root);

// What shows behind one floating window: the desktop, and this program's floating windows
// that are below it, drawn live so that they never look stale under its shadow. Under
// Wayland nothing: the compositor blends the window, made see-through, with what is below.
class Backdrop : public DesktopSnapshot {
public:
    explicit Backdrop(QWidget* window);
    ~Backdrop() override;

    // Before the window moves to `root` (root pixels) or is shown there.
    void track(const QRect& root);
    // The window is hidden.
    void release();
    // The window went above the other floating windows.
    void raise();
    // The window looks different: the floating windows above it repaint what they show of it.
    void changed();

    // The backdrop drawn over the whole window at `ratio` pixels per point.
    void paint(QPainter& painter, double ratio) const;
    // The same as an image of the window's size in pixels.
    QImage composed(double ratio) const;

private:
    void repaintOthersOver(const QRect& root) const;

    QWidget* m_window;
};

// A soft shadow under a rounded rectangle.
struct ShadowStyle {
    double blur = 4;    // standard deviation, points
    double offsetY = 2; // downwards, points
    double opacity = 0.45;
    double radius = 10; // of the rectangle casting it
};
// How far a shadow reaches beyond its rectangle on each side.
QMarginsF shadowReach(const ShadowStyle& style);
void paintShadow(QPainter& painter, const QRectF& rect, const ShadowStyle& style, double ratio,
                 double opacity = 1.0);

// A dark rounded pill with white centred text; accent-filled when `highlighted`.
void paintPill(QPainter& painter, const QRectF& rect, const QString& text, const QFont& font,
               bool highlighted = false);

// Makes the X server carry out what was asked of it so far and lets this program's windows
// repaint what that uncovered.
void settle(int milliseconds);

// The dark look of our small control bars (the recording controls, the scrolling panel):
// white labels and flat buttons. `name` is the bar's object name, for its style sheet.
void styleControlBar(QWidget& bar, const QString& name);
// Shows `window` with its top-left at `root`'s (root pixels), on the screen holding its centre.
void showAtRoot(QWidget& window, const QRect& root);

} // namespace ui::chrome
