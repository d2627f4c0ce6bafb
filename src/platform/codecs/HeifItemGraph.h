#pragma once

#include <QByteArray>

namespace platform::codecs {

// Whether decoding a HEIF file's images terminates: the images that decoding one image pulls
// in (a grid's tiles, an image's alpha or depth plane) must form no cycle and no deep chain.
// libheif 1.15 follows such references without checking and recurses until the stack or the
// thread limit gives out. False also when the boxes are malformed.
bool heifItemGraphIsSound(const QByteArray& bytes);

} // namespace platform::codecs
