#pragma once

#include "editor/BeautifyPreset.h"

#include <QString>

#include <optional>

// Per-capture overrides of the delivery preferences; an empty field leaves the decision
// to the preference of the same meaning.
struct DeliveryOptions {
    std::optional<bool> copyToClipboard;  // "copyToClipboard"
    std::optional<bool> showQuickAccess;  // "showQuickAccess"
    std::optional<bool> autoBeautify;     // "autoBeautify"
    std::optional<BeautifyPreset> preset; // instead of the active preset
    std::optional<bool> askForName;       // "askForName"
    std::optional<bool> autoSave;         // "autoSaveToDisk"
    std::optional<bool> playSound;        // "captureSound"
    std::optional<QString> format;        // "imageFormat"
    std::optional<bool> downscaleRetina;  // "downscaleRetina"
    std::optional<QString> announcement;  // shown instead of the default confirmation

    // Clipboard only: nothing saved to the save folder, no quick access, no prompt.
    static DeliveryOptions copyOnly() {
        DeliveryOptions o;
        o.copyToClipboard = true;
        o.showQuickAccess = false;
        o.askForName = false;
        o.autoSave = false;
        return o;
    }
};
