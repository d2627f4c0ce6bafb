#include "editor/ColorPalette.h"

#include "app/AppPaths.h"
#include "common/Log.h"
#include "editor/Annotation.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <optional>

namespace ColorPalette {

namespace {

QString filePath() {
    return AppPaths::dataDirectory() + QStringLiteral("/colors.json");
}

// "#RRGGBBAA", alpha last (QColor's own parser reads eight digits as #AARRGGBB).
QString hexText(const QColor& color) {
    const QColor rgb = color.toRgb();
    return QStringLiteral("#%1%2%3%4")
        .arg(rgb.red(), 2, 16, QLatin1Char('0'))
        .arg(rgb.green(), 2, 16, QLatin1Char('0'))
        .arg(rgb.blue(), 2, 16, QLatin1Char('0'))
        .arg(rgb.alpha(), 2, 16, QLatin1Char('0'))
        .toUpper();
}

std::optional<QColor> parseHex(const QString& text) {
    if (!text.startsWith(QLatin1Char('#')) || (text.size() != 7 && text.size() != 9)) return std::nullopt;
    bool ok = false;
    const uint value = text.mid(1).toUInt(&ok, 16);
    if (!ok) return std::nullopt;
    if (text.size() == 7) return QColor::fromRgb((value >> 16) & 0xFF, (value >> 8) & 0xFF, value & 0xFF);
    return QColor::fromRgb((value >> 24) & 0xFF, (value >> 16) & 0xFF, (value >> 8) & 0xFF, value & 0xFF);
}

} // namespace

QList<QColor> load() {
    QFile file(filePath());
    if (!file.open(QIODevice::ReadOnly)) return {};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isArray()) return {};
    QList<QColor> colors;
    // Entries that cannot be read are skipped; the rest of the palette still counts.
    for (const QJsonValue item : document.array()) {
        std::optional<QColor> color;
        if (item.isString())
            color = parseHex(item.toString());
        else if (item.isObject())
            color = CodableColor::decode(item.toObject().toVariantMap());
        if (color) colors.append(*color);
    }
    return colors;
}

void save(const QList<QColor>& colors) {
    QJsonArray array;
    for (const QColor& color : colors)
        array.append(hexText(color));
    const QString path = filePath();
    QDir().mkpath(AppPaths::dataDirectory());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(array).toJson()) < 0 || !file.commit())
        qCWarning(lcPictavia, "Could not write the colour palette to %s", qPrintable(path));
}

} // namespace ColorPalette
