#pragma once

#include "platform/GlobalHotkeys.h"

#include <QKeySequence>
#include <QList>
#include <QString>
#include <QVariantMap>

#include <memory>

namespace platform::wayland {

// One shortcut as the GlobalShortcuts portal takes it: an id of ours, what the desktop's
// settings call it, and the keys we would like (the user may choose others there).
struct PortalShortcut {
    QString id;
    QString description;
    QString preferredTrigger; // "CTRL+SHIFT+Print"
    bool operator==(const PortalShortcut&) const = default;
};

// The shortcut for a combination: its id is the combination's portable text, so that the
// same keys are the same shortcut from one run to the next.
PortalShortcut portalShortcut(const QKeySequence& keys);
// The options of CreateSession: the tokens that name the request and the session.
QVariantMap sessionOptions(const QString& token);

// Global hotkeys through xdg-desktop-portal's GlobalShortcuts interface (KDE Plasma has
// it; GNOME 43 and xdg-desktop-portal-wlr do not); none where the desktop's portal lacks
// it. One session for the program's life; every bind() or unbind() binds the whole set
// anew, and the desktop may ask the user once to confirm them.
std::unique_ptr<GlobalHotkeys> connectPortalShortcuts();

} // namespace platform::wayland
