// A window with a known picture, for the integration tests to find and capture.
//
//   test_window --title T --pattern quadrants|#rrggbb [--size WxH] [--pos X,Y] [--class C] [--above|--below]
//               [--type normal|desktop] [--text TEXT] [--counter] [--report-presses] [--fullscreen]
//
// Prints its X window id as a decimal line once the window has been painted, then stays
// until killed. --class sets the class part of WM_CLASS (the application name), and the app
// id under Wayland; --above and --below ask the window manager to keep the window above or
// below others; --type desktop makes it a desktop window (_NET_WM_WINDOW_TYPE_DESKTOP), like
// a file manager's icons.
// --report-presses prints "press X,Y" (client coordinates) for every mouse press it gets.
// --fullscreen covers the whole output, panels and all, where the desktop has them.
//
//   test_window --print-clipboard       prints the clipboard's text, or "image WxH", and exits
//   test_window --take-clipboard TEXT   owns the clipboard with TEXT, prints "taken", stays

#include "TestPattern.h"

#include <QApplication>
#include <QClipboard>
#include <QCommandLineParser>
#include <QFont>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QRegularExpression>
#include <QTimer>
#include <QWidget>

#include <cstdio>
#include <optional>

namespace {

class PatternWindow : public QWidget {
public:
    PatternWindow(QString pattern, QString text) : m_pattern(std::move(pattern)), m_text(std::move(text)) {
        setAttribute(Qt::WA_OpaquePaintEvent);
    }

    // Repaints 30 times a second, showing the frame number (modulo 256) as eight stripes,
    // white for a 1 bit, the highest bit leftmost: for recordings to be checked frame by frame.
    void startCounter() {
        m_counting = true;
        auto* timer = new QTimer(this);
        timer->setTimerType(Qt::PreciseTimer);
        connect(timer, &QTimer::timeout, this, [this] {
            ++m_frame;
            repaint();
        });
        timer->start(33);
    }

    void reportPresses() { m_reportPresses = true; }

protected:
    void mousePressEvent(QMouseEvent* event) override {
        if (!m_reportPresses) return;
        const QPoint at = event->position().toPoint();
        std::printf("press %d,%d\n", at.x(), at.y());
        std::fflush(stdout);
    }

    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        if (m_counting) {
            for (int bit = 0; bit < 8; ++bit) {
                const bool set = ((m_frame & 0xff) >> (7 - bit)) & 1;
                painter.fillRect(QRect(width() * bit / 8, 0, width() / 8 + 1, height()),
                                 set ? Qt::white : Qt::black);
            }
        } else {
            for (const testpattern::Region& region : testpattern::regions(m_pattern, size()))
                painter.fillRect(region.rect, region.color);
        }
        if (!m_text.isEmpty()) {
            QFont font(QStringLiteral("DejaVu Sans"));
            font.setPixelSize(18);
            painter.setFont(font);
            painter.setPen(Qt::black);
            painter.drawText(rect(), Qt::AlignCenter | Qt::TextWordWrap, m_text);
        }
        if (!m_announced) {
            m_announced = true;
            // After this event returns, Qt flushes the painted pixels to the window.
            QTimer::singleShot(0, this, [this] {
                std::printf("%llu\n", static_cast<unsigned long long>(winId()));
                std::fflush(stdout);
            });
        }
    }

private:
    QString m_pattern;
    QString m_text;
    bool m_announced = false;
    bool m_counting = false;
    bool m_reportPresses = false;
    int m_frame = 0;
};

std::optional<QSize> parseSize(const QString& text) {
    const QRegularExpressionMatch m = QRegularExpression(QStringLiteral("^(\\d+)x(\\d+)$")).match(text);
    if (!m.hasMatch()) return std::nullopt;
    return QSize(m.captured(1).toInt(), m.captured(2).toInt());
}

std::optional<QPoint> parsePosition(const QString& text) {
    const QRegularExpressionMatch m = QRegularExpression(QStringLiteral("^(-?\\d+),(-?\\d+)$")).match(text);
    if (!m.hasMatch()) return std::nullopt;
    return QPoint(m.captured(1).toInt(), m.captured(2).toInt());
}

} // namespace

