#include "platform/wayland/WaylandScreenBackend.h"

#include "platform/wayland/PortalScreenshot.h"
#include "platform/wayland/WaylandLayout.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QMetaObject>
#include <QMutex>
#include <QScreen>
#include <QThread>

#include <cmath>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace platform::wayland {

namespace {

QList<Output> qtOutputs() {
    QList<Output> outputs;
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance())) return outputs;
    for (const QScreen* screen : QGuiApplication::screens())
        outputs.append({screen->name(), screen->geometry(), screen->devicePixelRatio()});
    return outputs;
}

class WaylandScreenBackend final : public ScreenBackend {
public:
    QList<DisplayInfo> displays() override { return layout().displays(); }

    Result<QImage> grabArea(const QRect& rect) override {
        const WaylandLayout current = layout();
        const auto index = current.outputHolding(rect);
        if (rect.isEmpty() || !index) return Error{QStringLiteral("That area is off screen")};
        Result<QImage> picture = takePortalScreenshot();
        if (!picture) return picture.error();
        const QRectF source = current.pictureSource(*index, rect, current.pictureScale(picture->width()));
        const QRect whole = source.toAlignedRect();
        if (!picture->rect().contains(whole))
            return Error{QStringLiteral("The desktop's screenshot does not match its displays.")};
        // Where the picture has the output's own scale this is a plain copy; where the desktop
        // drew it at another scale it is brought back to the output's pixels.
        if (whole.size() == rect.size() && QRectF(whole) == source) return picture->copy(whole);
        // The screen is opaque: without alpha, scaling cannot fade the edges. A desktop that
        // drew the output larger by a whole factor repeated its pixels: one of each block is
        // the output's own.
        const QImage part = picture->copy(whole).convertToFormat(QImage::Format_RGB32);
        const double factor = source.width() / rect.width();
        const bool whole_factor = std::abs(factor - std::round(factor)) < 1e-9;
        return part.scaled(rect.size(), Qt::IgnoreAspectRatio,
                           whole_factor ? Qt::FastTransformation : Qt::SmoothTransformation);
    }

    Result<QImage> grabWindow(uint32_t) override {
        return Error{QStringLiteral("Window captures are not available on Wayland yet."), {}, 2};
    }

    QList<WindowInfo> windows() override { return {}; }

    std::optional<uint32_t> activeWindow() override { return std::nullopt; }

    // A Wayland client learns where the pointer is only while it is over its own windows.
    QPoint pointerPosition() override { return {}; }

private:
    // Qt's screens belong to its main thread: read there, remembered for the other threads.
    WaylandLayout layout() {
        QCoreApplication* app = QCoreApplication::instance();
        if (!app || QThread::currentThread() == app->thread()) {
            QList<Output> outputs = qtOutputs();
            const QMutexLocker lock(&m_mutex);
            m_outputs = outputs;
            return WaylandLayout(outputs);
        }
        {
            const QMutexLocker lock(&m_mutex);
            if (!m_outputs.isEmpty()) return WaylandLayout(m_outputs);
        }
        QList<Output> outputs;
        QMetaObject::invokeMethod(
            app, [&] { outputs = qtOutputs(); }, Qt::BlockingQueuedConnection);
        const QMutexLocker lock(&m_mutex);
        m_outputs = outputs;
        return WaylandLayout(outputs);
    }

    QMutex m_mutex;
    QList<Output> m_outputs;
};

QString socketPath() {
    const QString name = qEnvironmentVariable("WAYLAND_DISPLAY");
    if (name.startsWith(u'/')) return name;
    return qEnvironmentVariable("XDG_RUNTIME_DIR") + u'/' + name;
}

} // namespace

Result<bool> checkCompositor() {
    if (qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return Error{QStringLiteral("No Wayland compositor to capture: WAYLAND_DISPLAY is not set.")};
    const QByteArray path = socketPath().toLocal8Bit();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    bool reached = false;
    if (fd >= 0 && size_t(path.size()) < sizeof(address.sun_path)) {
        std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
        reached = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    }
    if (fd >= 0) close(fd);
    if (!reached)
        return Error{
            QStringLiteral("Cannot reach the Wayland compositor at %1.").arg(QString::fromLocal8Bit(path))};
    return true;
}

Result<std::unique_ptr<ScreenBackend>> connect() {
    if (const auto reached = checkCompositor(); !reached) return reached.error();
    return std::unique_ptr<ScreenBackend>(std::make_unique<WaylandScreenBackend>());
}

} // namespace platform::wayland
