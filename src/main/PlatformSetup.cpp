#include "main/PlatformSetup.h"

#include "app/AppPaths.h"
#include "platform/BackendChoice.h"
#include "platform/Platform.h"
#include "platform/codecs/StandardImageCodecs.h"
#include "platform/dbus/ScreenSaverSleepGuard.h"
#include "platform/modules/LazyPipeWire.h"
#include "platform/modules/LazyServices.h"
#include "platform/qt/QtClipboard.h"
#include "platform/qt/TerminalPresenters.h"
#include "platform/sound/CanberraSound.h"
#include "platform/wayland/ChosenWindows.h"
#include "platform/wayland/PortalScrollSynthesizer.h"
#include "platform/wayland/ScreenCastStill.h"
#include "platform/wayland/ScreenCastWords.h"
#include "platform/wayland/WaylandFrameStream.h"
#include "platform/wayland/WaylandScreenBackend.h"
#include "platform/wayland/WlClipboard.h"
#include "platform/wayland/WlrFrameStream.h"
#include "platform/wayland/WlrScrollSynthesizer.h"
#include "platform/x11/X11FrameStream.h"
#include "platform/x11/X11InputMonitor.h"
#include "platform/x11/X11ScreenBackend.h"
#include "platform/x11/X11ScrollSynthesizer.h"
#include "ui/NameDialog.h"
#include "ui/ToastWindow.h"

#include <QFileInfo>

namespace PlatformSetup {

void installImageServices() {
    // The heavy libraries (Tesseract, OpenCV, FFmpeg, Poppler, libarchive) load on first use.
    platform::Services services = platform::modules::lazyServices();
    services.codecs = std::make_unique<platform::codecs::StandardImageCodecs>();
    platform::install(std::move(services));
}

Result<bool> install(Presentation presentation) {
    installImageServices();
    platform::Services services;
    services.sound = std::make_unique<platform::sound::CanberraSound>();
    const bool wayland = BackendChoice::current() == BackendChoice::Backend::wayland;
    if (wayland) {
        // Without the keyboard focus a Wayland client cannot set the clipboard itself.
        services.clipboard = std::make_unique<platform::wayland::WlClipboard>();
    } else if (presentation == Presentation::Resident) {
        services.clipboard = std::make_unique<platform::qt::QtClipboard>();
    } else {
        // This process ends right after its capture, so another process keeps the clipboard.
        services.clipboard = std::make_unique<platform::qt::DetachedClipboard>(
            QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget());
    }
    if (presentation != Presentation::Terminal) {
        services.toasts = std::make_unique<ui::WindowToasts>();
        services.namePrompt = std::make_unique<ui::DialogNamePrompt>();
    } else {
        services.toasts = std::make_unique<platform::qt::StderrToasts>();
        services.namePrompt = std::make_unique<platform::qt::TerminalNamePrompt>();
    }
    // Stills through the screen-cast portal use the recordings' streams, made below.
    const auto screenCastStill = [](const QRect& pixels) {
        return platform::wayland::screenCastStill(*platform::services().frameStreams, pixels);
    };
    auto screen = wayland ? platform::wayland::connect(screenCastStill) : platform::x11::connect();
    if (!screen) {
        platform::install(std::move(services));
        return screen.error();
    }
    services.screen = std::move(screen).value();
    services.sleepGuard = std::make_unique<platform::dbus::ScreenSaverSleepGuard>();
    // Under Wayland the X11 input watchers would see XWayland's windows only: the flows that
    // need them say they are not available. Recordings copy the outputs through wlroots'
    // screencopy where the compositor offers it: trusted, no permission question, no GPU
    // needed (the screen-cast portal of wlroots desktops shares nothing from a compositor
    // that renders without one). Elsewhere, and for windows, they go through the desktop's
    // screen-cast portal and PipeWire.
    if (wayland) {
        // The compositor's own virtual pointer asks nobody; the remote desktop portal asks the
        // user at the first scrolling capture.
        if (auto scroller = platform::wayland::connectScrollSynthesizer())
            services.scrollSynthesizer = std::move(scroller).value();
        else if (auto portal = platform::wayland::connectPortalScrollSynthesizer())
            services.scrollSynthesizer = std::move(portal).value();
        const auto displays = [] { return platform::services().screen->displays(); };
        services.frameStreams = std::make_unique<platform::wayland::WlrFrameStreams>(
            displays, std::make_unique<platform::wayland::WaylandFrameStreams>(
                          platform::wayland::RestoreTokenFile(AppPaths::dataDirectory() +
                                                              QStringLiteral("/ScreenCast.json")),
                          displays, &platform::modules::pipeWireStreams));
        platform::install(std::move(services));
        return true;
    }
    services.frameStreams = std::make_unique<platform::x11::X11FrameStreams>();
    services.inputMonitors = std::make_unique<platform::x11::X11InputMonitors>();
    if (auto scroller = platform::x11::connectScrollSynthesizer())
        services.scrollSynthesizer = std::move(scroller).value();
    platform::install(std::move(services));
    return true;
}

std::optional<QString> notAvailable(Flow flow) {
    if (BackendChoice::current() != BackendChoice::Backend::wayland) return std::nullopt;
    switch (flow) {
    case Flow::windowList:
        return platform::wayland::windowsUnavailable(platform::wayland::WindowFlow::list);
    case Flow::windowCapture:
        return platform::wayland::windowsUnavailable(platform::wayland::WindowFlow::capture);
    case Flow::scrollingCapture:
        if (platform::services().scrollSynthesizer) return std::nullopt;
        return platform::wayland::scrollingUnavailable();
    }
    return std::nullopt;
}

bool windowsChosenInDesktop() {
    return BackendChoice::current() == BackendChoice::Backend::wayland &&
           platform::wayland::windowChooserOffered();
}

Result<uint32_t> chooseWindowInDesktop() {
    const Result<platform::wayland::PipeWireStreams*> pipeWire = platform::modules::pipeWireStreams();
    if (!pipeWire) return pipeWire.error();
    const auto chosen = platform::wayland::ChosenWindows::shared().choose(**pipeWire);
    if (!chosen) {
        if (chosen.error().message == platform::wayland::ScreenCastWords::refused())
            return Error{windowNotPicked()};
        return chosen.error();
    }
    return chosen->id;
}

QString windowNotPicked() {
    return QStringLiteral("No window was picked.");
}

} // namespace PlatformSetup