int main(int argc, char** argv) {
    // Pixel-exact sizes whatever Xft.dpi says, and no GL probing on Xvfb.
    qputenv("QT_ENABLE_HIGHDPI_SCALING", "0");
    if (!qEnvironmentVariableIsSet("QT_XCB_GL_INTEGRATION")) qputenv("QT_XCB_GL_INTEGRATION", "none");

    // The class must be known before the application object reads it for WM_CLASS.
    QString windowClass;
    for (int i = 1; i + 1 < argc; ++i) {
        if (QByteArray(argv[i]) == "--class") windowClass = QString::fromLocal8Bit(argv[i + 1]);
    }
    if (!windowClass.isEmpty()) QCoreApplication::setApplicationName(windowClass);

    QApplication app(argc, argv);
    // On Wayland the window's app id is the desktop file's name.
    if (!windowClass.isEmpty()) QGuiApplication::setDesktopFileName(windowClass);
    // Another program on the clipboard, for the clipboard tests.
    if (argc == 2 && QByteArray(argv[1]) == "--print-clipboard") {
        const QImage image = QApplication::clipboard()->image();
        if (!image.isNull())
            std::printf("image %dx%d\n", image.width(), image.height());
        else
            std::printf("%s\n", qPrintable(QApplication::clipboard()->text()));
        return 0;
    }
    if (argc == 3 && QByteArray(argv[1]) == "--take-clipboard") {
        QApplication::clipboard()->setText(QString::fromLocal8Bit(argv[2]));
        std::printf("taken\n");
        std::fflush(stdout);
        return app.exec();
    }
    QCommandLineParser parser;
    const QCommandLineOption title(QStringLiteral("title"), QStringLiteral("Window title."),
                                   QStringLiteral("T"));
    const QCommandLineOption pattern(QStringLiteral("pattern"), QStringLiteral("quadrants or #rrggbb."),
                                     QStringLiteral("P"), QStringLiteral("quadrants"));
    const QCommandLineOption size(QStringLiteral("size"), QStringLiteral("Client size."),
                                  QStringLiteral("WxH"), QStringLiteral("320x240"));
    const QCommandLineOption pos(QStringLiteral("pos"), QStringLiteral("Position."), QStringLiteral("X,Y"));
    const QCommandLineOption wmClass(QStringLiteral("class"), QStringLiteral("WM_CLASS class."),
                                     QStringLiteral("C"));
    const QCommandLineOption above(QStringLiteral("above"), QStringLiteral("Stay above other windows."));
    const QCommandLineOption below(QStringLiteral("below"), QStringLiteral("Stay below other windows."));
    const QCommandLineOption type(QStringLiteral("type"), QStringLiteral("normal or desktop."),
                                  QStringLiteral("TYPE"), QStringLiteral("normal"));
    const QCommandLineOption text(
        QStringLiteral("text"), QStringLiteral("Text drawn in black in the middle."), QStringLiteral("TEXT"));
    const QCommandLineOption counter(QStringLiteral("counter"),
                                     QStringLiteral("Shows its frame number, 30 frames a second."));
    const QCommandLineOption presses(QStringLiteral("report-presses"),
                                     QStringLiteral("Prints each mouse press as \"press X,Y\"."));
    const QCommandLineOption fullScreen(QStringLiteral("fullscreen"),
                                        QStringLiteral("Covers the whole output."));
    parser.addOptions(
        {title, pattern, size, pos, wmClass, above, below, type, text, counter, presses, fullScreen});
    parser.addHelpOption();
    parser.process(app);

    const QString patternName = parser.value(pattern);
    const std::optional<QSize> windowSize = parseSize(parser.value(size));
    const std::optional<QPoint> position =
        parser.isSet(pos) ? parsePosition(parser.value(pos)) : std::optional<QPoint>(QPoint());
    const QString windowType = parser.value(type);
    if (!testpattern::isValid(patternName) || !windowSize || !position ||
        (windowType != QLatin1String("normal") && windowType != QLatin1String("desktop"))) {
        std::fprintf(stderr, "test_window: bad --pattern, --size, --pos or --type\n");
        return 2;
    }

    PatternWindow window(patternName, parser.value(text));
    window.setWindowTitle(parser.value(title));
    if (parser.isSet(above)) window.setWindowFlag(Qt::WindowStaysOnTopHint);
    if (parser.isSet(below)) window.setWindowFlag(Qt::WindowStaysOnBottomHint);
    if (windowType == QLatin1String("desktop")) {
        // Qt 6 writes _NET_WM_WINDOW_TYPE for this attribute only onto an X window that
        // exists already: create it (unmapped) first.
        window.winId();
        window.setAttribute(Qt::WA_X11NetWmWindowTypeDesktop);
    }
    if (parser.isSet(counter)) window.startCounter();
    if (parser.isSet(presses)) window.reportPresses();
    window.resize(*windowSize);
    if (parser.isSet(pos)) window.move(*position);
    if (parser.isSet(fullScreen))
        window.showFullScreen();
    else
        window.show();
    return app.exec();
}
