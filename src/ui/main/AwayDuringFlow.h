#pragma once

#include <functional>

class QWidget;

namespace ui {

// Runs a capture flow started from a window, with the window out of the way: it hides, the
// flow starts once the screen shows what it covered, and the window comes back in front
// when the flow ends, whether it captured something or the user cancelled.
void runAwayFrom(QWidget* window, std::function<void()> start);

} // namespace ui
