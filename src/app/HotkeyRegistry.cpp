#include "app/HotkeyRegistry.h"

#include "app/Prefs.h"
#include "platform/Platform.h"

#include <QKeySequence>

HotkeyRegistry& HotkeyRegistry::shared() {
    // Never destroyed: the grabs go with the process and its X connection.
    static auto* registry = new HotkeyRegistry;
    return *registry;
}

HotkeyRegistry::HotkeyRegistry(QObject* parent) : QObject(parent), m_bindings(Hotkeys::captureBindings({})) {}

HotkeyRegistry::~HotkeyRegistry() {
    for (const Hotkeys::Binding& b : std::as_const(m_bindings))
        release(b.name);
}

QStringList HotkeyRegistry::install(QList<Hotkeys::Binding> bindings) {
    for (const Hotkeys::Binding& b : std::as_const(m_bindings))
        release(b.name);
    m_grabbed.clear();
    m_bindings = std::move(bindings);
    QStringList failures;
    for (const Hotkeys::Binding& b : std::as_const(m_bindings)) {
        const QString key = Hotkeys::prefKey(b.name);
        if (!Prefs::value(key).isValid()) Prefs::setValue(key, b.defaultKeys);
        regrab(b, Hotkeys::keysOf(b));
        if (const QString& problem = m_grabbed.value(b.name).problem; !problem.isEmpty()) failures << problem;
    }
    return failures;
}

const Hotkeys::Binding* HotkeyRegistry::binding(const QString& name) const {
    for (const Hotkeys::Binding& b : m_bindings)
        if (b.name == name) return &b;
    return nullptr;
}

QString HotkeyRegistry::keys(const QString& name) const {
    const Hotkeys::Binding* b = binding(name);
    return b ? Hotkeys::keysOf(*b) : QString();
}

QString HotkeyRegistry::defaultKeys(const QString& name) const {
    const Hotkeys::Binding* b = binding(name);
    return b ? b->defaultKeys : QString();
}

QString HotkeyRegistry::problem(const QString& name) const {
    return m_grabbed.value(name).problem;
}

QString HotkeyRegistry::takenBy(const QString& name, const QString& keys) const {
    if (keys.isEmpty()) return {};
    const QKeySequence wanted(keys, QKeySequence::PortableText);
    for (const Hotkeys::Binding& other : m_bindings) {
        if (other.name == name) continue;
        const QString theirs = Hotkeys::keysOf(other);
        if (!theirs.isEmpty() && QKeySequence(theirs, QKeySequence::PortableText) == wanted)
            return other.title;
    }
    return {};
}

Result<bool> HotkeyRegistry::change(const QString& name, const QString& keys) {
    const Hotkeys::Binding* b = binding(name);
    if (!b) return Error{QStringLiteral("There is no hotkey named \"%1\"").arg(name)};
    const QString wanted =
        keys.isEmpty() ? QString()
                       : QKeySequence(keys, QKeySequence::PortableText).toString(QKeySequence::PortableText);
    if (!wanted.isEmpty() && !Hotkeys::isCombination(wanted))
        return Error{QStringLiteral("\"%1\" is not a key combination").arg(keys)};
    if (const QString other = takenBy(name, wanted); !other.isEmpty())
        return Error{
            QStringLiteral("%1 is already the hotkey of “%2”").arg(Hotkeys::readable(wanted), other)};
    Prefs::setValue(Hotkeys::prefKey(name), wanted);
    regrab(*b, wanted);
    emit changed(name);
    return true;
}

Result<bool> HotkeyRegistry::reset(const QString& name) {
    return change(name, defaultKeys(name));
}

void HotkeyRegistry::reload() {
    // Released first, then grabbed: two hotkeys that swapped keys in the file both work.
    QList<const Hotkeys::Binding*> moved;
    for (const Hotkeys::Binding& b : std::as_const(m_bindings)) {
        if (!m_grabbed.contains(b.name) || m_grabbed.value(b.name).keys == Hotkeys::keysOf(b)) continue;
        release(b.name);
        moved << &b;
    }
    for (const Hotkeys::Binding* b : std::as_const(moved))
        regrab(*b, Hotkeys::keysOf(*b));
    for (const Hotkeys::Binding* b : std::as_const(moved))
        emit changed(b->name);
}

void HotkeyRegistry::release(const QString& name) {
    const auto it = m_grabbed.find(name);
    if (it == m_grabbed.end()) return;
    if (it->handle != 0)
        if (auto& hotkeys = platform::services().hotkeys) hotkeys->unbind(it->handle);
    it->handle = 0;
}

void HotkeyRegistry::regrab(const Hotkeys::Binding& binding, const QString& keys) {
    release(binding.name);
    Grabbed grabbed{keys, 0, {}};
    auto& hotkeys = platform::services().hotkeys;
    if (!keys.isEmpty() && hotkeys) {
        if (!Hotkeys::isCombination(keys)) {
            grabbed.problem = QStringLiteral("\"%1\" is not a key combination").arg(keys);
        } else if (const auto bound =
                       hotkeys->bind(QKeySequence(keys, QKeySequence::PortableText), binding.action)) {
            grabbed.handle = *bound;
        } else {
            grabbed.problem = bound.error().message;
        }
    }
    m_grabbed.insert(binding.name, grabbed);
}
