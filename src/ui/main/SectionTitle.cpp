#include "ui/main/SectionTitle.h"

#include <QFont>
#include <QLabel>

namespace ui {

QLabel* heading(const QString& text, double scale, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * scale);
    font.setWeight(QFont::DemiBold);
    label->setFont(font);
    return label;
}

QLabel* sectionTitle(const QString& text, QWidget* parent) {
    QLabel* label = heading(text, 1.15, parent);
    label->setContentsMargins(0, 14, 0, 4);
    return label;
}

} // namespace ui
