#include "platform/speech/SphinxModels.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace platform::speech {

namespace {

// The model folder of pocketsphinx-en-us and of any other model packaged the same way.
const QString debianModels = QStringLiteral("/usr/share/pocketsphinx/model");

QString firstFile(const QDir& dir, const QStringList& patterns, const QString& avoiding = {}) {
    for (const QString& pattern : patterns)
        for (const QString& name : dir.entryList({pattern}, QDir::Files | QDir::Readable, QDir::Name))
            if (avoiding.isEmpty() || !name.contains(avoiding)) return dir.filePath(name);
    return {};
}

} // namespace

QStringList defaultModelRoots() {
    return {QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                QStringLiteral("/pocketsphinx/model"),
            debianModels};
}

QString folderOf(const QString& language) {
    return language.toLower();
}

QString languageOf(const QString& folder) {
    const qsizetype dash = folder.indexOf(QLatin1Char('-'));
    if (dash < 0) return folder.toLower();
    return folder.left(dash).toLower() + QLatin1Char('-') + folder.mid(dash + 1).toUpper();
}

std::optional<SphinxModel> findModel(const QStringList& roots, const QString& language) {
    const QString folder = folderOf(language);
    for (const QString& root : roots) {
        const QDir dir(root + QLatin1Char('/') + folder);
        if (!dir.exists()) continue;
        SphinxModel model;
        // The acoustic model is the sub-folder with a model definition: Debian names it like
        // its language ("en-us/en-us").
        QStringList folders = dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
        folders.removeAll(folder);
        folders.prepend(folder);
        for (const QString& candidate : folders)
            if (QFileInfo(dir.filePath(candidate + QStringLiteral("/mdef"))).isReadable()) {
                model.acoustic = dir.filePath(candidate);
                break;
            }
        // The word model, not the phone model beside it.
        model.languageModel =
            firstFile(dir,
                      {folder + QStringLiteral(".lm.bin"), QStringLiteral("*.lm.bin"), QStringLiteral("*.lm"),
                       QStringLiteral("*.lm.dmp"), QStringLiteral("*.DMP")},
                      QStringLiteral("phone"));
        model.dictionary = firstFile(dir, {QStringLiteral("cmudict-") + folder + QStringLiteral(".dict"),
                                           QStringLiteral("*.dict"), QStringLiteral("*.dic")});
        if (!model.acoustic.isEmpty() && !model.languageModel.isEmpty() && !model.dictionary.isEmpty())
            return model;
    }
    return std::nullopt;
}

QStringList installedLanguages(const QStringList& roots) {
    QStringList languages;
    for (const QString& root : roots)
        for (const QString& folder : QDir(root).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
            const QString language = languageOf(folder);
            if (!languages.contains(language) && findModel({root}, language)) languages << language;
        }
    return languages;
}

} // namespace platform::speech
