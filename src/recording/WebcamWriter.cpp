#include "recording/WebcamWriter.h"

#include "common/Log.h"

#include <QFile>
#include <QtConcurrent>

#include <algorithm>

WebcamWriter::WebcamWriter(platform::MovieWriter& movies, QString path, int fps)
    : m_movies(movies), m_path(std::move(path)), m_fps(std::max(1, fps)) {}

WebcamWriter::~WebcamWriter() {
    const std::lock_guard lock(m_lock);
    // Never finished: what was written is of no use to anyone.
    if (m_file && !m_finished) {
        m_file.reset();
        QFile::remove(m_path);
    }
}

void WebcamWriter::append(const QImage& frame, qint64 time, std::optional<qint64> sessionStart) {
    if (!sessionStart || time < *sessionStart || frame.isNull()) return;
    const std::lock_guard lock(m_lock);
    if (m_failed || m_finished) return;
    // A movie's first picture is shown from its start whatever its stamp says (a fragmented
    // movie keeps no offset), so a camera that came late starts at 0 and the rest keep their
    // places on the screen's timeline.
    const qint64 at = m_frames == 0 ? 0 : time - *sessionStart;
    if (at <= m_lastTime) return; // a picture out of order: its place is taken
    if (!m_file) {
        platform::MovieSettings settings;
        settings.size = QSize(std::max(2, frame.width() & ~1), std::max(2, frame.height() & ~1));
        settings.fps = m_fps;
        settings.bitRate = 1'500'000; // plenty for a face in a bubble
        settings.keyFrameInterval = std::max(2 * m_fps, 30);
        auto file = m_movies.create(m_path, settings);
        if (!file) {
            m_failed = true;
            qCWarning(lcPictavia, "Pictavia: camera movie not written: %s", qPrintable(file.error().message));
            return;
        }
        m_file = std::move(file).value();
    }
    if (auto added = m_file->addVideo(frame, at); !added) {
        m_failed = true;
        qCWarning(lcPictavia, "Pictavia: camera movie not written: %s", qPrintable(added.error().message));
        return;
    }
    m_lastTime = at;
    ++m_frames;
}

int WebcamWriter::frames() const {
    const std::lock_guard lock(m_lock);
    return m_frames;
}

std::optional<QString> WebcamWriter::complete() {
    const std::lock_guard lock(m_lock);
    if (m_finished) return std::nullopt;
    m_finished = true;
    if (!m_file) return std::nullopt;
    const bool written = !m_failed && m_frames > 0 && m_file->finish();
    m_file.reset();
    if (written) return m_path;
    QFile::remove(m_path);
    return std::nullopt;
}

QFuture<std::optional<QString>> WebcamWriter::finish() {
    return QtConcurrent::run([this] { return complete(); });
}
