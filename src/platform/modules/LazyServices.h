#pragma once

#include "platform/MovieRewriter.h"
#include "platform/Platform.h"

namespace platform::modules {

// Text recognition, barcodes, background removal, movies, documents and archives, each
// standing in for its module (pictavia-ocr.so, -vision, -media, -document, -archive) and
// loading it on its first call, so that commands and flows that never need one never pay
// for its libraries. A module that cannot be loaded makes each call fail with a sentence
// that says what is not available and why; it never stops the program.
// Cameras come with the test pattern when PICTAVIA_TEST_CAMERA=1 (see TestPatternCamera.h).
Services lazyServices();

} // namespace platform::modules
