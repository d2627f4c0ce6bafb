#pragma once

#include "editor/BeautifyPreset.h"

#include <QList>
#include <QObject>
#include <QUuid>

#include <optional>

// The user's beautify presets, kept in "presets.json" in the data folder, and the one
// applied last. The file is written on every change; a missing or unreadable file gives
// the built-in presets and is left alone until the next change.
class PresetStore : public QObject {
    Q_OBJECT
public:
    static PresetStore& shared();
    explicit PresetStore(QString filePath, QObject* parent = nullptr);

    const QList<BeautifyPreset>& presets() const { return m_presets; }
    std::optional<QUuid> activeID() const { return m_activeID; }

    // The active preset; without one, a preset made from the "beautifyStyle",
    // "beautifyPadding" and "beautifyRadius" preferences.
    BeautifyPreset active() const;
    std::optional<BeautifyPreset> find(const QUuid& id) const;
    // By name, ignoring case: how agents and scripts name presets.
    std::optional<BeautifyPreset> findByName(const QString& name) const;

    void add(const BeautifyPreset& preset);
    void update(const BeautifyPreset& preset);
    void remove(const QUuid& id);
    void setActiveID(const std::optional<QUuid>& id);

signals:
    void presetsChanged();
    void activeIDChanged();

private:
    void load();
    void save() const;

    QString m_filePath;
    QList<BeautifyPreset> m_presets;
    std::optional<QUuid> m_activeID;
    // Set when the file could not be read: it is backed up before the first write.
    mutable bool m_backUpBeforeWriting = false;
};
