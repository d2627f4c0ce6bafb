#include "recording/WebcamComposer.h"

#include "common/Log.h"

#include <QFile>
#include <QFileInfo>
#include <QPainter>
#include <QtConcurrent>

#include <cmath>
#include <cstdio>
#include <optional>

namespace {

// The camera's pictures in step with the screen's: the one shown at a time, read ahead one
// picture at a time, and its round bubble made once for each picture and size.
class CameraTrack {
public:
    explicit CameraTrack(std::unique_ptr<platform::MovieFrameSequence> frames)
        : m_frames(std::move(frames)) {}

    Result<bool> advanceTo(qint64 time) {
        if (!m_next && !m_ended) {
            if (auto read = readNext(); !read) return read;
        }
        // Before the camera's first picture, that picture stands in for the missing ones.
        while (m_next && (m_next->time <= time || m_shown.image.isNull())) {
            m_shown = std::move(*m_next);
            m_next.reset();
            ++m_shownIndex;
            if (auto read = readNext(); !read) return read;
        }
        return true;
    }

    // The bubble of the shown picture, `side` pixels wide.
    const QImage& bubble(int side, bool mirrored) {
        if (m_bubbleIndex != m_shownIndex || m_bubble.width() != side || m_bubbleMirrored != mirrored) {
            m_bubble = roundPicture(m_shown.image, side, mirrored);
            m_bubbleIndex = m_shownIndex;
            m_bubbleMirrored = mirrored;
        }
        return m_bubble;
    }

    bool empty() const { return m_shown.image.isNull(); }

    static QImage roundPicture(const QImage& camera, int side, bool mirrored) {
        QImage bubble(side, side, QImage::Format_ARGB32_Premultiplied);
        bubble.fill(Qt::transparent);
        if (camera.isNull() || side <= 0) return bubble;
        const int square = std::min(camera.width(), camera.height());
        QImage middle =
            camera.copy((camera.width() - square) / 2, (camera.height() - square) / 2, square, square)
                .scaled(side, side, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        if (mirrored) middle = middle.mirrored(true, false);
        QPainter painter(&bubble);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QBrush(middle));
        painter.drawEllipse(QRectF(0, 0, side, side));
        return bubble;
    }

private:
    Result<bool> readNext() {
        auto next = m_frames->next();
        if (!next) return next.error();
        m_next = std::move(next).value();
        if (!m_next) m_ended = true;
        return true;
    }

    std::unique_ptr<platform::MovieFrameSequence> m_frames;
    platform::MovieFrame m_shown;
    std::optional<platform::MovieFrame> m_next;
    bool m_ended = false;
    qint64 m_shownIndex = 0;
    qint64 m_bubbleIndex = -1;
    bool m_bubbleMirrored = false;
    QImage m_bubble;
};

} // namespace

WebcamComposer::WebcamComposer(platform::MovieRewriter& rewriter) : m_rewriter(rewriter) {}

QRect WebcamComposer::bubbleRect(QSize frame, const WebcamPlacement& placement) {
    const int side = int(std::lround(placement.size * frame.width()));
    return QRect(int(std::lround(placement.x * frame.width())),
                 int(std::lround(placement.y * frame.height())), side, side);
}

void WebcamComposer::drawBubble(QImage& frame, const QImage& camera, const WebcamPlacement& placement,
                                bool mirrored) {
    const QRect place = bubbleRect(frame.size(), placement);
    if (place.width() <= 0) return;
    QPainter painter(&frame);
    painter.drawImage(place.topLeft(), CameraTrack::roundPicture(camera, place.width(), mirrored));
}

Result<QString> WebcamComposer::burnIn(const QString& screen, const QString& camera,
                                       const WebcamInfo& timeline, const Progress& progress) {
    auto frames = m_rewriter.frames(camera);
    if (!frames) return frames.error();
    CameraTrack track(std::move(frames).value());
    const QFileInfo info(screen);
    const QString destination = info.dir().filePath(info.completeBaseName() + QStringLiteral("-camera.mov"));
    std::optional<Error> trackError;
    const auto paint = [&](QImage& frame, qint64 time) {
        if (trackError) return;
        if (auto advanced = track.advanceTo(time); !advanced) {
            trackError = advanced.error();
            return;
        }
        const auto placement = timeline.placement(double(time) / 1e6);
        if (!placement || track.empty()) return;
        const QRect place = bubbleRect(frame.size(), *placement);
        if (place.width() <= 0) return;
        QPainter painter(&frame);
        painter.drawImage(place.topLeft(), track.bubble(place.width(), timeline.mirrored));
    };
    // A damaged camera movie stops the work at once rather than at the end.
    const auto going = [&](double done) { return !trackError && (!progress || progress(done)); };
    const auto written = m_rewriter.rewrite(screen, destination, paint, going);
    if (trackError) {
        QFile::remove(destination);
        return *trackError;
    }
    if (!written) return written.error();
    return destination;
}

QFuture<Result<QString>> WebcamComposer::burnInAsync(const QString& screen, const QString& camera,
                                                     const WebcamInfo& timeline, const Progress& progress) {
    return QtConcurrent::run(
        [this, screen, camera, timeline, progress] { return burnIn(screen, camera, timeline, progress); });
}

bool WebcamComposer::drawInto(const QString& screen, const QString& camera, const WebcamInfo& timeline) {
    auto drawn = burnIn(screen, camera, timeline);
    if (drawn) {
        // rename() over the old file is one step: the movie is whole whatever happens.
        if (std::rename(QFile::encodeName(*drawn).constData(), QFile::encodeName(screen).constData()) == 0)
            return true;
        QFile::remove(*drawn);
        drawn = Error{QStringLiteral("Cannot replace %1").arg(QFileInfo(screen).fileName())};
    }
    qCWarning(lcPictavia, "Pictavia: camera not drawn in: %s", qPrintable(drawn.error().message));
    return false;
}
