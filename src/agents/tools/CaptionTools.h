#pragma once

#include "agents/AgentTool.h"
#include "video/CaptionLine.h"

#include <QStringList>

#include <functional>

// transcribe_recording, and the transcription edit_video runs before burning in captions of
// a recording that has none.
namespace CaptionTools {

AgentTool transcribeRecording();

// Transcribes `movie` in the background in `language` (empty: the recording's default),
// keeps the lines with it and hands them to `then` on the main thread; failures and
// cancelling answer `done`.
void transcribeThen(const QString& movie, const QString& language, const ToolContext& context,
                    const ToolDone& done, std::function<void(const QList<CaptionLine>& lines)> then);

} // namespace CaptionTools
