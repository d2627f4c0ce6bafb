#pragma once

namespace platform::wayland {

// Waits until the compositor has carried out every request this program's Qt windows have
// sent it so far (a window hidden, moved): what it shows next is without them. Qt sends its
// requests when its event loop runs; a caller that holds the GUI thread needs this to have
// them seen. GUI thread, under Qt's Wayland plugin; nothing elsewhere.
void syncQtWindows();

} // namespace platform::wayland
