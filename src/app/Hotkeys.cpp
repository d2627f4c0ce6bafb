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
    const auto bind = [&run](const char* name, const char* keys) {
        return Binding{QString::fromLatin1(name), QString::fromLatin1(keys),
                       [run, flow = QString::fromLatin1(name)] { run(flow); }};
    };
    return {
        bind("area", "Print"),        bind("fullscreen", "Shift+Print"),
        bind("window", "Ctrl+Print"), bind("allInOne", "Alt+Print"),
        bind("previous", ""),         bind("text", ""),
        bind("timedFullscreen", ""),
    };
}

QString keysOf(const Binding& binding) {
    const QVariant stored = Prefs::value(prefKey(binding));
    return stored.isValid() ? stored.toString().trimmed() : binding.defaultKeys;
}

QStringList bindAll(const QList<Binding>& bindings) {
    QStringList failures;
    auto& hotkeys = platform::services().hotkeys;
    for (const Binding& binding : bindings) {
        if (!Prefs::value(prefKey(binding)).isValid()) Prefs::setValue(prefKey(binding), binding.defaultKeys);
        const QString keys = keysOf(binding);
        if (keys.isEmpty() || !hotkeys) continue;
        const QKeySequence sequence(keys, QKeySequence::PortableText);
        if (sequence.isEmpty() || sequence[0].key() == Qt::Key_unknown) {
            failures << QStringLiteral("\"%1\" is not a key combination").arg(keys);
            continue;
        }
        if (const auto bound = hotkeys->bind(sequence, binding.action); !bound)
            failures << bound.error().message;
    }
    return failures;
}

QString failureMessage(const QStringList& failures) {
    if (failures.isEmpty()) return {};
    const QString file = QFileInfo(Prefs::filePath()).fileName();
    return failures.join(QStringLiteral(". ")) +
           QStringLiteral(". Choose other keys under [Hotkeys] in %1").arg(file);
}

} // namespace Hotkeys
