#include "video/VideoExport.h"

namespace VideoExport {

Result<QString> exportTrimmed(const QString&, const TrimOptions&, const Progress&) {
    return Error{QStringLiteral("Exporting is not built yet")};
}

Result<QString> gifFrom(const QString&, double, double, int, int, GIFQuality,
                        std::shared_ptr<const StudioScene>, const Progress&) {
    return Error{QStringLiteral("Exporting is not built yet")};
}

Result<bool> downmixToMono(const QString&) {
    return Error{QStringLiteral("Exporting is not built yet")};
}

} // namespace VideoExport
