#pragma once

#include "common/Result.h"
#include "platform/MovieRewriter.h"
#include "recording/WebcamInfo.h"

#include <QFuture>
#include <QImage>
#include <QString>

#include <functional>

// Draws a recording's camera movie into its screen movie: a round bubble at the places the
// bubble had while recording, mirrored when the recording says so. The sound is kept.
class WebcamComposer {
public:
    // How far the work is, 0...1; returning false cancels it.
    using Progress = std::function<bool(double done)>;

    explicit WebcamComposer(platform::MovieRewriter& rewriter);

    // Writes a new movie beside `screen` ("NAME-camera.mov") and returns its path; `screen`
    // and `camera` are left as they are. Blocks: call it off the GUI thread. A cancelled
    // burn-in fails with platform::MovieRewriter::Cancelled and leaves nothing behind.
    Result<QString> burnIn(const QString& screen, const QString& camera, const WebcamInfo& timeline,
                           const Progress& progress = {});
    // The same in the background.
    QFuture<Result<QString>> burnInAsync(const QString& screen, const QString& camera,
                                         const WebcamInfo& timeline, const Progress& progress = {});

    // What a finished recording does: the camera drawn in, in place of `screen`. On failure
    // the screen movie is kept as it was and "Pictavia: camera not drawn in: " and the reason
    // are logged. The camera movie is left for the caller. Blocks. Returns whether it drew.
    bool drawInto(const QString& screen, const QString& camera, const WebcamInfo& timeline);

    // The bubble for `placement` on `frame`: `camera`'s middle square, scaled to
    // placement.size × the frame's width, cut round.
    static void drawBubble(QImage& frame, const QImage& camera, const WebcamPlacement& placement,
                           bool mirrored);
    static QRect bubbleRect(QSize frame, const WebcamPlacement& placement);

private:
    platform::MovieRewriter& m_rewriter;
};
