#include "app/Hotkeys.h"

#include "app/Prefs.h"

#include <QKeySequence>

namespace Hotkeys {

QList<Binding> captureBindings(const std::function<void(const QString& flow)>& run) {
    const auto bind = [&run](const char* name, const char* title, const char* keys) {
        return Binding{QString::fromLatin1(name), QString::fromUtf8(title), QString::fromLatin1(keys),
                       [run, flow = QString::fromLatin1(name)] {
                           if (run) run(flow);
                       }};
    };
    return {
        bind("area", "Capture an area", "Print"),
        bind("fullscreen", "Capture the screen", "Shift+Print"),
        bind("window", "Capture a window", "Ctrl+Print"),
        bind("allInOne", "All-in-one", "Alt+Print"),
        bind("previous", "Capture the previous area again", ""),
        bind("text", "Capture text", ""),
        bind("timedFullscreen", "Capture the screen in 5 seconds", ""),
        bind("record", "Start or stop recording", "Ctrl+Shift+Print"),
    };
}

QString prefKey(const QString& name) {
    return QStringLiteral("Hotkeys/") + name;
}

QString keysOf(const Binding& binding) {
    const QVariant stored = Prefs::value(prefKey(binding.name));
    return stored.isValid() ? stored.toString().trimmed() : binding.defaultKeys;
}

QString readable(const QString& portableKeys) {
    return QKeySequence(portableKeys, QKeySequence::PortableText).toString(QKeySequence::NativeText);
}

bool isCombination(const QString& portableKeys) {
    const QKeySequence sequence(portableKeys, QKeySequence::PortableText);
    return sequence.count() == 1 && sequence[0].key() != Qt::Key_unknown && sequence[0].key() != Qt::Key(0);
}

QString failureMessage(const QStringList& failures) {
    if (failures.isEmpty()) return {};
    return failures.join(QStringLiteral(". ")) +
           QStringLiteral(". Choose other keys in Settings, under Keyboard Shortcuts");
}

} // namespace Hotkeys
