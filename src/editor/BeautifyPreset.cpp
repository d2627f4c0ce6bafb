#include "editor/BeautifyPreset.h"

#include "common/KeyedValues.h"

#include <cmath>
#include <optional>

namespace {

Error invalid(const QString& key, const QString& expectation) {
    return Error{QStringLiteral("The preset's \"%1\" is not %2.").arg(key, expectation)};
}

} // namespace

QVariantMap BeautifyPreset::encode() const {
    return {{QStringLiteral("id"), id.toString(QUuid::WithoutBraces)},
            {QStringLiteral("name"), name},
            {QStringLiteral("style"), style},
            {QStringLiteral("padding"), padding},
            {QStringLiteral("radius"), radius}};
}

Result<BeautifyPreset> BeautifyPreset::decode(const QVariantMap& map) {
    for (const char* key : {"id", "name", "style", "padding", "radius"})
        if (!map.contains(QLatin1String(key)))
            return Error{QStringLiteral("The preset has no \"%1\".").arg(QLatin1String(key))};

    BeautifyPreset preset;
    preset.id = QUuid::fromString(map.value("id").toString());
    if (map.value("id").typeId() != QMetaType::QString || preset.id.isNull()) return invalid("id", "a UUID");
    if (map.value("name").typeId() != QMetaType::QString) return invalid("name", "text");
    preset.name = map.value("name").toString();
    // Style names this version does not know are kept: a newer version may have written them.
    if (map.value("style").typeId() != QMetaType::QString) return invalid("style", "text");
    preset.style = map.value("style").toString();
    const auto padding = KeyedValues::wholeNumber(map.value("padding"));
    if (!padding) return invalid("padding", "a whole number");
    preset.padding = *padding;
    const auto radius = KeyedValues::wholeNumber(map.value("radius"));
    if (!radius) return invalid("radius", "a whole number");
    preset.radius = *radius;
    return preset;
}

std::optional<BeautifyPreset> BeautifyPreset::named(const QList<BeautifyPreset>& presets,
                                                    const QString& name) {
    const QString wanted = name.trimmed();
    for (const BeautifyPreset& preset : presets)
        if (preset.name.compare(wanted, Qt::CaseInsensitive) == 0) return preset;
    return std::nullopt;
}
