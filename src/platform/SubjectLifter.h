#pragma once

#include "common/Result.h"

#include <QImage>

namespace platform {

// Separates the subject of a picture from its background.
class SubjectLifter {
public:
    enum Failure { NoSubject = 1, Failed = 2 };
    virtual ~SubjectLifter() = default;
    // The picture with its background made transparent (ARGB32 premultiplied). Errors
    // carry the code NoSubject when nothing stands out, Failed otherwise.
    virtual Result<QImage> lift(const QImage& image) = 0;
};

} // namespace platform
