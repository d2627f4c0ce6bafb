// pictavia:// URLs come from any program on the desktop: any bytes must give a command
// and readable query items, and a rectangle only of four finite numbers.
#include "app/URLCommands.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QUrl url(QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    const QString command = URLCommands::command(url);
    if (command != command.toLower()) std::abort();
    const URLCommands::QueryItems items = URLCommands::queryItems(url);
    URLCommands::flag(items, QStringLiteral("copy"));
    URLCommands::displayID(items);
    if (const auto rect = URLCommands::rect(items)) {
        for (double v : {rect->x(), rect->y(), rect->width(), rect->height()})
            if (!std::isfinite(v)) std::abort();
    }
    return 0;
}
