#pragma once

#include <QImage>
#include <QString>

#include <optional>

// What the buttons of a quick-access card and the menu of a pin do with a capture. Each
// tells the user how it went with a toast.
namespace QuickActions {

// The image on the clipboard with PNG bytes: the file's own when it is a PNG, so nothing is
// encoded again.
void copy(const QString& file, const QImage& image);

// A copy of `file` in the "saveDirectory" folder under a name not taken there; the file
// itself when it is already in that folder. The path, or none when it could not be written.
std::optional<QString> save(const QString& file);

// The image as a new file at `path`, in the format its suffix names (PNG, with that suffix,
// when there is no encoder for it).
bool saveImageAs(const QImage& image, const QString& path, double scale);

} // namespace QuickActions
