#pragma once

#include <QImage>

// A Gaussian blur approximated by three box blurs per axis, which costs the same for any
// radius. Edges are extended, so borders do not darken.
namespace GaussianBlur {

// `sigma` is the standard deviation in pixels. Colour images come back as
// ARGB32_Premultiplied; Alpha8 and Grayscale8 images keep their format.
QImage blurred(const QImage& image, double sigma);

} // namespace GaussianBlur
