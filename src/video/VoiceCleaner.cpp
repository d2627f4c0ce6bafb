#include "video/VoiceCleaner.h"

namespace VoiceCleaner {

bool isAvailable() {
    return false;
}

Result<QString> isolate(const QString&, const std::function<bool(double)>&) {
    return Error{QStringLiteral("Voice cleaning is not written yet")};
}

} // namespace VoiceCleaner
