#include "ui/ThemeIcons.h"

#include <QApplication>

namespace ui {
namespace {

bool renders(const QString& name) {
    return !QIcon::fromTheme(name).pixmap(16, 16).isNull();
}

// Once per run: keeps the desktop's theme when it has icons, else picks an installed one.
void chooseTheme() {
    static const bool chosen = [] {
        const QString probe = QStringLiteral("document-open");
        if (renders(probe)) return true;
        const QString desktop = QIcon::themeName();
        for (const QString& candidate : {QStringLiteral("breeze"), QStringLiteral("Adwaita")}) {
            QIcon::setThemeName(candidate);
            if (renders(probe)) return true;
        }
        QIcon::setThemeName(desktop);
        return false;
    }();
    Q_UNUSED(chosen);
}

} // namespace

QIcon themeIcon(const QString& name, QStyle::StandardPixmap fallback) {
    chooseTheme();
    if (renders(name)) return QIcon::fromTheme(name);
    if (fallback != QStyle::SP_CustomBase) return QApplication::style()->standardIcon(fallback);
    return {};
}

} // namespace ui
