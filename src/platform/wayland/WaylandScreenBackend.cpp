#include "platform/wayland/WaylandScreenBackend.h"

#include "common/Log.h"
#include "platform/wayland/ChosenWindows.h"
#include "platform/wayland/ForeignToplevels.h"
#include "platform/wayland/KWinScript.h"
#include "platform/wayland/KWinWindows.h"
#include "platform/wayland/PortalScreenshot.h"
#include "platform/wayland/ScreenCastStill.h"
#include "platform/wayland/SwayIpc.h"
#include "platform/wayland/SwayTree.h"
#include "platform/wayland/WaylandLayout.h"
#include "platform/wayland/WlrScreencopy.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QMutex>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace platform::wayland {

namespace {

class WaylandScreenBackend final : public ScreenBackend {
public:
    explicit WaylandScreenBackend(ScreenCastStill screenCastStill)
        : m_screenCastStill(std::move(screenCastStill)) {}

    QList<DisplayInfo> displays() override { return layout().displays(); }

    Result<QImage> grabArea(const QRect& rect) override {
        const WaylandLayout current = layout();
        const auto index = current.outputHolding(rect);
        if (rect.isEmpty() || !index) return Error{QStringLiteral("That area is off screen")};
        const DisplayInfo& display = current.displays()[*index];
        if (auto copied = screencopy(display, rect.translated(-display.geometry.topLeft()))) return *copied;
        if (auto cast = screenCast(rect)) return *cast;
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

    // Wayland gives no client another's pixels: the window is cut from a screenshot of the
    // desktop, so only a window that is shown whole can be captured truthfully.
    Result<QImage> grabWindow(uint32_t windowId) override {
        // A window picked in the desktop's chooser was shared on its own as it was picked.
        if (listsNoWindows())
            if (auto chosen = ChosenWindows::shared().take(windowId)) return std::move(chosen->picture);
        if (const auto missing = windowsUnavailable(WindowFlow::capture)) return Error{*missing, {}, 2};
        const WaylandLayout current = layout();
        const Result<QList<PlacedWindow>> listed = placedWindows(current);
        if (!listed) return listed.error();
        const QList<PlacedWindow>& all = *listed;
        const auto found =
            std::find_if(all.begin(), all.end(), [&](const PlacedWindow& w) { return w.id == windowId; });
        if (found == all.end()) return Error{QStringLiteral("Window not found"), {}, 2};
        if (!found->visible)
            return Error{QStringLiteral("That window is not on screen: it is on another workspace or hidden "
                                        "behind others. Show it first.")};
        for (auto front = all.begin(); front != found; ++front) {
            if (front->visible && front->output == found->output && front->rect.intersects(found->rect))
                return Error{
                    QStringLiteral("That window is partly covered by \"%1\": bring it to the front first.")
                        .arg(front->title)};
        }
        const auto pixels = current.pixelsOf(found->output, found->rect);
        if (!pixels) return Error{QStringLiteral("That window is off screen.")};
        return grabArea(*pixels);
    }

    QList<WindowInfo> windows() override {
        if (listsToplevelsOnly()) return toplevelWindows();
        const WaylandLayout current = layout();
        if (listsNoWindows()) return chosenWindows(current);
        QList<WindowInfo> list;
        for (const PlacedWindow& window : orNone(placedWindows(current))) {
            if (!window.visible) continue;
            const auto pixels = current.pixelsOf(window.output, window.rect);
            if (!pixels) continue;
            WindowInfo info;
            info.id = window.id;
            info.pid = window.pid;
            info.ownerName = window.appId;
            info.title = window.title;
            info.frame = *pixels;
            list.append(info);
        }
        return list;
    }

    std::optional<uint32_t> activeWindow() override {
        if (listsToplevelsOnly()) {
            const QList<ForeignToplevel> all = toplevels();
            for (qsizetype i = 0; i < all.size(); ++i)
                if (all[i].activated) return uint32_t(i + 1);
            return std::nullopt;
        }
        for (const PlacedWindow& window : orNone(placedWindows(layout())))
            if (window.focused) return window.id;
        return std::nullopt;
    }

    // A Wayland client learns where the pointer is only while it is over its own windows.
    QPoint pointerPosition() override { return {}; }

private:
    // Where only the foreign toplevel list tells of windows (wlroots desktops other than sway),
    // they are listed by title and app id, numbered in the compositor's order, with no place:
    // nothing can be picked or captured.
    static bool listsToplevelsOnly() {
        return swaySocketPath().isEmpty() && !kwinScriptingOffered() && toplevelListOffered();
    }

    // Where the compositor tells of no window at all (GNOME).
    static bool listsNoWindows() {
        return swaySocketPath().isEmpty() && !kwinScriptingOffered() && !toplevelListOffered();
    }

    static QList<ForeignToplevel> toplevels() { return orNone(listForeignToplevels()); }

    static QList<WindowInfo> toplevelWindows() {
        const QList<ForeignToplevel> all = toplevels();
        QList<WindowInfo> list;
        for (qsizetype i = 0; i < all.size(); ++i) {
            if (all[i].minimized) continue;
            WindowInfo info;
            info.id = uint32_t(i + 1);
            info.ownerName = all[i].appId;
            info.title = all[i].title;
            list.append(info);
        }
        return list;
    }

    // Where the compositor tells nothing of its windows, the ones the user picked in the
    // desktop's chooser and no flow has used yet, so that the capture and recording flows find
    // them. Their place is not known: they are put at the first display's top-left corner.
    static QList<WindowInfo> chosenWindows(const WaylandLayout& current) {
        const QPoint corner =
            current.displays().isEmpty() ? QPoint() : current.displays().front().geometry.topLeft();
        QList<WindowInfo> list;
        for (const ChosenWindows::Chosen& chosen : ChosenWindows::shared().unused()) {
            WindowInfo info;
            info.id = chosen.id;
            info.frame = QRect(corner, chosen.size);
            list.prepend(info); // the newest pick in front
        }
        return list;
    }

    // The area's pixels through wlroots' screencopy where the compositor has it; nullopt
    // sends the grab to the portal. Why screencopy cannot be used is logged once.
    std::optional<QImage> screencopy(const DisplayInfo& display, const QRect& pixels) {
        WlrScreencopy* copier = screencopier();
        if (!copier) return std::nullopt;
        Result<QImage> copied = copier->grab(display.name, display.geometry.size(), pixels);
        if (copied) return std::move(copied).value();
        if (!m_screencopyFailureLogged) {
            m_screencopyFailureLogged = true;
            qCWarning(lcPictavia).noquote()
                << copied.error().message << "Captures go through the desktop's screenshot portal instead.";
        }
        return std::nullopt;
    }

    // The area from the screen-cast portal where stills go there; nullopt sends the grab to the
    // screenshot portal, whose own question the user then sees (so the reason is only a debug
    // line: a failed capture says one sentence, the screenshot portal's).
    std::optional<QImage> screenCast(const QRect& rect) {
        if (!m_screenCastStill || !stillsFromScreenCast()) return std::nullopt;
        Result<QImage> still = m_screenCastStill(rect);
        if (still) return std::move(still).value();
        qCDebug(lcPictavia).noquote()
            << still.error().message << "The capture goes through the desktop's screenshot portal instead.";
        return std::nullopt;
    }

    // wlroots' screencopy, connected at the first use; null where it cannot be used.
    WlrScreencopy* screencopier() {
        const QMutexLocker lock(&m_screencopyMutex);
        if (!m_screencopyTried) {
            m_screencopyTried = true;
            if (qEnvironmentVariable("PICTAVIA_NO_SCREENCOPY") == u"1") return nullptr;
            auto connected = WlrScreencopy::connect();
            if (!connected) {
                // Expected on GNOME and KDE: not worth a line on the terminal.
                qCDebug(lcPictavia).noquote() << connected.error().message;
                return nullptr;
            }
            m_screencopy = std::move(connected).value();
        }
        return m_screencopy.get();
    }

    // Qt 6.4 rounds a fractional scale (1.5) up to the next whole one; where screencopy tells
    // the outputs' modes, each output gets the scale of the pixels it really has.
    QList<Output> withOwnScales(QList<Output> outputs) {
        WlrScreencopy* copier = screencopier();
        if (!copier) return outputs;
        for (Output& output : outputs) {
            const auto pixels = copier->outputPixels(output.name);
            if (pixels && !pixels->isEmpty() && output.logical.width() > 0)
                output.scale = double(pixels->width()) / output.logical.width();
        }
        return outputs;
    }

    // A window whose place the compositor tells.
    struct PlacedWindow {
        uint32_t id = 0;
        qint64 pid = 0;
        QString appId;
        QString title;
        QString output;       // the output it is on
        QRect rect;           // decorations included, in layout units
        bool visible = false; // on a workspace that is shown, not minimised nor hidden behind tabs
        bool focused = false;
    };

    // The windows front to back where the compositor tells their places: sway and
    // i3-compatible ones through their IPC, KWin through a script; none elsewhere.
    static Result<QList<PlacedWindow>> placedWindows(const WaylandLayout& current) {
        QList<PlacedWindow> placed;
        if (!swaySocketPath().isEmpty()) {
            const Result<QList<SwayWindow>> tree = requestSwayWindows();
            if (!tree) return tree.error();
            for (const SwayWindow& w : *tree)
                placed.append({w.id, w.pid, w.appId, w.title, w.output, w.rect, w.visible, w.focused});
        } else if (kwinScriptingOffered()) {
            const Result<QList<KWinWindow>> listed = requestKWinWindows();
            if (!listed) return listed.error();
            // KWin's script names no output: a window belongs to the one showing most of it.
            for (const KWinWindow& w : *listed)
                placed.append({w.id, w.pid, w.appId, w.title,
                               current.outputShowingMostOf(w.rect).value_or(QString()), w.rect, w.visible,
                               w.focused});
        }
        return placed;
    }

    // A list, or none with a logged sentence when the compositor's answer cannot be read.
    template <typename T> static QList<T> orNone(Result<QList<T>> list) {
        if (!list) {
            qCWarning(lcPictavia).noquote() << list.error().message;
            return {};
        }
        return std::move(list).value();
    }

    // Qt's screens belong to its main thread: read there, remembered for the other threads.
    WaylandLayout layout() {
        QCoreApplication* app = QCoreApplication::instance();
        if (!app || QThread::currentThread() == app->thread()) {
            const QList<Output> outputs = withOwnScales(screenOutputs());
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
            app, [&] { outputs = screenOutputs(); }, Qt::BlockingQueuedConnection);
        outputs = withOwnScales(outputs);
        const QMutexLocker lock(&m_mutex);
        m_outputs = outputs;
        return WaylandLayout(outputs);
    }

    const ScreenCastStill m_screenCastStill;
    QMutex m_mutex;
    QList<Output> m_outputs;
    // Grabs take turns inside WlrScreencopy; this guards only its making.
    QMutex m_screencopyMutex;
    bool m_screencopyTried = false;
    bool m_screencopyFailureLogged = false;
    std::unique_ptr<WlrScreencopy> m_screencopy;
};

QString socketPath() {
    QString name = qEnvironmentVariable("WAYLAND_DISPLAY");
    if (name.startsWith(u'/')) return name;
    return qEnvironmentVariable("XDG_RUNTIME_DIR") + u'/' + name;
}

} // namespace

bool toplevelListOffered() {
    if (qEnvironmentVariable("PICTAVIA_NO_TOPLEVEL_LIST") == u"1") return false;
    return foreignToplevelsOffered();
}

std::optional<QString> windowsUnavailable(WindowFlow flow) {
    if (!swaySocketPath().isEmpty() || kwinScriptingOffered()) return std::nullopt;
    if (toplevelListOffered()) {
        if (flow == WindowFlow::list) return std::nullopt;
        return QStringLiteral(
            "Window captures are not available on this desktop: it tells other programs "
            "which windows are open but not where they are. Capture the window's area instead.");
    }
    if (windowChooserOffered()) {
        if (flow == WindowFlow::list)
            return QStringLiteral(
                "Window lists are not available on this desktop: it tells other programs nothing of its "
                "windows. A window can still be captured or recorded by picking it in the desktop's own "
                "window chooser.");
        return QStringLiteral(
            "Windows cannot be chosen by number or name on this desktop: it tells other programs nothing "
            "of its windows. Pick the window in the desktop's own window chooser instead (capture window "
            "or record window without --id or --app).");
    }
    const QString what =
        flow == WindowFlow::list ? QStringLiteral("Window lists") : QStringLiteral("Window captures");
    return QStringLiteral("%1 are not available on this desktop: only KDE, sway and other wlroots "
                          "compositors tell other programs their windows.")
        .arg(what);
}

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

Result<std::unique_ptr<ScreenBackend>> connect(ScreenCastStill screenCastStill) {
    if (const auto reached = checkCompositor(); !reached) return reached.error();
    return std::unique_ptr<ScreenBackend>(std::make_unique<WaylandScreenBackend>(std::move(screenCastStill)));
}

} // namespace platform::wayland
