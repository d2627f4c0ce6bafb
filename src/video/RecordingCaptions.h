#pragma once

#include "common/Result.h"
#include "video/CaptionLine.h"
#include "video/Captions.h"

#include <QList>
#include <QString>

#include <optional>

// The captions kept with a recording, for the callers that work on a movie file without an
// editor open on it (agent tools, the command line).
namespace RecordingCaptions {

struct Saved {
    QList<CaptionLine> lines;
    std::optional<QString> language;
};

// The captions in the timeline beside `movie`; none when it has no timeline or a damaged one.
Saved saved(const QString& movie);

// The language to transcribe `movie` in when none is asked for: that of its earlier captions,
// else the system's language when recognition can run in it, else en-US.
QString languageFor(const QString& movie);

// Transcribes `movie` and keeps the lines and their language in its timeline. Blocks: call it
// off the GUI thread.
Result<Captions::Transcription> transcribeAndKeep(const QString& movie, const QString& language,
                                                  const Captions::Progress& progress = {});

// Writes the SubRip subtitles of all `lines` to `file`; an existing file is replaced only
// with `overwrite`.
Result<bool> writeSRT(const QList<CaptionLine>& lines, const QString& file, bool overwrite);

} // namespace RecordingCaptions
