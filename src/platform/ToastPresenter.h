#pragma once

#include <QString>

namespace platform {

// Shows a short message to the user: a small window near the pointer, or a line on stderr.
class ToastPresenter {
public:
    virtual ~ToastPresenter() = default;
    virtual void show(const QString& text, double seconds) = 0;
    // Takes the message off the screen before a capture, so it is not in the picture.
    virtual void dismiss() {}
};

} // namespace platform
