#include "MovieFrames.h"

#include "ChildProcess.h"

namespace testsupport {

QList<QImage> movieFrames(const QString& movie, QSize size) {
    auto ffmpeg = ChildProcess::start(
        // The file's own pictures: raw output would otherwise be made constant-rate at a rate
        // guessed from the timestamps, repeating pictures where a recording's frames came unevenly.
        "ffmpeg",
        {"-v", "error", "-i", movie.toStdString(), "-fps_mode", "passthrough", "-f", "rawvideo", "-pix_fmt",
         "rgb24", "-"},
        {});
    const std::string raw = ffmpeg->finish(std::chrono::seconds(60)).out;
    const qsizetype frameBytes = qsizetype(size.width()) * size.height() * 3;
    QList<QImage> frames;
    for (qsizetype at = 0; at + frameBytes <= qsizetype(raw.size()); at += frameBytes)
        frames.append(QImage(reinterpret_cast<const uchar*>(raw.data() + at), size.width(), size.height(),
                             size.width() * 3, QImage::Format_RGB888)
                          .copy());
    return frames;
}

} // namespace testsupport
