#pragma once

#include "app/PreferenceEnums.h"

#include <QList>
#include <QMarginsF>
#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QSize>
#include <QSizeF>

#include <array>
#include <optional>

// Geometry and timing of the small windows that float above the desktop: the countdown
// panel, the quick-access cards and pins. Sizes are in points unless said otherwise.
namespace FloatingLayout {

// Root-window pixels to and from Qt's device-independent coordinates on one screen. Qt
// keeps a screen's top-left corner where it is in the root window and divides distances
// from that corner by the screen's pixel ratio.
QRectF toLogical(const QRectF& root, const QPointF& screenOrigin, double ratio);
QRect toRoot(const QRectF& logical, const QPointF& screenOrigin, double ratio);

// A square of `side` points centred on a display, in root pixels.
QRect centredSquare(const QRect& displayRoot, double scale, double side);

// `rect` moved, not resized, to lie inside `area`; one larger than the area keeps its
// top-left corner inside.
QRectF keptInside(const QRectF& rect, const QRectF& area);

// A span cut into three for stretching an image in nine parts: {start, start + first,
// end - last, end}; when the span is shorter than both outer parts, they shrink evenly.
std::array<double, 4> slices(double start, double end, double first, double last);

// Quick-access cards: a thumbnail in a corner of the display, with action buttons over it.
namespace card {

inline constexpr double edgeMargin = 24; // from the display's edges
inline constexpr double spacing = 12;    // between stacked cards
inline constexpr int maxVisible = 4;
inline constexpr QSizeF buttonSize{62, 26};
inline constexpr double buttonGap = 6;
inline constexpr double buttonInset = 8; // buttons keep this far from the card's edges

// The thumbnail width for the "qaoSize" preference.
double width(QAOSize size);
// A card for an image of these proportions: `width(size)` wide, less when the height would
// pass three quarters of that, never smaller than two columns of buttons need.
QSizeF size(const QSize& image, QAOSize qaoSize);
QSizeF minimumSize();
// `count` buttons centred on a card: one row when they fit, else two columns.
QList<QRectF> buttonRects(const QSizeF& card, int count);

struct Placed {
    QRectF area; // the available area of the card's display
    QSizeF size;
};
struct Stack {
    int dropped = 0;          // how many of the oldest cards must go
    QList<QPointF> positions; // top-left corners of the others, oldest first
};
// Cards stacked in the bottom-right corner of their display, the oldest lowest and each
// newer one above it. At most `maxVisible` stay, and the oldest go while a stack would
// run off the top of its display; the newest always stays.
Stack stack(const QList<Placed>& oldestFirst);

} // namespace card

// When a card goes by itself: `seconds` after it appeared (never for 0), the clock stopped
// while the pointer is over it. Leaving the card gives back at least `grace` milliseconds.
class AutoDismiss {
public:
    static constexpr qint64 grace = 1500;

    AutoDismiss(int seconds, qint64 nowMs);
    void setHovered(bool hovered, qint64 nowMs);
    // The clock time the card should go at; none while hovered and when it never goes.
    std::optional<qint64> deadline() const;

private:
    bool m_enabled;
    qint64 m_remaining;
    std::optional<qint64> m_runningSince;
};

// Pins: an image floating above the windows, zoomed with the wheel.
namespace pin {

inline constexpr double minZoom = 0.1;
inline constexpr double maxZoom = 8.0;
inline constexpr double zoomStep = 1.1; // per wheel notch

// The most a pin of `size` points may be zoomed on a screen of `ratio` pixels per point:
// `maxZoom`, less when the window would pass `maxPixels` (its buffer costs four bytes each).
inline constexpr double maxPixels = 24e6;
double zoomLimit(const QSizeF& size, double ratio);
// The zoom after `notches` wheel notches (fractions come from touchpads), between
// `minZoom` and `limit`; passing 100 % stops there.
double zoomed(double zoom, double notches, double limit = maxZoom);
// `rect` scaled by `factor` so the point of the content under `anchor` stays under it.
QRectF scaledAround(const QRectF& rect, const QPointF& anchor, double factor);

// The zoom that fits `size` into `room`, never above 100 % nor below `minZoom`.
double fitting(const QSizeF& size, const QSizeF& room);

struct Placement {
    QRectF rect; // the image's rectangle
    double zoom = 1.0;
};
// A pin of `size` centred on `target` (so exactly over it when the sizes match), zoomed
// out when larger than `area`, and kept inside it.
Placement place(const QSizeF& size, const QRectF& target, const QRectF& area);

// A pin's window around its image and the `margins` of its frame. Windows sit on whole
// points; the image keeps its fraction of a point inside, so on a HiDPI screen it can
// start on any pixel.
struct Frame {
    QRect window;
    QRectF image; // in the window
};
Frame frame(const QRectF& image, const QMarginsF& margins);

} // namespace pin

// The recording controls: a panel beside what is recorded, so it stays out of the picture.
namespace hud {

inline constexpr double gap = 12; // points between the recorded area and the panel

// Where a panel of `panel` root pixels goes for a recording of `recorded` on `display` (root
// pixels, `scale` pixels a point): below the recorded area, else above it, else to its
// right, else its left, each kept `gap` from the area and from the display's edges; when
// none of these has room, at the bottom centre of the display.
QRect place(const QRect& recorded, const QRect& display, const QSize& panel, double scale);

} // namespace hud

} // namespace FloatingLayout
