// Turns the wheel through the desktop's remote desktop portal as Pictavia's scrolling captures
// do, several times in one run, for the tests that check one answer serves them all.
//
//   portal_wheel X,Y:NOTCHES...   e.g. portal_wheel 320,240:3 320,240:3
//
// For each argument in turn, a second apart: the pointer to X,Y (pixels of the display layout),
// then NOTCHES notches of the wheel (negative: up). Prints "turned" after each; exits 1 with the
// sentence on stderr where one fails.

#include "platform/wayland/PortalScrollSynthesizer.h"

#include <QGuiApplication>
#include <QThread>

#include <cstdio>

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    auto scroller = platform::wayland::connectPortalScrollSynthesizer();
    if (!scroller) {
        std::fprintf(stderr, "%s\n", qPrintable(scroller.error().message));
        return 1;
    }
    for (int i = 1; i < argc; ++i) {
        const QList<QByteArray> parts = QByteArray(argv[i]).split(':');
        const QList<QByteArray> xy = parts.value(0).split(',');
        const QPoint at(xy.value(0).toInt(), xy.value(1).toInt());
        auto done = (*scroller)->movePointer(at);
        if (done) done = (*scroller)->turnWheel(parts.value(1).toInt(), false);
        if (!done) {
            std::fprintf(stderr, "%s\n", qPrintable(done.error().message));
            return 1;
        }
        std::printf("turned\n");
        std::fflush(stdout);
        if (i + 1 < argc) QThread::sleep(1);
    }
    return 0;
}
