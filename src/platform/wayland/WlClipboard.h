#pragma once

#include "platform/Clipboard.h"
#include "platform/ReportingClipboard.h"

namespace platform::wayland {

// The Wayland clipboard through wl-clipboard's wl-copy and wl-paste. A Wayland client may set
// the selection only while it has the keyboard focus, which a tray program or a command line
// does not have; wl-copy sets it through the compositor's data-control protocol instead and
// keeps serving it after this process ends.
class WlClipboard final : public Clipboard, public ReportingClipboard {
public:
    void setImage(const QImage& image, const QByteArray& pngBytes) override;
    void setText(const QString& text) override;
    void setFiles(const QStringList& paths) override;
    Contents contents() const override;

    Result<bool> copyImage(const QImage& image, const QByteArray& pngBytes) override;
};

} // namespace platform::wayland
