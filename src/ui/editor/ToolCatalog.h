#pragma once

#include "editor/EditorTypes.h"

#include <QList>
#include <QString>

namespace ui::editor {

// A tool as the toolbar offers it: its name and the single key that picks it.
struct ToolInfo {
    EditorTool tool;
    QString label;
    QChar key;
};

// Every tool in toolbar order.
const QList<ToolInfo>& toolCatalog();
const ToolInfo& toolInfo(EditorTool tool);

// "Arrow (A)".
QString toolTip(const ToolInfo& info);

} // namespace ui::editor
