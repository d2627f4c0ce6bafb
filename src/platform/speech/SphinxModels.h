#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace platform::speech {

// The three files of one language that PocketSphinx decodes with.
struct SphinxModel {
    QString acoustic;      // the folder of the acoustic model (its mdef, means, variances...)
    QString languageModel; // the n-gram model, .lm.bin or .lm
    QString dictionary;    // the pronunciations
};

// Where models are looked for, first found first: the user's own folder
// ($XDG_DATA_HOME/pocketsphinx/model) and Debian's (/usr/share/pocketsphinx/model). A model
// is a folder there named after its language in lower case ("en-us").
QStringList defaultModelRoots();

// "en-US" -> "en-us"; "fr-fr" -> "fr-FR".
QString folderOf(const QString& language);
QString languageOf(const QString& folder);

// The model of `language` in the first root that has a complete one.
std::optional<SphinxModel> findModel(const QStringList& roots, const QString& language);

// The languages that have a complete model under `roots`.
QStringList installedLanguages(const QStringList& roots);

} // namespace platform::speech
