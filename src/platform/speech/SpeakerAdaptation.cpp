#include "platform/speech/SpeakerAdaptation.h"

#include "platform/speech/MixtureWeights.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

namespace platform::speech {

namespace {

// Debian keeps the trainer's programs out of the search path.
const QStringList trainerFolders = {QStringLiteral("/usr/lib/sphinxtrain")};

Error failure(const QString& message) {
    return Error{message, QStringLiteral("com.corvanta.pictavia.speech"), 1};
}

QString tool(const QString& name) {
    QString path = QStandardPaths::findExecutable(name);
    if (path.isEmpty()) path = QStandardPaths::findExecutable(name, trainerFolders);
    return path;
}

const QStringList toolNames = {QStringLiteral("sphinx_fe"), QStringLiteral("pocketsphinx_mdef_convert"),
                               QStringLiteral("bw"), QStringLiteral("mllr_solve")};

// Runs `name` in `dir` to its end, its chatter kept in NAME.log there.
Result<bool> run(const QString& name, const QStringList& args, const QString& dir,
                 const std::function<bool()>& keepGoing) {
    const Error cancelled = failure(QStringLiteral("Speaker adaptation was cancelled."));
    if (keepGoing && !keepGoing()) return cancelled;
    const QString log = QDir(dir).filePath(name + QStringLiteral(".log"));
    QProcess process;
    process.setWorkingDirectory(dir);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setStandardOutputFile(log);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(tool(name), args);
    if (!process.waitForStarted()) return failure(QStringLiteral("%1 could not be started.").arg(name));
    while (!process.waitForFinished(100)) {
        if (process.state() == QProcess::NotRunning) break;
        if (keepGoing && !keepGoing()) {
            process.kill();
            process.waitForFinished();
            return cancelled;
        }
    }
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return failure(QStringLiteral("%1 failed; see %2.").arg(name, log));
    return true;
}

// The model's feature settings ("-feat" -> "1s_c_d_dd"), from its feat.params.
QMap<QString, QString> featureSettings(const QString& acoustic) {
    QMap<QString, QString> settings;
    QFile file(QDir(acoustic).filePath(QStringLiteral("feat.params")));
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) return settings;
    while (!file.atEnd()) {
        const QStringList fields = QString::fromUtf8(file.readLine()).simplified().split(QLatin1Char(' '));
        if (fields.size() == 2 && fields[0].startsWith(QLatin1Char('-'))) settings[fields[0]] = fields[1];
    }
    return settings;
}

bool writeText(const QString& path, const QByteArray& text) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

} // namespace

bool SpeakerAdaptation::available() {
    return std::all_of(toolNames.begin(), toolNames.end(),
                       [](const QString& name) { return !tool(name).isEmpty(); });
}

