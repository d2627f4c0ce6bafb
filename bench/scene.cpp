// A desktop for the capture benchmark: the photo-like wallpaper as the desktop window and
// text windows over it, managed by the running window manager. Once everything has been
// painted it writes "ready" to the file given as --ready-file (or stdout) and then stays up
// until killed.
#include "SceneArt.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFile>
#include <QPainter>
#include <QScreen>
#include <QTimer>
#include <QWidget>

#include <cstdio>
#include <memory>
#include <vector>

namespace {

class Wallpaper final : public QWidget {
public:
    explicit Wallpaper(QImage image) : image_(std::move(image)) {
        setWindowFlag(Qt::FramelessWindowHint);
        // The window manager keeps a desktop-type window below all others, undecorated.
        setAttribute(Qt::WA_X11NetWmWindowTypeDesktop);
        setAttribute(Qt::WA_OpaquePaintEvent);
    }

protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).drawImage(0, 0, image_); }

private:
    QImage image_;
};

class TextWindow final : public QWidget {
public:
    TextWindow(scene::Panel panel, int scale) : panel_(panel), scale_(scale) {
        setAttribute(Qt::WA_OpaquePaintEvent);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        scene::paintPanel(painter, rect(), panel_, scale_);
    }

private:
    scene::Panel panel_;
    int scale_;
};

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOption(
        {QStringLiteral("ready-file"), QStringLiteral("Where to write \"ready\"."), QStringLiteral("path")});
    parser.process(app);

    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    Wallpaper wallpaper(scene::photoBackground(screen.size()));
    wallpaper.setGeometry(screen);
    wallpaper.show();

    std::vector<std::unique_ptr<TextWindow>> windows;
    for (const scene::WindowSpec& spec : scene::windowLayout(screen.size())) {
        auto window = std::make_unique<TextWindow>(spec.panel, scene::textScale(screen.size()));
        window->setWindowTitle(spec.title);
        window->setGeometry(spec.client);
        window->show();
        windows.push_back(std::move(window));
    }

    // Mapping, decorating and the first paints take a few event-loop rounds; give them a moment.
    const QString readyFile = parser.value(QStringLiteral("ready-file"));
    QTimer::singleShot(1500, [&] {
        if (readyFile.isEmpty()) {
            std::puts("ready");
            std::fflush(stdout);
            return;
        }
        QFile file(readyFile);
        if (file.open(QIODevice::WriteOnly)) file.write("ready\n");
    });
    return app.exec();
}
