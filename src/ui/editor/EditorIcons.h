#pragma once

#include "editor/EditorTypes.h"

#include <QColor>
#include <QIcon>

class QPainter;

// The editor's icons, drawn as strokes on a 24-point grid so that every one has the same
// weight and stays crisp at any device pixel ratio.
namespace ui::editor::icons {

enum class Glyph {
    Undo,
    Redo,
    Copy,
    Save,
    Done,
    Beautify,
    ZoomIn,
    ZoomOut,
    Plus,
    Scan,
    Text,
    RemoveBackground
};

// `ink` for the normal state, white when checked (on the accent) and faded when disabled.
QIcon tool(EditorTool tool, const QColor& ink);
QIcon glyph(Glyph glyph, const QColor& ink);

// The tool's drawing on a 24 × 24 box at the painter's origin, in the pen's colour.
void paintTool(QPainter& painter, EditorTool tool);

} // namespace ui::editor::icons
