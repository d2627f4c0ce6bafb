#pragma once

#include "common/Result.h"
#include "platform/SpeechRecognizer.h"
#include "video/CaptionLine.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

// Timed caption lines from the speech in a recording, recognised on this machine, and their
// plain transcript and SubRip subtitles.
namespace Captions {

// What transcribe() gives: the lines and their transcript.
struct Transcription {
    QList<CaptionLine> lines;
    QString text;
};

// How far transcription is, 0...1; returning false cancels it.
using Progress = std::function<bool(double done)>;

// The language used when none is asked for.
inline const QString defaultLanguage = QStringLiteral("en-US");

// Recognises the speech of `movie` (all its sound tracks mixed) in `language` (empty: the
// default) and groups it into lines. Failures are sentences to show as they stand; a
// cancelled transcription fails with the code platform::SpeechRecognizer::Cancelled. Blocks:
// call it off the GUI thread.
Result<Transcription> transcribe(const QString& movie, const QString& language = {},
                                 const Progress& progress = {});

// The languages recognition can run in on this machine.
QStringList onDeviceLanguages();

// Recognised words to caption lines: a line breaks at a pause, at 42 characters, after 8
// words or at 4 seconds; short tails join the line before; ends are stretched for reading.
QList<CaptionLine> group(const QList<platform::HeardWord>& words);

// "[m:ss] text" per line.
QString transcript(const QList<CaptionLine>& lines);

// SubRip subtitles of the lines that overlap [offset, until), timed from `offset`.
QString srt(const QList<CaptionLine>& lines, double offset, double until);

} // namespace Captions
