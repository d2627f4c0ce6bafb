#pragma once

#include "video/StudioStyle.h"

#include <QList>
#include <QString>

#include <optional>

// Named looks for exporting without the editor (`pictavia video export --studio NAME`).
struct StudioPreset {
    QString name;
    QString description;
    StudioStyle style;
    bool zoom = false;      // the view zooms toward the recorded clicks
    bool pointer = false;   // the pointer is drawn from the recorded track, where there is one
    double zoomLevel = 2.0; // as the editor's automatic zoom
    double zoomHold = 1.6;
};

namespace StudioPresets {

QList<StudioPreset> all();
std::optional<StudioPreset> named(const QString& name);

} // namespace StudioPresets
