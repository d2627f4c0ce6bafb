// The whole KWin desktop as KWin itself copies it, written to stdout as a PPM picture: the
// tests' look at the screen that goes around the portal (kwin_wayland must run with
// KWIN_SCREENSHOT_NO_PERMISSION_CHECKS=1, or KWin refuses callers it does not know).
//
//   kwin_screenshot > desktop.ppm
//
// Exits 1 with one sentence on stderr where KWin does not answer.

#include <QBuffer>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusPendingCall>
#include <QDBusPendingReply>
#include <QDBusUnixFileDescriptor>
#include <QImage>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace {

int fail(const QString& why) {
    std::fprintf(stderr, "kwin_screenshot: %s\n", qPrintable(why));
    return 1;
}

// The picture's bytes as KWin writes them to the pipe: as many as its answer announces (KWin
// may keep its end open well after writing), read while the answer is still on its way so that
// a full pipe never stalls KWin.
QByteArray readPicture(int fd, QDBusPendingReply<QVariantMap>& reply) {
    QByteArray data;
    char chunk[65536];
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (std::chrono::steady_clock::now() < deadline) {
        pollfd p{fd, POLLIN, 0};
        if (poll(&p, 1, 50) > 0) {
            const ssize_t n = read(fd, chunk, sizeof chunk);
            if (n <= 0) break;
            data.append(chunk, n);
        }
        QCoreApplication::processEvents();
        if (reply.isFinished()) {
            if (reply.isError()) break;
            const QVariantMap info = reply.value();
            const qsizetype needed = qsizetype(info.value(QStringLiteral("stride")).toInt()) *
                                     info.value(QStringLiteral("height")).toInt();
            if (needed > 0 && data.size() >= needed) break;
        }
    }
    return data;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    int pipeFds[2];
    if (pipe2(pipeFds, O_CLOEXEC) != 0) return fail(QStringLiteral("no pipe"));
    QDBusInterface kwin(QStringLiteral("org.kde.KWin"), QStringLiteral("/org/kde/KWin/ScreenShot2"),
                        QStringLiteral("org.kde.KWin.ScreenShot2"), QDBusConnection::sessionBus());
    QDBusPendingReply<QVariantMap> reply = kwin.asyncCall(
        QStringLiteral("CaptureWorkspace"), QVariantMap{{QStringLiteral("include-cursor"), false}},
        QVariant::fromValue(QDBusUnixFileDescriptor(pipeFds[1])));
    // KWin holds its own copy of the write end: ours must go for the reading to end.
    close(pipeFds[1]);
    const QByteArray data = readPicture(pipeFds[0], reply);
    close(pipeFds[0]);
    reply.waitForFinished();
    if (reply.isError())
        return fail(QStringLiteral("KWin did not copy the desktop: ") + reply.error().message());
    const QVariantMap info = reply.value();
    const int width = info.value(QStringLiteral("width")).toInt();
    const int height = info.value(QStringLiteral("height")).toInt();
    const int stride = info.value(QStringLiteral("stride")).toInt();
    const auto format = QImage::Format(info.value(QStringLiteral("format")).toInt());
    if (width <= 0 || height <= 0 || data.size() < qsizetype(stride) * height)
        return fail(QStringLiteral("KWin sent no picture"));
    const QImage image(reinterpret_cast<const uchar*>(data.constData()), width, height, stride, format);
    QByteArray ppm;
    QBuffer buffer(&ppm);
    buffer.open(QIODevice::WriteOnly);
    image.convertToFormat(QImage::Format_RGB32).save(&buffer, "PPM");
    fwrite(ppm.constData(), 1, size_t(ppm.size()), stdout);
    return 0;
}
