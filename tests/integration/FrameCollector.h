#pragma once

#include "platform/FrameStream.h"

#include <QImage>
#include <QList>
#include <QString>

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace testsupport {

// What a frame stream hands over (frames with their times, errors), kept for a test to
// wait on and read under `mutex`.
struct FrameCollector {
    std::mutex mutex;
    std::condition_variable arrived;
    QList<QImage> frames;
    QList<qint64> times;
    int errors = 0;
    QString error;
    int framesAtError = -1; // how many frames had come when the error did

    platform::FrameStream::FrameHandler onFrame() {
        return [this](const QImage& frame, qint64 time) {
            const std::lock_guard lock(mutex);
            frames.append(frame);
            times.append(time);
            arrived.notify_all();
        };
    }

    platform::FrameStream::ErrorHandler onError() {
        return [this](const Error& e) {
            const std::lock_guard lock(mutex);
            ++errors;
            error = e.message;
            framesAtError = int(frames.size());
            arrived.notify_all();
        };
    }

    void clear() {
        const std::lock_guard lock(mutex);
        frames.clear();
        times.clear();
        errors = 0;
        error.clear();
        framesAtError = -1;
    }

    // Waits until `count` frames have come (or a minute has passed).
    void waitForFrames(int count) {
        std::unique_lock lock(mutex);
        arrived.wait_for(lock, std::chrono::minutes(1), [&] { return frames.size() >= count; });
    }

    // Waits until an error has come (or `timeout` has passed).
    void waitForError(std::chrono::seconds timeout) {
        std::unique_lock lock(mutex);
        arrived.wait_for(lock, timeout, [&] { return errors > 0; });
    }
};

} // namespace testsupport
