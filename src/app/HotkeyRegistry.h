#pragma once

#include "app/Hotkeys.h"
#include "common/Result.h"

#include <QHash>
#include <QObject>

// The global hotkeys of this run as they are grabbed now. Changing one writes it to the
// preferences file and grabs it at once; another program holding the keys is kept as the
// hotkey's problem for the settings page to show.
class HotkeyRegistry : public QObject {
    Q_OBJECT
public:
    // Knows the capture flows' hotkeys, with no action until `install` gives them theirs.
    static HotkeyRegistry& shared();

    explicit HotkeyRegistry(QObject* parent = nullptr);
    ~HotkeyRegistry() override;

    // Takes these bindings in place of the ones held, writes the keys missing from the
    // file so people find them there, and grabs every one. Returns one sentence per
    // binding that could not be grabbed.
    QStringList install(QList<Hotkeys::Binding> bindings);

    const QList<Hotkeys::Binding>& bindings() const { return m_bindings; }
    // The keys the hotkey has now in portable text; empty when it is off.
    QString keys(const QString& name) const;
    QString defaultKeys(const QString& name) const;
    // Why the hotkey does not work now (another program holds its keys...); empty when
    // it works or is off.
    QString problem(const QString& name) const;
    // The title of another of our hotkeys that has `keys`; empty when none does.
    QString takenBy(const QString& name, const QString& keys) const;

    // Gives the hotkey new keys (empty turns it off), writes them and grabs them now.
    // Fails, changing nothing, when the keys are another of our hotkeys' or no key at all.
    // A grab that another program refuses is not a failure here: the keys are kept, and
    // `problem` says why they do not work yet.
    Result<bool> change(const QString& name, const QString& keys);
    // Back to the hotkey's default keys.
    Result<bool> reset(const QString& name);
    // Grabs anew every hotkey whose keys in the file differ from those grabbed, after the
    // file changed elsewhere.
    void reload();

signals:
    // A hotkey's keys or problem changed.
    void changed(const QString& name);

private:
    struct Grabbed {
        QString keys;    // what was last grabbed or tried
        int handle = 0;  // 0 when nothing is held
        QString problem; // why the grab failed
    };

    const Hotkeys::Binding* binding(const QString& name) const;
    // Releases the hotkey's keys and grabs `keys` in their place.
    void regrab(const Hotkeys::Binding& binding, const QString& keys);
    void release(const QString& name);

    QList<Hotkeys::Binding> m_bindings;
    QHash<QString, Grabbed> m_grabbed;
};
