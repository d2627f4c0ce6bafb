#include "platform/DesktopKeyBindings.h"

#include <QKeySequence>
#include <QStringList>

#include <array>
#include <utility>

namespace DesktopKeyBindings {

namespace {

struct Combination {
    Qt::KeyboardModifiers modifiers;
    QString key; // the X keysym name the desktops share
};

// X keysym names of the keys whose Qt name differs; letters are lower case there.
QString keysymName(Qt::Key key) {
    static const std::array<std::pair<Qt::Key, const char*>, 26> names{{
        {Qt::Key_Print, "Print"},
        {Qt::Key_Escape, "Escape"},
        {Qt::Key_Space, "space"},
        {Qt::Key_Return, "Return"},
        {Qt::Key_Enter, "KP_Enter"},
        {Qt::Key_Tab, "Tab"},
        {Qt::Key_Backspace, "BackSpace"},
        {Qt::Key_Insert, "Insert"},
        {Qt::Key_Delete, "Delete"},
        {Qt::Key_Home, "Home"},
        {Qt::Key_End, "End"},
        {Qt::Key_PageUp, "Prior"},
        {Qt::Key_PageDown, "Next"},
        {Qt::Key_Left, "Left"},
        {Qt::Key_Right, "Right"},
        {Qt::Key_Up, "Up"},
        {Qt::Key_Down, "Down"},
        {Qt::Key_Minus, "minus"},
        {Qt::Key_Equal, "equal"},
        {Qt::Key_Comma, "comma"},
        {Qt::Key_Period, "period"},
        {Qt::Key_Slash, "slash"},
        {Qt::Key_Semicolon, "semicolon"},
        {Qt::Key_Apostrophe, "apostrophe"},
        {Qt::Key_BracketLeft, "bracketleft"},
        {Qt::Key_BracketRight, "bracketright"},
    }};
    for (const auto& [qtKey, name] : names)
        if (qtKey == key) return QString::fromLatin1(name);
    if (key >= Qt::Key_A && key <= Qt::Key_Z) return QString(QChar(u'a' + (key - Qt::Key_A)));
    if (key >= Qt::Key_0 && key <= Qt::Key_9) return QString(QChar(u'0' + (key - Qt::Key_0)));
    if (key >= Qt::Key_F1 && key <= Qt::Key_F35) return QStringLiteral("F%1").arg(key - Qt::Key_F1 + 1);
    return QKeySequence(key).toString(QKeySequence::PortableText);
}

std::optional<Combination> parse(const QString& portableKeys) {
    const QKeySequence sequence(portableKeys, QKeySequence::PortableText);
    if (sequence.count() != 1) return std::nullopt;
    const QKeyCombination combination = sequence[0];
    if (combination.key() == Qt::Key_unknown || combination.key() == Qt::Key(0)) return std::nullopt;
    return Combination{combination.keyboardModifiers(), keysymName(combination.key())};
}

// The modifiers in the order people write them, each in a desktop's notation.
QString joined(const Combination& c, const char* control, const char* shift, const char* alt,
               const char* logo, const QString& separator, const QString& closing = {}) {
    QString text;
    const auto add = [&](Qt::KeyboardModifier modifier, const char* name) {
        if (c.modifiers.testFlag(modifier)) text += QString::fromLatin1(name) + separator;
    };
    add(Qt::ControlModifier, control);
    add(Qt::ShiftModifier, shift);
    add(Qt::AltModifier, alt);
    add(Qt::MetaModifier, logo);
    return text + closing + c.key;
}

} // namespace

Desktop desktopNamed(const QString& currentDesktop) {
    const QStringList names = currentDesktop.toLower().split(u':', Qt::SkipEmptyParts);
    if (names.contains(QLatin1String("gnome"))) return Desktop::gnome;
    if (names.contains(QLatin1String("kde"))) return Desktop::kde;
    if (names.contains(QLatin1String("sway"))) return Desktop::sway;
    return Desktop::other;
}

Desktop currentDesktop() {
    return desktopNamed(qEnvironmentVariable("XDG_CURRENT_DESKTOP"));
}

QString bindingHint(const QString& flow, const QString& portableKeys, Desktop desktop) {
    const auto url = urlFor(flow);
    if (!url) return {};
    const QString line = swayLine(portableKeys, *url);
    if (desktop == Desktop::sway && !line.isEmpty()) return QStringLiteral("For sway's config: %1").arg(line);
    return QStringLiteral("Bind in the desktop's keyboard settings: %1").arg(command(*url));
}

std::optional<QString> urlFor(const QString& flow) {
    static const std::array<std::pair<const char*, const char*>, 7> urls{{
        {"area", "capture-area"},
        {"fullscreen", "capture-fullscreen"},
        {"window", "capture-window"},
        {"allInOne", "all-in-one"},
        {"previous", "capture-previous"},
        {"text", "capture-text"},
        {"record", "record"},
    }};
    for (const auto& [name, command] : urls)
        if (flow == QLatin1String(name)) return QStringLiteral("pictavia://") + QLatin1String(command);
    return std::nullopt;
}

QString command(const QString& url) {
    return QStringLiteral("pictavia ") + url;
}

QString swayKeys(const QString& portableKeys) {
    const auto c = parse(portableKeys);
    return c ? joined(*c, "Ctrl", "Shift", "Mod1", "Mod4", QStringLiteral("+")) : QString();
}

QString swayLine(const QString& portableKeys, const QString& url) {
    const QString keys = swayKeys(portableKeys);
    if (keys.isEmpty()) return {};
    return QStringLiteral("bindsym %1 exec %2").arg(keys, command(url));
}

QString gnomeAccelerator(const QString& portableKeys) {
    const auto c = parse(portableKeys);
    if (!c) return {};
    return joined(*c, "<Control>", "<Shift>", "<Alt>", "<Super>", QString());
}

QString portalTrigger(const QString& portableKeys) {
    const auto c = parse(portableKeys);
    return c ? joined(*c, "CTRL", "SHIFT", "ALT", "LOGO", QStringLiteral("+")) : QString();
}

} // namespace DesktopKeyBindings
