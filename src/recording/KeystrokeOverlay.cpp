#include "recording/KeystrokeOverlay.h"

#include "app/Hotkeys.h"

#include <QKeySequence>

#include <algorithm>

KeystrokeOverlay::KeystrokeOverlay(QRect screen, QObject* parent) : QObject(parent), m_screen(screen) {
    m_hide.setSingleShot(true);
    m_hide.setTimerType(Qt::PreciseTimer);
    m_hide.setInterval(kHideAfterMilliseconds);
    connect(&m_hide, &QTimer::timeout, this, [this] {
        m_opacity = 0;
        emit changed();
    });
}

QString KeystrokeOverlay::describe(const platform::KeyPress& press) {
    if (press.isModifier || press.key == Qt::Key_unknown || press.key == Qt::Key(0)) return {};
    // Spelled out rather than drawn as symbols: Linux keyboards and our shortcut settings
    // say Ctrl, Alt, Shift and Super.
    QString text;
    if (press.modifiers & Qt::ControlModifier) text += QStringLiteral("Ctrl+");
    if (press.modifiers & Qt::AltModifier) text += QStringLiteral("Alt+");
    if (press.modifiers & Qt::ShiftModifier) text += QStringLiteral("Shift+");
    if (press.modifiers & Qt::MetaModifier) text += QStringLiteral("Super+");
    const QString name = Hotkeys::readable(QKeySequence(press.key).toString(QKeySequence::PortableText));
    if (name.isEmpty()) return {};
    return text + name;
}

void KeystrokeOverlay::start() {
    m_running = true;
}

void KeystrokeOverlay::stop() {
    m_running = false;
    m_hide.stop();
    m_recent.clear();
    m_opacity = 0;
    emit changed();
}

void KeystrokeOverlay::keyPressed(const platform::KeyPress& press) {
    const QString text = describe(press);
    if (!text.isEmpty()) push(text);
}

void KeystrokeOverlay::push(const QString& text) {
    if (!m_running) return;
    m_recent.append(text);
    while (m_recent.size() > kShownPresses)
        m_recent.removeFirst();
    m_opacity = 1;
    m_hide.start(); // restarts a pending hide
    emit changed();
}

QString KeystrokeOverlay::text() const {
    return m_recent.join(QStringLiteral("  "));
}

QRect KeystrokeOverlay::panelGeometry(const QRect& screen, int textWidth) {
    const int width = std::max(textWidth + kTextMargin, kMinimumWidth);
    const int left = screen.x() + (screen.width() - width) / 2;
    const int top = screen.y() + screen.height() - kAboveBottom - kPanelHeight;
    return QRect(left, top, width, kPanelHeight);
}

QRect KeystrokeOverlay::panelGeometry(const std::function<int(const QString&)>& textWidth) const {
    return panelGeometry(m_screen, textWidth ? textWidth(text()) : 0);
}
