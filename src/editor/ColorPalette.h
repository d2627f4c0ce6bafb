#pragma once

#include <QColor>
#include <QList>

// The colours the user added to the editor's palette, kept in "colors.json" in the
// data folder.
namespace ColorPalette {

QList<QColor> load();
void save(const QList<QColor>& colors);

} // namespace ColorPalette
