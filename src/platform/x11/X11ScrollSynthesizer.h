#pragma once

#include "common/Result.h"
#include "platform/ScrollSynthesizer.h"
#include "platform/x11/X11Connection.h"

#include <memory>

namespace platform::x11 {

// Wheel notches and pointer moves through the XTest extension: buttons 4 and 5 for the
// vertical wheel, 6 and 7 for the horizontal one, as a real mouse sends them.
class X11ScrollSynthesizer : public ScrollSynthesizer {
public:
    explicit X11ScrollSynthesizer(std::unique_ptr<X11Connection> connection);

    Result<bool> available() override;
    Result<bool> movePointer(const QPoint& rootPoint) override;
    Result<bool> turnWheel(int notches, bool horizontal) override;

private:
    // Waits until the server has handled everything sent so far.
    Result<bool> sync();

    std::unique_ptr<X11Connection> m_connection;
};

// Connects to $DISPLAY; fails with a sentence when the server cannot be reached.
Result<std::unique_ptr<ScrollSynthesizer>> connectScrollSynthesizer();

} // namespace platform::x11
