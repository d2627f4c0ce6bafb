#pragma once

#include "common/Result.h"

#include <QImage>
#include <QJsonObject>
#include <QString>

// copy_to_clipboard, pin_screenshot and show_in_pictavia without the agent plumbing.
namespace CaptureActions {

// An image capture goes on the clipboard as an image, a video as its path; or the text.
Result<QJsonObject> copy(const QString& path, const QString& text);

// "pin" (default) floats the image; "hide", "show" and "close" act on every pin.
Result<QJsonObject> pin(const QImage& image, double scale, const QString& action);

// With a file: "editor" (default), "video_editor" (movies), "quick_access", "finder" (also
// "file_manager", "reveal"), "share" (the file manager too: files are shared from there) or
// "default_app". Without one: "home" (default), "library" (also "history"), "agents" or "settings", where
// `settingsTab` names a section of the settings page (or the AI agents page).
Result<QJsonObject> show(const QString& path, const QString& view, const QString& settingsTab = {});

} // namespace CaptureActions
