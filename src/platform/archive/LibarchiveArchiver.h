#pragma once

#include "platform/Archiver.h"

namespace platform::archive {

// ZIP archives written with libarchive.
class LibarchiveArchiver : public Archiver {
public:
    Result<bool> zipFolder(const QString& folder, const QString& destination) override;
};

} // namespace platform::archive
