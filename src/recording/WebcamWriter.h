#pragma once

#include "platform/MovieWriter.h"

#include <QFuture>
#include <QImage>
#include <QString>

#include <memory>
#include <mutex>
#include <optional>

// Writes the camera's pictures to a movie of their own (no sound), on the screen recording's
// timeline, so that the two can be put together afterwards.
class WebcamWriter {
public:
    // The movie is made at `path` when the first picture comes, at that picture's size.
    WebcamWriter(platform::MovieWriter& movies, QString path, int fps = 30);
    ~WebcamWriter();

    // One picture taken at `time` (µs, steady clock), placed at `time - sessionStart`: the
    // screen recording's session start moved on by the time spent paused, none before the
    // session started. Pictures from before the start are dropped. Any thread, one at a time.
    void append(const QImage& frame, qint64 time, std::optional<qint64> sessionStart);

    // Completes the movie in the background: its path, or none when no picture was written
    // or writing failed (the movie is then removed). Later pictures are dropped. The writer
    // must outlive the future.
    QFuture<std::optional<QString>> finish();

    QString url() const { return m_path; }
    int frames() const;

private:
    std::optional<QString> complete();

    platform::MovieWriter& m_movies;
    const QString m_path;
    const int m_fps;
    mutable std::mutex m_lock;
    std::unique_ptr<platform::MovieFile> m_file;
    bool m_failed = false;
    bool m_finished = false;
    int m_frames = 0;
    qint64 m_lastTime = -1;
};
