#pragma once

#include "agents/AgentTool.h"
#include "video/VideoEditorModel.h"

#include <QStringList>

#include <optional>

// What edit_video's arguments ask of a recording, set on its editor model as the user would
// in the video editor. Throws ToolError, before anything is written, for a value out of range
// or a request the recording cannot meet.
namespace VideoEdits {

struct Plan {
    std::optional<VideoEditorModel::GifSettings> gif; // set for a GIF
    QStringList notes;                                // what was asked but does not apply
    // Captions are to be burned in and the recording has none yet: transcribe it first, in
    // this language (empty: the recording's own default).
    std::optional<QString> transcribe;
};

Plan apply(const ToolArgs& args, VideoEditorModel& model);

// The input properties of edit_video, without `source`.
ToolSchema::Properties properties();

} // namespace VideoEdits
