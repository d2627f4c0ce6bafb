#pragma once

#include "common/Result.h"

#include <QImage>
#include <QSize>
#include <QString>

#include <functional>

namespace platform {

// One export of a movie into a new one.
struct ExportRequest {
    QString source;
    QString destination; // a QuickTime movie (".mov") or MPEG-4 (".mp4"), by its extension
    double start = 0;    // seconds of the source kept: [start, end)
    double end = -1;     // below 0: to the end
    QSize size;          // the written frames; empty: the source's size. Both sides even.
    bool hevc = false;   // HEVC instead of H.264
    bool mute = false;   // no sound written
    double volume = 1.0; // gain on the sound, 0...2
    bool mono = false;   // the sound mixed down to one channel
    QString camera;      // a second movie whose picture at the same time is handed to the drawing
};

// Makes new movies from recordings: trims, scales, re-encodes, changes the sound, and has
// every frame drawn by the caller.
class MovieExporter {
public:
    // Draws the written frame (`target`, Format_RGB32, the request's size) from the source's
    // `picture` shown at `time` (seconds of the source) and the camera movie's picture at that
    // time (null without a camera). Called in time order from one thread.
    using Draw =
        std::function<void(QImage& target, const QImage& picture, double time, const QImage& camera)>;
    // How far the work is, 0...1; returning false cancels it.
    using Progress = std::function<bool(double done)>;

    virtual ~MovieExporter() = default;
    // Writes `request.destination`; without `draw` the picture is scaled to the size. A
    // cancelled or failed export leaves no destination behind; cancelling fails with the
    // code `Cancelled`. Blocks: call it off the GUI thread.
    virtual Result<bool> exportMovie(const ExportRequest& request, const Draw& draw,
                                     const Progress& progress) = 0;
    // Writes `destination` with the pictures of `source` as they are and its sound mixed down
    // to one channel.
    virtual Result<bool> downmixToMono(const QString& source, const QString& destination) = 0;
    // The pictures of `source` between `start` and `end` seconds (end below 0: to the end),
    // `fps` of them a second, each handed to `frame` with its time; returning false from
    // `frame` cancels, as for exportMovie.
    virtual Result<bool>
    sampleFrames(const QString& source, double start, double end, double fps,
                 const std::function<bool(const QImage& picture, double time)>& frame) = 0;

    static constexpr int Cancelled = 3;
};

} // namespace platform
