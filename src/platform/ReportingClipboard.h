#pragma once

#include "common/Result.h"

#include <QByteArray>
#include <QImage>

namespace platform {

// A clipboard whose copies can fail where the caller must know it: on Wayland a program
// without keyboard focus copies through a helper that may be missing or refused by the
// compositor. The capture output asks for this beside Clipboard to report the copy truly.
class ReportingClipboard {
public:
    virtual ~ReportingClipboard() = default;
    // Like Clipboard::setImage; fails with the reason the copy did not take.
    virtual Result<bool> copyImage(const QImage& image, const QByteArray& pngBytes) = 0;
};

} // namespace platform
