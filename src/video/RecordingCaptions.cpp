#include "video/RecordingCaptions.h"

#include "video/RecordingTimeline.h"

#include <QFileInfo>
#include <QLocale>
#include <QSaveFile>

#include <limits>

namespace RecordingCaptions {

Saved saved(const QString& movie) {
    const auto timeline = TimelineStore::load(movie);
    if (!timeline || !timeline->has_value()) return {};
    return {(*timeline)->captions, (*timeline)->captionsLanguage};
}

QString languageFor(const QString& movie) {
    if (const auto language = saved(movie).language; language && !language->isEmpty()) return *language;
    // "de_DE" → "de-DE"; the "C" locale of a bare system names no language.
    const QString system = QLocale::system().name().replace(u'_', u'-');
    if (system.contains(u'-') && Captions::onDeviceLanguages().contains(system)) return system;
    return Captions::defaultLanguage;
}

Result<Captions::Transcription> transcribeAndKeep(const QString& movie, const QString& language,
                                                  const Captions::Progress& progress) {
    auto heard = Captions::transcribe(movie, language, progress);
    if (!heard) return heard;
    const QString used = language.isEmpty() ? Captions::defaultLanguage : language;
    if (auto kept = TimelineStore::saveCaptions(movie, heard->lines, used); !kept)
        return Error{QStringLiteral("Could not save captions: ") + kept.error().message};
    return heard;
}

Result<bool> writeSRT(const QList<CaptionLine>& lines, const QString& file, bool overwrite) {
    if (!overwrite && QFileInfo::exists(file))
        return Error{QStringLiteral("“%1” already exists.").arg(QFileInfo(file).fileName())};
    QSaveFile out(file);
    const QByteArray text = Captions::srt(lines, 0, std::numeric_limits<double>::max()).toUtf8();
    if (!out.open(QIODevice::WriteOnly) || out.write(text) != text.size() || !out.commit())
        return Error{QStringLiteral("Could not save captions: ") + out.errorString()};
    return true;
}

} // namespace RecordingCaptions
