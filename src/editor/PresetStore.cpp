#include "editor/PresetStore.h"

#include "app/AppPaths.h"
#include "app/Prefs.h"
#include "common/Log.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace {

// Built-in presets keep the same IDs on every start, so an active built-in stays active.
BeautifyPreset builtIn(const QString& name, const QString& style, int padding, int radius) {
    static const QUuid space = QUuid::fromString(QStringLiteral("{5b0c6f1e-7d2a-4c36-9a41-2f8e1d3c7b90}"));
    BeautifyPreset preset;
    preset.id = QUuid::createUuidV5(space, name);
    preset.name = name;
    preset.style = style;
    preset.padding = padding;
    preset.radius = radius;
    return preset;
}

QList<BeautifyPreset> builtIns() {
    return {builtIn(QStringLiteral("Corvanta Glass"), QStringLiteral("glassCorvanta"), 64, 14),
            builtIn(QStringLiteral("Ocean"), QStringLiteral("ocean"), 48, 12),
            builtIn(QStringLiteral("Sunset Glass"), QStringLiteral("glassSunset"), 80, 18),
            builtIn(QStringLiteral("Midnight"), QStringLiteral("midnight"), 56, 12),
            builtIn(QStringLiteral("Clean White"), QStringLiteral("white"), 32, 10)};
}

// The file: {"presets": [preset, ...], "activeID": "uuid"}; activeID is left out when none.
struct FileContents {
    QList<BeautifyPreset> presets;
    std::optional<QUuid> activeID;
};

std::optional<FileContents> parse(const QByteArray& bytes) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) return std::nullopt;
    const QJsonObject root = document.object();
    if (!root.value(QLatin1String("presets")).isArray()) return std::nullopt;
    FileContents contents;
    for (const QJsonValue item : root.value(QLatin1String("presets")).toArray()) {
        if (!item.isObject()) return std::nullopt;
        auto preset = BeautifyPreset::decode(item.toObject().toVariantMap());
        if (!preset) return std::nullopt;
        contents.presets.append(std::move(preset).value());
    }
    if (const QJsonValue active = root.value(QLatin1String("activeID")); active.isString()) {
        const QUuid id = QUuid::fromString(active.toString());
        if (!id.isNull()) contents.activeID = id;
    }
    return contents;
}

} // namespace

PresetStore& PresetStore::shared() {
    static PresetStore store(AppPaths::dataDirectory() + QStringLiteral("/presets.json"));
    return store;
}

PresetStore::PresetStore(QString filePath, QObject* parent)
    : QObject(parent), m_filePath(std::move(filePath)) {
    load();
}

BeautifyPreset PresetStore::active() const {
    if (m_activeID)
        if (auto preset = find(*m_activeID)) return *preset;
    BeautifyPreset fromPrefs;
    fromPrefs.name = QStringLiteral("Default");
    fromPrefs.style = Prefs::text(QStringLiteral("beautifyStyle"));
    fromPrefs.padding = Prefs::integer(QStringLiteral("beautifyPadding"));
    fromPrefs.radius = Prefs::integer(QStringLiteral("beautifyRadius"));
    return fromPrefs;
}

std::optional<BeautifyPreset> PresetStore::find(const QUuid& id) const {
    for (const BeautifyPreset& preset : m_presets)
        if (preset.id == id) return preset;
    return std::nullopt;
}

std::optional<BeautifyPreset> PresetStore::findByName(const QString& name) const {
    return BeautifyPreset::named(m_presets, name);
}

void PresetStore::add(const BeautifyPreset& preset) {
    if (find(preset.id)) return update(preset);
    m_presets.append(preset);
    save();
    emit presetsChanged();
}

void PresetStore::update(const BeautifyPreset& preset) {
    for (BeautifyPreset& existing : m_presets) {
        if (existing.id != preset.id) continue;
        if (existing == preset) return;
        existing = preset;
        save();
        emit presetsChanged();
        return;
    }
}

void PresetStore::remove(const QUuid& id) {
    const qsizetype removed = m_presets.removeIf([&id](const BeautifyPreset& p) { return p.id == id; });
    if (removed == 0) return;
    const bool wasActive = m_activeID == id;
    if (wasActive) m_activeID.reset();
    save();
    emit presetsChanged();
    if (wasActive) emit activeIDChanged();
}

void PresetStore::setActiveID(const std::optional<QUuid>& id) {
    if (m_activeID == id) return;
    m_activeID = id;
    save();
    emit activeIDChanged();
}

void PresetStore::load() {
    m_presets = builtIns();
    m_activeID.reset();
    QFile file(m_filePath);
    if (!file.exists()) return;
    std::optional<FileContents> contents;
    if (file.open(QIODevice::ReadOnly)) contents = parse(file.readAll());
    if (!contents) {
        qCWarning(lcPictavia, "Beautify presets in %s could not be read; using the built-in ones",
                  qPrintable(m_filePath));
        m_backUpBeforeWriting = true;
        return;
    }
    m_presets = std::move(contents->presets);
    m_activeID = contents->activeID;
}

void PresetStore::save() const {
    QDir().mkpath(QFileInfo(m_filePath).absolutePath());
    if (m_backUpBeforeWriting) {
        // The unreadable file may still hold the user's work: keep a copy.
        const QString backup = m_filePath + QStringLiteral(".bak");
        QFile::remove(backup);
        if (!QFile::copy(m_filePath, backup)) {
            qCWarning(lcPictavia, "Could not back up %s; leaving it unchanged", qPrintable(m_filePath));
            return;
        }
        m_backUpBeforeWriting = false;
    }
    QJsonArray presets;
    for (const BeautifyPreset& preset : m_presets)
        presets.append(QJsonObject::fromVariantMap(preset.encode()));
    QJsonObject root{{QStringLiteral("presets"), presets}};
    if (m_activeID) root.insert(QStringLiteral("activeID"), m_activeID->toString(QUuid::WithoutBraces));

    QSaveFile file(m_filePath);
    if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(root).toJson()) < 0 || !file.commit())
        qCWarning(lcPictavia, "Could not write beautify presets to %s", qPrintable(m_filePath));
}
