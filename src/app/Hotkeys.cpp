#include "app/Hotkeys.h"

#include "app/Prefs.h"
#include "platform/Platform.h"

#include <QFileInfo>
#include <QKeySequence>

namespace Hotkeys {

namespace {

QString prefKey(const Binding& binding) {
    return QStringLiteral("Hotkeys/") + binding.name;
}

} // namespace

QList<Binding> captureBindings(const std::function<void(const QString& flow)>& run) {
    const auto bind = [&run](const char* name, const char* keys, const char* description) {
        return Binding{QString::fromLatin1(name), QString::fromLatin1(keys), QString::fromLatin1(description),
                       [run, flow = QString::fromLatin1(name)] { run(flow); }};
    };
    return {
        bind("area", "Print", "area capture"),
        bind("fullscreen", "Shift+Print", "full-screen capture"),
        bind("window", "Ctrl+Print", "window capture"),
        bind("allInOne", "Alt+Print", "all-in-one capture"),
        bind("previous", "", "previous-area capture"),
        bind("text", "", "text capture"),
        bind("timedFullscreen", "", "timed full-screen capture"),
    };
}

QString keysOf(const Binding& binding) {
    const QVariant stored = Prefs::value(prefKey(binding));
    return stored.isValid() ? stored.toString().trimmed() : binding.defaultKeys;
}

QStringList bindAll(const QList<Binding>& bindings) {
    QStringList failures;
    auto& hotkeys = platform::services().hotkeys;
    const QString file = QFileInfo(Prefs::filePath()).fileName();
    for (const Binding& binding : bindings) {
        if (!Prefs::value(prefKey(binding)).isValid()) Prefs::setValue(prefKey(binding), binding.defaultKeys);
        const QString keys = keysOf(binding);
        if (keys.isEmpty() || !hotkeys) continue;
        const QKeySequence sequence(keys, QKeySequence::PortableText);
        if (sequence.isEmpty()) {
            failures << QStringLiteral(
                            "\"%1\" is not a key combination Pictavia knows. Fix %2 under [Hotkeys] in %3")
                            .arg(keys, binding.name, file);
            continue;
        }
        if (const auto bound = hotkeys->bind(sequence, binding.action); !bound)
            failures << QStringLiteral("%1. Choose another key for %2 under [Hotkeys] in %3")
                            .arg(bound.error().message, binding.description, file);
    }
    return failures;
}

} // namespace Hotkeys
