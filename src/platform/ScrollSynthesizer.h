#pragma once

#include "common/Result.h"

#include <QPoint>

namespace platform {

// Turns the scroll wheel of the pointer on behalf of the user, as if they did it: the
// content under the pointer scrolls. Safe to call from the main thread only.
class ScrollSynthesizer {
public:
    virtual ~ScrollSynthesizer() = default;

    // True when synthesised input reaches other programs; otherwise an error whose
    // sentence says what is missing.
    virtual Result<bool> available() = 0;

    // Puts the pointer at a point of the root window, so that the wheel reaches the
    // window under it.
    virtual Result<bool> movePointer(const QPoint& rootPoint) = 0;

    // Turns the wheel `notches` notches: positive moves the content forward (down, or
    // right when `horizontal`), negative back. Returns once the server has the events.
    virtual Result<bool> turnWheel(int notches, bool horizontal) = 0;
};

} // namespace platform
