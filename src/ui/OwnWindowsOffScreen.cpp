#include "ui/OwnWindowsOffScreen.h"

#include "ui/FloatingChrome.h"

#include <QApplication>
#include <QThread>

#include <thread>

namespace ui {

namespace {

bool onGuiThread() {
    return QThread::currentThread() == QCoreApplication::instance()->thread();
}

// Runs `work` on the GUI thread and waits for it.
template <typename Work> void onGui(Work work) {
    if (onGuiThread())
        work();
    else
        QMetaObject::invokeMethod(QCoreApplication::instance(), work, Qt::BlockingQueuedConnection);
}

bool takesPart(const QWidget* window) {
    if (!window->isVisible() || window->isMinimized()) return false;
    if (window->windowType() == Qt::Popup || window->windowType() == Qt::Desktop) return false;
    return !window->property(OwnWindowsOffScreen::keepProperty).toBool();
}

QRect rootFrame(const QWidget* window) {
    return chrome::rootRect(window->screen(), window->frameGeometry());
}

} // namespace

OwnWindowsOffScreen::OwnWindowsOffScreen(std::chrono::milliseconds settle) : m_settle(settle) {}

void OwnWindowsOffScreen::withdraw(const QRect& rootRect) {
    if (!QCoreApplication::instance()) return;
    Clock::time_point clean;
    onGui([&] { clean = hide(rootRect); });
    std::this_thread::sleep_until(clean);
}

void OwnWindowsOffScreen::restore() {
    if (!QCoreApplication::instance()) return;
    if (onGuiThread())
        show();
    else
        QMetaObject::invokeMethod(
            QCoreApplication::instance(), [this] { show(); }, Qt::QueuedConnection);
}

OwnWindowsOffScreen::Clock::time_point OwnWindowsOffScreen::hide(const QRect& rootRect) {
    ++m_depth;
    bool hidAny = false;
    const QWidget* active = QApplication::activeWindow();
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (!takesPart(window) || !rootFrame(window).intersects(rootRect)) continue;
        m_hidden.append({window, window == active});
        window->hide();
        hidAny = true;
    }
    if (hidAny) {
        // The server has unmapped them when this returns; the programs below still repaint.
        QGuiApplication::sync();
        m_clean = std::max(m_clean, Clock::now() + m_settle);
    }
    return m_clean;
}

void OwnWindowsOffScreen::show() {
    if (m_depth == 0 || --m_depth > 0) return;
    for (const Hidden& hidden : std::exchange(m_hidden, {})) {
        QWidget* window = hidden.window;
        if (!window || window->isVisible()) continue;
        // Back where it was; only the window that had the focus takes it again, so the one
        // the user works in keeps it.
        const bool quiet = window->testAttribute(Qt::WA_ShowWithoutActivating);
        if (!hidden.wasActive) window->setAttribute(Qt::WA_ShowWithoutActivating);
        window->show();
        if (!hidden.wasActive) window->setAttribute(Qt::WA_ShowWithoutActivating, quiet);
        if (hidden.wasActive) {
            window->raise();
            window->activateWindow();
        }
    }
}

} // namespace ui
