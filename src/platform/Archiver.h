#pragma once

#include "common/Result.h"

#include <QString>

namespace platform {

// Writes archives of folders.
class Archiver {
public:
    virtual ~Archiver() = default;

    // Writes a ZIP archive at `destination` holding `folder` itself as its one top-level
    // entry, with everything inside it. A failure leaves no file at `destination`.
    virtual Result<bool> zipFolder(const QString& folder, const QString& destination) = 0;
};

} // namespace platform
