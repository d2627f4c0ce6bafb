#pragma once

#include <QString>

class QLabel;
class QWidget;

namespace ui {

// A semi-bold heading `scale` times the size of the page's text.
QLabel* heading(const QString& text, double scale, QWidget* parent);
// The heading of a section on a main-window page, with room above it.
QLabel* sectionTitle(const QString& text, QWidget* parent);

} // namespace ui
