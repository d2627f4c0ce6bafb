#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>

#include <functional>

namespace testsupport {

// Runs the event loop until `done` holds or the time is up; whether it holds.
inline bool waitUntil(const std::function<bool()>& done, int milliseconds = 5000) {
    QDeadlineTimer deadline(milliseconds);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    return done();
}

} // namespace testsupport
