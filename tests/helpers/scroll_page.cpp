// A long page in a scroll area, between a fixed header and a fixed footer, for the
// scrolling capture tests to scroll and compare.
//
//   scroll_page [--lines N] [--size WxH] [--pos X,Y]   shows the window; prints its X id
//   scroll_page [--lines N] [--size WxH] --render FILE  writes header, whole page and footer
//                                                       as one PNG (no scroll bar) and exits
//   --sideways                                          columns instead of lines: the page
//                                                       scrolls left and right
//
// Line k reads "Line k" with a few words and a coloured mark whose width depends on k, so
// that no two lines look alike and a doubled or lost line shows.

#include <QApplication>
#include <QCommandLineParser>
#include <QLabel>
#include <QPaintEvent>
#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>

#include <cstdio>

namespace {

constexpr int lineHeight = 22;

constexpr int columnWidth = 96;

class Page : public QWidget {
public:
    Page(int lines, int width) : m_lines(lines) {
        setFixedSize(width, lines * lineHeight + 16);
        setAttribute(Qt::WA_OpaquePaintEvent);
    }
    // Sideways: `columns` columns of a few short lines each, `height` high.
    Page(int columns, int height, bool) : m_lines(columns), m_sideways(true) {
        setFixedSize(columns * columnWidth + 16, height);
        setAttribute(Qt::WA_OpaquePaintEvent);
    }

protected:
    void paintEvent(QPaintEvent* event) override {
        QPainter painter(this);
        painter.fillRect(event->rect(), QColor(252, 252, 248));
        QFont font(QStringLiteral("DejaVu Sans"));
        font.setPixelSize(14);
        font.setHintingPreference(QFont::PreferFullHinting);
        painter.setFont(font);
        static const char* const words[] = {"alpha", "bravo", "charlie", "delta", "echo", "foxtrot", "golf"};
        if (m_sideways) {
            const int first = std::max(0, event->rect().left() / columnWidth - 1);
            const int last = std::min(m_lines - 1, event->rect().right() / columnWidth + 1);
            for (int k = first; k <= last; ++k) {
                const int x = 8 + k * columnWidth;
                painter.fillRect(QRect(x + 4, 8, 12, 10 + (k * 37) % 90),
                                 QColor::fromHsv((k * 47) % 360, 160, 200));
                painter.setPen(Qt::black);
                for (int row = 0; row * 22 + 130 < height(); ++row)
                    painter.drawText(QPoint(x + 4, 130 + row * 22), QStringLiteral("%1 %2").arg(k + 1).arg(
                                                                        QLatin1String(words[(k + row) % 7])));
            }
            return;
        }
        const int first = std::max(0, event->rect().top() / lineHeight - 1);
        const int last = std::min(m_lines - 1, event->rect().bottom() / lineHeight + 1);
        for (int k = first; k <= last; ++k) {
            const int y = 8 + k * lineHeight;
            painter.fillRect(QRect(8, y + 4, 10 + (k * 37) % 90, 12),
                             QColor::fromHsv((k * 47) % 360, 160, 200));
            painter.setPen(Qt::black);
            const QString text = QStringLiteral("Line %1 %2 %3 %4")
                                     .arg(k + 1)
                                     .arg(QLatin1String(words[k % 7]))
                                     .arg(QLatin1String(words[(k * 3 + 1) % 7]))
                                     .arg(k * k);
            painter.drawText(QPoint(120, y + 15), text);
        }
    }

private:
    int m_lines;
    bool m_sideways = false;
};

QLabel* bar(const QString& text, const QString& style) {
    auto* label = new QLabel(text);
    label->setFixedHeight(36);
    label->setStyleSheet(style);
    label->setAlignment(Qt::AlignVCenter | Qt::AlignLeft);
    return label;
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOptions({{"lines", "Lines on the page.", "N", "200"},
                       {"size", "Client size.", "WxH", "520x420"},
                       {"pos", "Position.", "X,Y", "40,40"},
                       {"render", "Write the page rendered whole and exit.", "FILE"},
                       {"sideways", "Columns that scroll left and right."}});
    parser.process(app);
    const QStringList size = parser.value("size").split('x');
    const int width = size.value(0).toInt(), height = size.value(1).toInt();
    const int lines = parser.value("lines").toInt();

    QWidget window;
    window.setWindowTitle(QStringLiteral("Scroll page"));
    auto* layout = new QVBoxLayout(&window);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    QLabel* header =
        bar(QStringLiteral("  Header that stays"), QStringLiteral("background: #1f3a93; color: white;"));
    QLabel* footer =
        bar(QStringLiteral("  Footer that stays"), QStringLiteral("background: #444; color: #eee;"));
    auto* area = new QScrollArea;
    area->setFrameShape(QFrame::NoFrame);
    const bool sideways = parser.isSet("sideways");
    area->setVerticalScrollBarPolicy(sideways ? Qt::ScrollBarAlwaysOff : Qt::ScrollBarAlwaysOn);
    area->setHorizontalScrollBarPolicy(sideways ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff);
    const int pageWidth = width - area->verticalScrollBar()->sizeHint().width();
    const int pageHeight = height - 72 - area->horizontalScrollBar()->sizeHint().height();
    auto* page = sideways ? new Page(lines, pageHeight, true) : new Page(lines, pageWidth);
    area->setWidget(page);
    layout->addWidget(header);
    layout->addWidget(area, 1);
    layout->addWidget(footer);
    window.resize(width, height);

    if (parser.isSet("render")) {
        // Sideways, the bars run the page's whole width; the scroll bar's rows are left blank.
        const int wholeWidth = sideways ? page->width() : width;
        const int barRows = sideways ? height - 72 - pageHeight : 0;
        header->setFixedWidth(wholeWidth);
        footer->setFixedWidth(wholeWidth);
        header->resize(wholeWidth, 36);
        footer->resize(wholeWidth, 36);
        QImage whole(wholeWidth, 36 + page->height() + barRows + 36, QImage::Format_RGB32);
        whole.fill(Qt::white);
        QPainter painter(&whole);
        header->render(&painter, QPoint(0, 0));
        page->render(&painter, QPoint(0, 36));
        footer->render(&painter, QPoint(0, 36 + page->height() + barRows));
        painter.end();
        return whole.save(parser.value("render")) ? 0 : 1;
    }

    const QStringList pos = parser.value("pos").split(',');
    window.move(pos.value(0).toInt(), pos.value(1).toInt());
    window.show();
    QTimer::singleShot(300, [&] {
        std::printf("%llu\n", static_cast<unsigned long long>(window.winId()));
        std::fflush(stdout);
    });
    return app.exec();
}
