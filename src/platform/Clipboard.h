#pragma once

#include <QImage>
#include <QString>
#include <QStringList>

namespace platform {

// The desktop clipboard.
class Clipboard {
public:
    virtual ~Clipboard() = default;
    // Replaces the clipboard with an image. `pngBytes`, when given, is the same picture
    // already encoded, so the clipboard can offer it without encoding again.
    virtual void setImage(const QImage& image, const QByteArray& pngBytes = {}) = 0;
    virtual void setText(const QString& text) = 0;
    // Replaces the clipboard with files, as a file manager copies them.
    virtual void setFiles(const QStringList& paths) = 0;

    // What the clipboard holds: a picture, or the paths of copied files (or neither).
    struct Contents {
        QImage image;
        QStringList files;
    };
    virtual Contents contents() const = 0;
};

} // namespace platform