Result<QString> SpeakerAdaptation::estimate(const SphinxModel& model,
                                            const std::vector<AdaptationUtterance>& utterances,
                                            const QString& workDir, const std::function<bool()>& keepGoing) {
    for (const QString& name : toolNames)
        if (tool(name).isEmpty())
            return failure(QStringLiteral("Speaker adaptation needs %1 (Debian packages sphinxtrain and "
                                          "sphinxbase-utils).")
                               .arg(name));
    const QDir dir(workDir);
    const QDir acoustic(model.acoustic);

    // The sound of each utterance with words, and what was said in it.
    QByteArray control, transcripts;
    int words = 0;
    for (size_t index = 0; index < utterances.size(); ++index) {
        const AdaptationUtterance& utterance = utterances[index];
        if (utterance.words.isEmpty() || utterance.pcm.empty()) continue;
        const QByteArray id =
            QByteArrayLiteral("u") + QByteArray::number(qulonglong(index)).rightJustified(5, '0');
        if (!writeText(dir.filePath(QString::fromLatin1(id + ".raw")),
                       QByteArray(reinterpret_cast<const char*>(utterance.pcm.data()),
                                  qsizetype(utterance.pcm.size() * sizeof(int16_t)))))
            return failure(QStringLiteral("The sound to adapt to cannot be written to %1.").arg(workDir));
        control += id + '\n';
        transcripts += "<s> " + utterance.words.join(' ') + " </s> (" + id + ")\n";
        words += int(utterance.words.size());
    }
    if (words < fewestWords)
        return failure(QStringLiteral("Too few words were heard to adapt to the speaker."));
    if (!writeText(dir.filePath(QStringLiteral("utterances.ctl")), control) ||
        !writeText(dir.filePath(QStringLiteral("utterances.txt")), transcripts))
        return failure(QStringLiteral("The sound to adapt to cannot be written to %1.").arg(workDir));

    // The features the model was trained on.
    const QString params = acoustic.filePath(QStringLiteral("feat.params"));
    auto done = run(QStringLiteral("sphinx_fe"),
                    {QStringLiteral("-argfile"), params, QStringLiteral("-samprate"), QStringLiteral("16000"),
                     QStringLiteral("-c"), QStringLiteral("utterances.ctl"), QStringLiteral("-di"), workDir,
                     QStringLiteral("-do"), workDir, QStringLiteral("-ei"), QStringLiteral("raw"),
                     QStringLiteral("-eo"), QStringLiteral("mfc"), QStringLiteral("-raw"),
                     QStringLiteral("yes"), QStringLiteral("-input_endian"), QStringLiteral("little")},
                    workDir, keepGoing);
    if (!done) return done.error();

    // The trainer reads the model definition as text and the mixture weights in full; the
    // decoder's model may carry both only in its compact forms.
    QString definition = acoustic.filePath(QStringLiteral("mdef"));
    QFile mdef(definition);
    if (!mdef.open(QIODevice::ReadOnly) || mdef.read(4) == "BMDF") {
        definition = dir.filePath(QStringLiteral("mdef.txt"));
        done = run(QStringLiteral("pocketsphinx_mdef_convert"),
                   {QStringLiteral("-text"), acoustic.filePath(QStringLiteral("mdef")), definition}, workDir,
                   keepGoing);
        if (!done) return done.error();
    }
    QString mixtureWeights = acoustic.filePath(QStringLiteral("mixture_weights"));
    if (!QFileInfo::exists(mixtureWeights)) {
        const auto mixture = readSendump(acoustic.filePath(QStringLiteral("sendump")));
        if (!mixture) return mixture.error();
        mixtureWeights = dir.filePath(QStringLiteral("mixture_weights"));
        const auto written = writeMixtureWeights(*mixture, mixtureWeights);
        if (!written) return written.error();
    }

    const QMap<QString, QString> features = featureSettings(model.acoustic);
    const QString kind = features.value(QStringLiteral("-model"));
    QStringList align = {
        QStringLiteral("-moddeffn"), definition, QStringLiteral("-mixwfn"), mixtureWeights,
        QStringLiteral("-meanfn"), acoustic.filePath(QStringLiteral("means")), QStringLiteral("-varfn"),
        acoustic.filePath(QStringLiteral("variances")), QStringLiteral("-tmatfn"),
        acoustic.filePath(QStringLiteral("transition_matrices")), QStringLiteral("-ts2cbfn"),
        kind == QLatin1String("ptm")    ? QStringLiteral(".ptm.")
        : kind == QLatin1String("semi") ? QStringLiteral(".semi.")
                                        : QStringLiteral(".cont."),
        QStringLiteral("-feat"), features.value(QStringLiteral("-feat"), QStringLiteral("1s_c_d_dd")),
        QStringLiteral("-agc"), features.value(QStringLiteral("-agc"), QStringLiteral("none")),
        // Each utterance's own cepstral mean: the whole of it is at hand.
        QStringLiteral("-cmn"), QStringLiteral("batch"), QStringLiteral("-dictfn"), model.dictionary,
        QStringLiteral("-fdictfn"), acoustic.filePath(QStringLiteral("noisedict")), QStringLiteral("-ctlfn"),
        QStringLiteral("utterances.ctl"), QStringLiteral("-lsnfn"), QStringLiteral("utterances.txt"),
        QStringLiteral("-cepdir"), workDir, QStringLiteral("-accumdir"), workDir, QStringLiteral("-timing"),
        QStringLiteral("no")};
    if (features.contains(QStringLiteral("-svspec")))
        align << QStringLiteral("-svspec") << features.value(QStringLiteral("-svspec"));
    done = run(QStringLiteral("bw"), align, workDir, keepGoing);
    if (!done) return done.error();

    const QString transform = dir.filePath(QStringLiteral("mllr_matrix"));
    done = run(QStringLiteral("mllr_solve"),
               {QStringLiteral("-meanfn"), acoustic.filePath(QStringLiteral("means")),
                QStringLiteral("-varfn"), acoustic.filePath(QStringLiteral("variances")),
                QStringLiteral("-outmllrfn"), transform, QStringLiteral("-accumdir"), workDir},
               workDir, keepGoing);
    if (!done) return done.error();
    // Too little or too uniform sound leaves the equations unsolvable.
    QFile solved(transform);
    if (!solved.open(QIODevice::ReadOnly)) return failure(QStringLiteral("mllr_solve wrote no transform."));
    const QByteArray text = solved.readAll().toLower();
    if (text.isEmpty() || text.contains("nan") || text.contains("inf"))
        return failure(QStringLiteral("The speaker transform could not be solved."));
    return transform;
}

} // namespace platform::speech
