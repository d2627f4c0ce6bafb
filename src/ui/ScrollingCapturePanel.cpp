#include "ui/ScrollingCapturePanel.h"

#include "ui/FloatingChrome.h"
#include "ui/WindowPlacement.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>

namespace ui {

ScrollingCapturePanel::ScrollingCapturePanel(std::function<void()> done)
    : QWidget(nullptr, placement::floating(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                                           Qt::WindowDoesNotAcceptFocus)) {
    setWindowTitle(QString::fromLatin1(title));
    chrome::styleControlBar(*this, QStringLiteral("scrollingPanel"));
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(10, 6, 6, 6);
    row->setSpacing(8);
    m_length = new QLabel(this);
    // Room for a long capture's figure, so the panel keeps its size while it grows.
    m_length->setMinimumWidth(m_length->fontMetrics().horizontalAdvance(tr("%1 px").arg(88888)));
    auto* finish = new QToolButton(this);
    finish->setText(tr("Done"));
    finish->setToolTip(tr("Stop scrolling and keep what is captured (Esc)"));
    finish->setFocusPolicy(Qt::NoFocus);
    finish->setCursor(Qt::PointingHandCursor);
    connect(finish, &QToolButton::clicked, this, [done = std::move(done)] {
        if (done) done();
    });
    row->addWidget(new QLabel(tr("Scrolling capture"), this));
    row->addWidget(m_length);
    row->addWidget(finish);
    setLength(0);
    adjustSize();
    setFixedSize(size());
}

void ScrollingCapturePanel::setLength(int pixels) {
    m_length->setText(tr("%1 px").arg(pixels));
}

void ScrollingCapturePanel::showAt(const QRect& root) {
    chrome::showAtRoot(*this, root);
}

} // namespace ui
