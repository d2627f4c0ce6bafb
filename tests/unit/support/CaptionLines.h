#pragma once

#include "video/CaptionLine.h"

namespace testsupport {

// A caption line with a fresh id.
inline CaptionLine captionLine(double start, double end, const QString& text) {
    CaptionLine line;
    line.start = start;
    line.end = end;
    line.text = text;
    return line;
}

} // namespace testsupport
