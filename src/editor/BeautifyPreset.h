#pragma once

#include "common/Result.h"
#include "editor/BackgroundStyle.h"

#include <QList>
#include <QString>
#include <QUuid>
#include <QVariantMap>

#include <optional>

// A named beautify look: a background style with padding and corner radius in points.
struct BeautifyPreset {
    QUuid id = QUuid::createUuid();
    QString name;
    QString style = QStringLiteral("glassCorvanta"); // a BackgroundStyle raw value
    int padding = 64;
    int radius = 14;

    bool operator==(const BeautifyPreset&) const = default;

    // Keyed coding with the keys "id", "name", "style", "padding", "radius".
    QVariantMap encode() const;
    static Result<BeautifyPreset> decode(const QVariantMap& map);

    // The preset of `presets` called `name`, ignoring case and surrounding spaces.
    static std::optional<BeautifyPreset> named(const QList<BeautifyPreset>& presets, const QString& name);
};
