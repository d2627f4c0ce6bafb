#include "video/VoiceCleaner.h"

#include "platform/Platform.h"

#include <QDir>
#include <QUuid>

namespace VoiceCleaner {

bool isAvailable() {
    // Asking loads the media module, once.
    auto& isolator = platform::services().voiceIsolator;
    return isolator && isolator->available();
}

Result<QString> isolate(const QString& movie, const std::function<bool(double)>& progress) {
    auto& isolator = platform::services().voiceIsolator;
    if (!isolator) return Error{QStringLiteral("Voice cleaning is not available")};
    const QString destination = QDir::tempPath() + QStringLiteral("/pictavia-clean-") +
                                QUuid::createUuid().toString(QUuid::WithoutBraces) + QStringLiteral(".wav");
    if (auto isolated = isolator->isolate(movie, destination, progress); !isolated) return isolated.error();
    return destination;
}

} // namespace VoiceCleaner
