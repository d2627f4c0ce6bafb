// The area selection overlay and a toast on a Wayland desktop, placed the way the
// application places them, over displays whose pixels are a known pattern: for the tests
// to look at with grim and to drive where no virtual pointer exists.
//
//   wayland_overlays
//
// Prints "display NAME X Y WIDTH HEIGHT SCALE" for each display (pixels), then "overlay"
// once the overlay is up, and takes commands on stdin, one a line:
//   drag X1 Y1 X2 Y2     drags from one point to another (display pixels) with the left button,
//                        sent to the overlay window the drag starts on; prints
//                        "selected NAME X Y WIDTH HEIGHT" (the outcome, in points) and writes
//                        the display's frozen image to FILE given as a sixth word, if any
//   escape               presses Escape on the overlay
//   toast X Y TEXT       shows a toast near (X, Y), Qt's global coordinates; prints "toast"
//   pin X Y W H          pins those display pixels over where they are; prints "pin"
//   move-pin X Y         moves the last pin to (X, Y), Qt's global coordinates, as dragging
//                        it would; prints "moved"
//   quick-access         shows a quick access card of a capture; prints "quick-access"
//   hud X Y W H          shows the recording controls for a recording of those pixels; prints "hud"
//   countdown NAME       shows the countdown of a timed capture on that display; prints "countdown"
//   quit
// Exits 2 when the compositor has no layer shell.

#include "capture/SelectionTypes.h"
#include "platform/Platform.h"
#include "platform/ScreenBackend.h"
#include "platform/wayland/LayerShell.h"
#include "platform/wayland/WaylandScreenBackend.h"
#include "recording/ScreenRecorder.h"
#include "ui/AreaSelectionOverlay.h"
#include "ui/DesktopSurfaces.h"
#include "ui/PinWindow.h"
#include "ui/QuickAccessOverlay.h"
#include "ui/ToastWindow.h"

#include <QApplication>
#include <QDir>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPointer>
#include <QSocketNotifier>
#include <QTextStream>
#include <QTimer>
#include <QWidget>

#include <cstdio>
#include <iostream>
#include <string>

namespace {

// Neighbouring pixels of the displays differ in every channel that moves, so that a pixel
// shown or cut one off shows (WaylandDesktopTest paints the same).
QRgb patternAt(int x, int y) {
    return qRgb((x * 37) & 0xff, (y * 59) & 0xff, ((x >> 8) & 0xf) << 4 | ((y >> 8) & 0xf));
}

// The compositor's displays, showing the pattern.
class PatternScreen : public platform::ScreenBackend {
public:
    explicit PatternScreen(std::unique_ptr<platform::ScreenBackend> real) : m_real(std::move(real)) {}
    QList<platform::DisplayInfo> displays() override { return m_real->displays(); }
    Result<QImage> grabArea(const QRect& rootRect) override {
        QImage image(rootRect.size(), QImage::Format_RGB32);
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                image.setPixel(x, y, patternAt(rootRect.x() + x, rootRect.y() + y));
        return image;
    }
    Result<QImage> grabWindow(uint32_t) override { return Error{QStringLiteral("Window not found")}; }
    QList<platform::WindowInfo> windows() override { return {}; }
    std::optional<uint32_t> activeWindow() override { return std::nullopt; }
    QPoint pointerPosition() override { return {}; }

private:
    std::unique_ptr<platform::ScreenBackend> m_real;
};

// The overlay window over a display pixel, and the pixel in its coordinates.
std::pair<QWidget*, QPointF> windowAt(QPoint root) {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (!widget->isVisible() || widget->windowTitle() != QLatin1String("Pictavia Selection")) continue;
        const QRect screen = widget->geometry();
        const double ratio = widget->devicePixelRatioF();
        for (const platform::DisplayInfo& d : platform::services().screen->displays()) {
            if (!d.geometry.contains(root) || d.name != widget->screen()->name()) continue;
            Q_UNUSED(screen);
            return {widget, QPointF(root - d.geometry.topLeft()) / ratio};
        }
    }
    return {nullptr, {}};
}

// Says `what` once the window just shown has had time to draw.
void printLater(const char* what) {
    QTimer::singleShot(300, [what] {
        std::printf("%s\n", what);
        std::fflush(stdout);
    });
}

void send(QWidget* widget, QEvent::Type type, QPointF local, Qt::MouseButton button,
          Qt::MouseButtons buttons) {
    QMouseEvent event(type, local, widget->mapToGlobal(local), button, buttons, Qt::NoModifier);
    QApplication::sendEvent(widget, &event);
}

} // namespace

