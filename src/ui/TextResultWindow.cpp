#include "ui/TextResultWindow.h"

#include "app/Toast.h"
#include "platform/Platform.h"
#include "ui/AppIcon.h"

#include <QCursor>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QUrl>
#include <QVBoxLayout>

#include <algorithm>

namespace ui {

namespace {

QPointer<TextResultWindow>& current() {
    static QPointer<TextResultWindow> window;
    return window;
}

void copy(const QString& text) {
    if (auto& clipboard = platform::services().clipboard) clipboard->setText(text);
    Toast::show(QObject::tr("Copied"));
}

bool isWebAddress(const QString& code) {
    const QUrl url(code, QUrl::StrictMode);
    return url.isValid() && (url.scheme() == u"https" || url.scheme() == u"http");
}

} // namespace

void TextResultWindow::show(const QString& text, const QStringList& codes) {
    if (current()) current()->close();
    current() = new TextResultWindow(text, codes);
    current()->QWidget::show();
    current()->raise();
    current()->activateWindow();
}

TextResultWindow::TextResultWindow(const QString& text, const QStringList& codes)
    : QWidget(nullptr, Qt::Window | Qt::WindowStaysOnTopHint) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("Pictavia Text"));
    setWindowIcon(appIcon());
    auto* layout = new QVBoxLayout(this);

    if (!text.isEmpty()) {
        auto* view = new QPlainTextEdit(text);
        view->setReadOnly(true);
        view->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        layout->addWidget(view, 1);
    }
    for (const QString& code : codes) {
        auto* row = new QHBoxLayout;
        auto* label = new QLabel(code);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        label->setWordWrap(true);
        row->addWidget(label, 1);
        if (isWebAddress(code)) {
            auto* open = new QPushButton(tr("Open"));
            connect(open, &QPushButton::clicked, this, [code] { QDesktopServices::openUrl(QUrl(code)); });
            row->addWidget(open);
        }
        auto* copyCode = new QPushButton(tr("Copy"));
        connect(copyCode, &QPushButton::clicked, this, [code] { copy(code); });
        row->addWidget(copyCode);
        layout->addLayout(row);
    }

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    if (!text.isEmpty()) {
        auto* copyText = new QPushButton(tr("Copy Text"));
        connect(copyText, &QPushButton::clicked, this, [text] { copy(text); });
        buttons->addWidget(copyText);
    }
    auto* close = new QPushButton(tr("Close"));
    close->setDefault(true);
    connect(close, &QPushButton::clicked, this, &QWidget::close);
    buttons->addWidget(close);
    layout->addLayout(buttons);

    const int lines = static_cast<int>(text.count(QLatin1Char('\n'))) + 1;
    resize(text.isEmpty() ? QSize(420, 120) : QSize(520, std::clamp(120 + 22 * lines, 180, 480)));
    if (const QScreen* screen = QGuiApplication::screenAt(QCursor::pos())) {
        QRect frame(QPoint(), size());
        frame.moveCenter(screen->availableGeometry().center());
        move(frame.topLeft());
    }
}

} // namespace ui
