#include "ui/editor/ExpandCanvasDialog.h"

#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QSpinBox>

namespace ui::editor {

std::optional<CanvasExpansion> askCanvasExpansion(QWidget* parent) {
    QDialog dialog(parent);
    dialog.setWindowTitle(QObject::tr("Expand Canvas"));
    auto* form = new QFormLayout(&dialog);
    auto side = [&](const QString& label) {
        auto* box = new QSpinBox;
        box->setRange(0, 4000);
        box->setSuffix(QObject::tr(" px"));
        box->setValue(40);
        form->addRow(label, box);
        return box;
    };
    QSpinBox* top = side(QObject::tr("Top:"));
    QSpinBox* left = side(QObject::tr("Left:"));
    QSpinBox* bottom = side(QObject::tr("Bottom:"));
    QSpinBox* right = side(QObject::tr("Right:"));
    auto* fill = new QComboBox;
    fill->addItem(QObject::tr("White"), QColor(Qt::white));
    fill->addItem(QObject::tr("Black"), QColor(Qt::black));
    fill->addItem(QObject::tr("Transparent"));
    form->addRow(QObject::tr("Fill:"), fill);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    form->addRow(buttons);
    if (dialog.exec() != QDialog::Accepted) return std::nullopt;

    CanvasExpansion expansion{top->value(), left->value(), bottom->value(), right->value(), std::nullopt};
    if (const QVariant color = fill->currentData(); color.isValid()) expansion.fill = color.value<QColor>();
    if (expansion.top + expansion.left + expansion.bottom + expansion.right == 0) return std::nullopt;
    return expansion;
}

} // namespace ui::editor
