#include "app/Toast.h"

#include "platform/Platform.h"

#include <cstdio>

namespace Toast {

void show(const QString& text, double seconds) {
    if (auto& presenter = platform::services().toasts)
        presenter->show(text, seconds);
    else
        std::fprintf(stderr, "%s\n", qPrintable(text));
}

void dismiss() {
    if (auto& presenter = platform::services().toasts) presenter->dismiss();
}

} // namespace Toast
