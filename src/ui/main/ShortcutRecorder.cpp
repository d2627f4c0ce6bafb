#include "ui/main/ShortcutRecorder.h"

#include <QKeyEvent>
#include <QKeySequence>

namespace ui {
namespace {

constexpr Qt::KeyboardModifiers combinable =
    Qt::ControlModifier | Qt::ShiftModifier | Qt::AltModifier | Qt::MetaModifier;

bool isModifier(int key) {
    switch (key) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_Meta:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
    case Qt::Key_ScrollLock:
        return true;
    default:
        return false;
    }
}

// "Ctrl+Shift+" while only modifiers are down.
QString modifiersText(Qt::KeyboardModifiers modifiers) {
    QString text;
    if (modifiers & Qt::MetaModifier) text += QObject::tr("Meta+");
    if (modifiers & Qt::ControlModifier) text += QObject::tr("Ctrl+");
    if (modifiers & Qt::AltModifier) text += QObject::tr("Alt+");
    if (modifiers & Qt::ShiftModifier) text += QObject::tr("Shift+");
    return text;
}

} // namespace

ShortcutRecorder::ShortcutRecorder(QWidget* parent) : QPushButton(parent) {
    setCheckable(false);
    setMinimumWidth(150);
    setToolTip(tr("Click, then press the new keys. Esc cancels; Backspace turns the hotkey off."));
    connect(this, &QPushButton::clicked, this, [this] { m_recording ? stop() : start(); });
    showKeys({});
}

void ShortcutRecorder::setKeys(const QString& keys) {
    m_keys = keys;
    if (!m_recording) showKeys({});
}

void ShortcutRecorder::showKeys(const QString& pending) {
    if (m_recording) {
        setText(pending.isEmpty() ? tr("Press keys…") : pending + u'…');
        return;
    }
    const QString native =
        QKeySequence(m_keys, QKeySequence::PortableText).toString(QKeySequence::NativeText);
    setText(native.isEmpty() ? tr("None") : native);
}

void ShortcutRecorder::start() {
    m_recording = true;
    setDown(true);
    setFocus(Qt::OtherFocusReason);
    grabKeyboard();
    showKeys({});
}

void ShortcutRecorder::stop() {
    if (!m_recording) return;
    m_recording = false;
    releaseKeyboard();
    setDown(false);
    showKeys({});
}

bool ShortcutRecorder::event(QEvent* event) {
    // Tab and Shift+Tab are keys to record too, not a way out of the button.
    if (m_recording && event->type() == QEvent::KeyPress) {
        keyPressEvent(static_cast<QKeyEvent*>(event));
        return true;
    }
    // Its shortcut override keeps window shortcuts (Delete in the library) from taking keys.
    if (m_recording && event->type() == QEvent::ShortcutOverride) {
        event->accept();
        return true;
    }
    return QPushButton::event(event);
}

void ShortcutRecorder::keyPressEvent(QKeyEvent* event) {
    if (!m_recording) return QPushButton::keyPressEvent(event);
    const int key = event->key();
    const Qt::KeyboardModifiers modifiers = event->modifiers() & combinable;
    if (isModifier(key) || key == 0 || key == Qt::Key_unknown) {
        showKeys(modifiersText(modifiers));
        return;
    }
    if (modifiers == Qt::NoModifier && key == Qt::Key_Escape) return stop();
    if (modifiers == Qt::NoModifier && key == Qt::Key_Backspace) {
        stop();
        emit recorded(QString());
        return;
    }
    // Shift+Tab arrives as Backtab.
    const int plain = key == Qt::Key_Backtab ? int(Qt::Key_Tab) : key;
    const QString keys =
        QKeySequence(QKeyCombination(modifiers, Qt::Key(plain))).toString(QKeySequence::PortableText);
    stop();
    emit recorded(keys);
}

void ShortcutRecorder::keyReleaseEvent(QKeyEvent* event) {
    if (!m_recording) return QPushButton::keyReleaseEvent(event);
    showKeys(modifiersText(event->modifiers() & combinable));
}

void ShortcutRecorder::focusOutEvent(QFocusEvent* event) {
    stop();
    QPushButton::focusOutEvent(event);
}

} // namespace ui
