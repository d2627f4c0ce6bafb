#pragma once

#include "platform/Clipboard.h"

namespace platform::qt {

// The clipboard of this process's Qt application; it serves the data for as long as the
// process runs, so it suits the resident application.
class QtClipboard : public Clipboard {
public:
    void setImage(const QImage& image, const QByteArray& pngBytes) override;
    void setText(const QString& text) override;
    void setFiles(const QStringList& paths) override;
    Contents contents() const override;
};

// For short-lived runs (the command line): an X11 clipboard dies with its owner, so a
// small detached "pictavia --serve-clipboard" process takes the data over and serves it
// until another program or a later copy takes the clipboard, or as ClipboardServerLifetime
// says.
class DetachedClipboard : public Clipboard {
public:
    explicit DetachedClipboard(QString executable);
    void setImage(const QImage& image, const QByteArray& pngBytes) override;
    void setText(const QString& text) override;
    void setFiles(const QStringList& paths) override;
    Contents contents() const override;

private:
    void handOver(const QString& kind, const QByteArray& data);
    QString m_executable;
};

// The serving side of DetachedClipboard: reads and deletes the hand-over file, owns the
// clipboard, and returns when the clipboard passed to another owner or its lifetime is
// over. Needs a QGuiApplication.
int serveClipboard(const QString& kind, const QString& file);

} // namespace platform::qt
