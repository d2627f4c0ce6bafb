#pragma once

#include "platform/SubjectLifter.h"

namespace platform::vision {

// Background removal with OpenCV's GrabCut. The border of the picture seeds the
// background, and so does everything inside that matches the border's colour (plain and
// gradient backdrops); the rest starts as probable subject. Large pictures are segmented
// at a reduced size and the mask is scaled back up with a feathered edge. Stateless, so
// safe from any thread.
class GrabCutSubjectLifter : public SubjectLifter {
public:
    Result<QImage> lift(const QImage& image) override;
};

} // namespace platform::vision
