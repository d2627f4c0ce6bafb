#include "platform/media/DenoisingVoiceIsolator.h"

namespace platform::media {

Result<bool> DenoisingVoiceIsolator::isolate(const QString&, const QString&, const Progress&) {
    return Error{QStringLiteral("Voice cleaning is not written yet")};
}

} // namespace platform::media
