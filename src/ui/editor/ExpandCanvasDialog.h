#pragma once

#include <QColor>

#include <optional>

class QWidget;

namespace ui::editor {

// Asks how much room to add on each side of the image and what fills it.
struct CanvasExpansion {
    int top = 0, left = 0, bottom = 0, right = 0;
    std::optional<QColor> fill; // none: transparent
};

// None when cancelled or nothing would change.
std::optional<CanvasExpansion> askCanvasExpansion(QWidget* parent);

} // namespace ui::editor
