#pragma once

#include <QPoint>
#include <QRect>

#include <functional>
#include <optional>

class QWidget;

// The part of the screen a recording takes while it runs on a desktop that copies the screen
// as it is shown (Wayland's screencopy and screen-cast portal): whatever of ours is there
// would be in the movie. Our floating windows ask here where they may show meanwhile. On X11
// the recording leaves our windows out of its frames itself, and nothing is kept here.
//
// Per kind of window:
// - toasts go where they miss the recorded area (beside it, or on another display), and wait
//   for the end of the recording where there is no such place: a message matters, but not
//   in the user's movie;
// - quick access cards and pins over the area are hidden for the recording's length and come
//   back after it: they are for the user, who has them back once the recording ends;
// - the recording controls are placed beside the area already; the click ripples, the
//   keystroke panel and the camera bubble belong in the picture and are left alone;
// - our ordinary windows (editors, the main window) stay: the user arranges them like any
//   program's, and on a tiling desktop hiding one would rearrange the very windows recorded.
// Where the compositor places our windows itself (Wayland without the layer shell) none of
// them can be kept to a place, and where it does not tell where a recorded window is (GNOME)
// no place is known to be clear: there every toast waits and every card and pin hides.
//
// GUI thread only.
namespace ui::recordedArea {

// Root pixels; none where the recorded window's place is not known, which then may be anywhere.
using Area = std::function<std::optional<QRect>()>;

// A recording of `area` begins; its first frame follows once the windows are out of the way.
// Streams may overlap (a still taken through the screen-cast portal while a recording runs):
// each begin() returns the number its end() takes.
int begin(Area area);
// That recording has ended. After the last, the held windows come back, then the `afterwards`
// work runs.
void end(int recording);
bool active();

// Whether a window of ours at `root` (root pixels) would be in the recorded picture.
bool covers(const QRect& root);

// Moves `window`, about to show or showing, where it misses the recorded area: beside the
// area on its own display, else on another display as near as can be. False, with the window
// left where it was, when there is no such place. True at once when it misses it already.
bool moveOutside(QWidget& window);

// `window` is hidden for the recording's length and shown again when it ends, unless it is
// let go of (hidden for good by its owner) before.
void hold(QWidget* window);
void letGo(QWidget* window);
bool holds(const QWidget* window);

// Runs when the recording ends, after the held windows are back.
void afterwards(std::function<void()> work);

} // namespace ui::recordedArea
