#include "ui/NameDialog.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace ui {

std::optional<QString> DialogNamePrompt::askForName(const QString& title, const QString& message,
                                                    const QString& defaultName) {
    QDialog dialog;
    dialog.setWindowTitle(title);
    dialog.setWindowFlag(Qt::WindowStaysOnTopHint);
    auto* layout = new QVBoxLayout(&dialog);
    auto* heading = new QLabel(QStringLiteral("<b>%1</b>").arg(title.toHtmlEscaped()));
    layout->addWidget(heading);
    layout->addWidget(new QLabel(message));
    auto* field = new QLineEdit(defaultName);
    field->selectAll();
    field->setMinimumWidth(360);
    layout->addWidget(field);
    auto* buttons = new QDialogButtonBox;
    buttons->addButton(QStringLiteral("Save"), QDialogButtonBox::AcceptRole)->setDefault(true);
    buttons->addButton(QStringLiteral("Cancel"), QDialogButtonBox::RejectRole);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    layout->addWidget(buttons);
    dialog.activateWindow();
    if (dialog.exec() != QDialog::Accepted) return std::nullopt;
    return field->text();
}

} // namespace ui
