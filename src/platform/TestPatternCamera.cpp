#include "platform/TestPatternCamera.h"

#include <QPainter>

#include <atomic>
#include <chrono>
#include <thread>

namespace platform {

struct TestPatternCamera::Running {
    std::atomic<bool> stopping{false};
    std::thread thread;
};

TestPatternCamera::TestPatternCamera() = default;

TestPatternCamera::~TestPatternCamera() {
    TestPatternCamera::stop();
}

QImage TestPatternCamera::paint(QSize size, int frameNumber) {
    QImage image(size, QImage::Format_RGB32);
    const int half = size.width() / 2;
    QPainter painter(&image);
    painter.fillRect(0, 0, half, size.height(), QColor(220, 30, 30));
    painter.fillRect(half, 0, size.width() - half, size.height(), QColor(30, 30, 220));
    const int bar = std::max(4, size.height() / 12);
    const int top = (frameNumber * 4) % std::max(1, size.height() - bar);
    painter.fillRect(0, top, size.width(), bar, Qt::white);
    return image;
}

Result<bool> TestPatternCamera::start(const CameraSettings& settings, FrameHandler onFrame,
                                      ErrorHandler /*onError*/) {
    stop();
    m_running = std::make_unique<Running>();
    const QSize size = settings.size.isValid() ? settings.size : QSize(640, 480);
    const auto period = std::chrono::microseconds(1'000'000 / std::max(1, settings.fps));
    Running* running = m_running.get();
    running->thread = std::thread([running, size, period, onFrame = std::move(onFrame)] {
        auto due = std::chrono::steady_clock::now();
        for (int frame = 0; !running->stopping; ++frame) {
            const QImage image = paint(size, frame);
            const auto now = std::chrono::steady_clock::now();
            onFrame(image,
                    std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch()).count());
            due += period;
            if (due < now) due = now; // a slow receiver: keep the rate, don't catch up
            std::this_thread::sleep_until(due);
        }
    });
    return true;
}

void TestPatternCamera::stop() {
    if (!m_running) return;
    m_running->stopping = true;
    if (m_running->thread.joinable()) m_running->thread.join();
    m_running.reset();
}

const QString CamerasWithTestPattern::id = QStringLiteral("test-pattern");

CamerasWithTestPattern::CamerasWithTestPattern(std::unique_ptr<Cameras> others)
    : m_others(std::move(others)) {}

bool CamerasWithTestPattern::enabled() {
    return qEnvironmentVariable("PICTAVIA_TEST_CAMERA") == QLatin1String("1");
}

QList<CameraInfo> CamerasWithTestPattern::list() {
    QList<CameraInfo> cameras = m_others ? m_others->list() : QList<CameraInfo>();
    if (enabled()) cameras.append(CameraInfo{id, QStringLiteral("Test pattern")});
    return cameras;
}

Result<std::unique_ptr<Camera>> CamerasWithTestPattern::open(const QString& wanted) {
    if (enabled() && wanted == id) return std::unique_ptr<Camera>(std::make_unique<TestPatternCamera>());
    Result<std::unique_ptr<Camera>> other =
        m_others ? m_others->open(wanted)
                 : Result<std::unique_ptr<Camera>>(Error{QStringLiteral("No camera is connected.")});
    if (!other && enabled() && wanted.isEmpty())
        return std::unique_ptr<Camera>(std::make_unique<TestPatternCamera>());
    return other;
}

} // namespace platform
