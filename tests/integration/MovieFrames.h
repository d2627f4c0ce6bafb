#pragma once

#include <QImage>
#include <QList>
#include <QString>

namespace testsupport {

// Every frame of a movie as an image of `size`, decoded by ffmpeg.
QList<QImage> movieFrames(const QString& movie, QSize size);

} // namespace testsupport
