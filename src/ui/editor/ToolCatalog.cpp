#include "ui/editor/ToolCatalog.h"

#include <QObject>

namespace ui::editor {

const QList<ToolInfo>& toolCatalog() {
    static const QList<ToolInfo> catalog{
        {EditorTool::Select, QObject::tr("Select"), QLatin1Char('V')},
        {EditorTool::Arrow, QObject::tr("Arrow"), QLatin1Char('A')},
        {EditorTool::Line, QObject::tr("Line"), QLatin1Char('L')},
        {EditorTool::Rect, QObject::tr("Rectangle"), QLatin1Char('R')},
        {EditorTool::Ellipse, QObject::tr("Ellipse"), QLatin1Char('E')},
        {EditorTool::Freehand, QObject::tr("Pen"), QLatin1Char('P')},
        {EditorTool::Highlight, QObject::tr("Highlighter"), QLatin1Char('H')},
        {EditorTool::Text, QObject::tr("Text"), QLatin1Char('T')},
        {EditorTool::Emoji, QObject::tr("Emoji"), QLatin1Char('J')},
        {EditorTool::Counter, QObject::tr("Counter"), QLatin1Char('N')},
        {EditorTool::Step, QObject::tr("Step"), QLatin1Char('S')},
        {EditorTool::Blur, QObject::tr("Blur"), QLatin1Char('B')},
        {EditorTool::Spotlight, QObject::tr("Spotlight"), QLatin1Char('O')},
        {EditorTool::Crop, QObject::tr("Crop"), QLatin1Char('C')},
    };
    return catalog;
}

const ToolInfo& toolInfo(EditorTool tool) {
    return toolCatalog()[static_cast<int>(tool)];
}

QString toolTip(const ToolInfo& info) {
    return QStringLiteral("%1 (%2)").arg(info.label, info.key);
}

} // namespace ui::editor