int main(int argc, char** argv) {
    if (!platform::wayland::LayerShell::prepare()) {
        std::fprintf(stderr, "wayland_overlays: the compositor has no layer shell\n");
        return 2;
    }
    QApplication app(argc, argv);
    if (!platform::wayland::LayerShell::install()) {
        std::fprintf(stderr, "wayland_overlays: Qt's connection has no layer shell\n");
        return 2;
    }
    auto real = platform::wayland::connect();
    if (!real) {
        std::fprintf(stderr, "wayland_overlays: %s\n", qPrintable(real.error().message));
        return 1;
    }
    platform::Services services;
    services.screen = std::make_unique<PatternScreen>(std::move(real).value());
    platform::install(std::move(services));
    for (const platform::DisplayInfo& d : platform::services().screen->displays())
        std::printf("display %s %d %d %d %d %g\n", qPrintable(d.name), d.geometry.x(), d.geometry.y(),
                    d.geometry.width(), d.geometry.height(), d.scale);

    // No hint: the frozen pixels alone, and the loupe only once the pointer is seen.
    SelectionParameters parameters;
    ui::AreaSelectionOverlayController overlay(parameters);
    QString frozenFile;
    std::unique_ptr<RecorderHUD> hud;
    std::unique_ptr<CountdownPanel> countdown;
    QPointer<QWidget> lastPin;
    overlay.start([&frozenFile](const SelectionOutcome& outcome) {
        if (outcome.kind != SelectionOutcome::Kind::selected) {
            std::printf("cancelled\n");
        } else {
            if (!frozenFile.isEmpty() && outcome.target.frozen) outcome.target.frozen->save(frozenFile);
            std::printf("selected %s %g %g %g %g\n", qPrintable(outcome.target.display.name),
                        outcome.rect.x(), outcome.rect.y(), outcome.rect.width(), outcome.rect.height());
        }
        std::fflush(stdout);
    });
    // Once the overlay has drawn.
    QTimer::singleShot(300, [] {
        std::printf("overlay\n");
        std::fflush(stdout);
    });

    QSocketNotifier input(0, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        std::string line;
        if (!std::getline(std::cin, line)) return app.quit();
        QTextStream words(QByteArray::fromStdString(line));
        QString command;
        words >> command;
        if (command == u"drag") {
            int x1 = 0, y1 = 0, x2 = 0, y2 = 0;
            words >> x1 >> y1 >> x2 >> y2 >> frozenFile;
            auto [window, from] = windowAt({x1, y1});
            if (!window) {
                std::printf("no overlay at %d,%d\n", x1, y1);
                std::fflush(stdout);
                return;
            }
            // A drag stays with the surface it began on, as Wayland's implicit grab keeps it.
            const QPointF to = from + QPointF(x2 - x1, y2 - y1) / window->devicePixelRatioF();
            send(window, QEvent::MouseMove, from, Qt::NoButton, Qt::NoButton);
            send(window, QEvent::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton);
            send(window, QEvent::MouseMove, (from + to) / 2, Qt::NoButton, Qt::LeftButton);
            send(window, QEvent::MouseMove, to, Qt::NoButton, Qt::LeftButton);
            send(window, QEvent::MouseButtonRelease, to, Qt::LeftButton, Qt::NoButton);
        } else if (command == u"toast") {
            int x = 0, y = 0;
            words >> x >> y;
            const QString text = words.readAll().trimmed();
            auto* toast = new ui::ToastWindow(text, 30, QPoint(x, y));
            toast->show();
            printLater("toast");
        } else if (command == u"escape") {
            for (QWidget* widget : QApplication::topLevelWidgets()) {
                if (!widget->isVisible() || widget->windowTitle() != QLatin1String("Pictavia Selection"))
                    continue;
                QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
                QApplication::sendEvent(widget, &escape);
                break;
            }
        } else if (command == u"pin") {
            int x = 0, y = 0, w = 0, h = 0;
            words >> x >> y >> w >> h;
            const QRect area(x, y, w, h);
            const platform::DisplayInfo* on = nullptr;
            const QList<platform::DisplayInfo> displays = platform::services().screen->displays();
            for (const platform::DisplayInfo& d : displays)
                if (d.geometry.contains(area.center())) on = &d;
            lastPin =
                ui::PinWindow::show(*platform::services().screen->grabArea(area), on ? on->scale : 1.0, area);
            printLater("pin");
        } else if (command == u"move-pin") {
            int x = 0, y = 0;
            words >> x >> y;
            if (lastPin) lastPin->move(x, y);
            printLater("moved");
        } else if (command == u"quick-access") {
            ui::QuickAccess::show(QDir::temp().filePath(QStringLiteral("capture.png")),
                                  *platform::services().screen->grabArea(QRect(0, 0, 320, 200)));
            printLater("quick-access");
        } else if (command == u"hud") {
            int x = 0, y = 0, w = 0, h = 0;
            words >> x >> y >> w >> h;
            RecorderHUDRequest request;
            request.recordedRootRect = QRect(x, y, w, h);
            for (const platform::DisplayInfo& d : platform::services().screen->displays())
                if (d.geometry.contains(request.recordedRootRect.center())) request.display = d;
            hud = ui::DesktopSurfaces().makeRecorderHUD(ScreenRecorder::shared(), request);
            printLater("hud");
        } else if (command == u"countdown") {
            QString name;
            words >> name;
            for (const platform::DisplayInfo& d : platform::services().screen->displays()) {
                if (d.name != name) continue;
                countdown = ui::DesktopSurfaces().makeCountdownPanel();
                countdown->show(d);
                countdown->setSeconds(3);
            }
            printLater("countdown");
        } else if (command == u"quit") {
            app.quit();
        }
    });
    return app.exec();
}
