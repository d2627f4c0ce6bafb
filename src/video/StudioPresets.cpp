#include "video/StudioPresets.h"

namespace StudioPresets {

namespace {

// The recording framed on a background with rounded corners and a shadow.
StudioStyle framed() {
    StudioStyle style;
    style.background = BackgroundStyle::Ocean;
    style.padding = 0.06;
    style.cornerRadius = 0.02;
    style.shadow = true;
    return style;
}

} // namespace

QList<StudioPreset> all() {
    StudioPreset none{QStringLiteral("none"), QStringLiteral("the recording as it is, only trimmed"),
                      StudioStyle{}};
    StudioPreset frame{QStringLiteral("framed"),
                       QStringLiteral("on the Ocean background with rounded corners and a shadow"), framed()};
    StudioStyle full = framed();
    full.clickRipples = true;
    full.pointerSize = 1.5;
    StudioPreset studio{
        QStringLiteral("studio"),
        QStringLiteral("framed, zooming toward the clicks, with click ripples and the pointer drawn "
                       "large and smooth"),
        full, true, true};
    return {none, frame, studio};
}

std::optional<StudioPreset> named(const QString& name) {
    for (const StudioPreset& preset : all())
        if (preset.name.compare(name, Qt::CaseInsensitive) == 0) return preset;
    return std::nullopt;
}

} // namespace StudioPresets
