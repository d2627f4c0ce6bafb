// The click ripples and the keystroke panel of a recording, on their own, fed by the real
// input monitor: for the tests to click and type at and to look at in screen grabs.
//
//   recording_overlays [--still]
//
// Prints "ripples ID keys ID" (the two windows' X ids) once both windows exist and the
// input is watched, then stays until killed. --still stops the ripples' clock, so that a
// ripple stays where it was drawn first, at its full look, until the program ends.

#include "platform/x11/X11InputMonitor.h"
#include "recording/ClickHighlighter.h"
#include "recording/KeystrokeOverlay.h"
#include "ui/RecordingOverlayWindows.h"

#include <QApplication>
#include <QMetaObject>
#include <QScreen>

#include <cstdio>

int main(int argc, char** argv) {
    // Pixel-exact sizes whatever Xft.dpi says, and no GL probing on Xvfb.
    qputenv("QT_ENABLE_HIGHDPI_SCALING", "0");
    if (!qEnvironmentVariableIsSet("QT_XCB_GL_INTEGRATION")) qputenv("QT_XCB_GL_INTEGRATION", "none");
    QApplication app(argc, argv);
    const bool still = argc > 1 && QByteArray(argv[1]) == "--still";

    ClickHighlighter highlighter(still ? ClickHighlighter::Clock([] { return qint64(0); })
                                       : ClickHighlighter::Clock());
    KeystrokeOverlay keystrokes(QGuiApplication::primaryScreen()->geometry());
    ui::RecordingOverlayWindows views;
    const auto ripples = views.show(highlighter);
    const auto panel = views.show(keystrokes);
    highlighter.start();
    keystrokes.start();

    platform::x11::X11InputMonitors monitors;
    auto monitor = monitors.create();
    if (!monitor) {
        std::fprintf(stderr, "recording_overlays: %s\n", qPrintable(monitor.error().message));
        return 1;
    }
    const Result<bool> started = (*monitor)->start(
        [&highlighter](const platform::ButtonPress& press) {
            if (press.button != Qt::LeftButton && press.button != Qt::RightButton) return;
            QMetaObject::invokeMethod(
                &highlighter, [&highlighter, at = press.rootPosition] { highlighter.showRipple(at); });
        },
        [&keystrokes](const platform::KeyPress& press) {
            QMetaObject::invokeMethod(&keystrokes, [&keystrokes, press] { keystrokes.keyPressed(press); });
        });
    if (!started) {
        std::fprintf(stderr, "recording_overlays: %s\n", qPrintable(started.error().message));
        return 1;
    }
    std::printf("ripples %u keys %u\n", ripples->windowsInPicture().at(0), panel->windowsInPicture().at(0));
    std::fflush(stdout);
    const int code = app.exec();
    (*monitor)->stop();
    return code;
}
