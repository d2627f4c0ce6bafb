#pragma once

#include "agents/AgentTool.h"
#include "platform/ScreenBackend.h"

#include <QString>

// How the screenshot and recording tools read what to aim at: display_id, rect, window_id,
// app and window_title. Functions that throw throw ToolError with the sentence for the agent.
namespace ScreenTargets {

// `target` in lower case; without it "window" when app or window_id is given, "area" when
// rect is, else "screen".
QString targetOf(const ToolArgs& args);
// The display numbered `display_id`, else the one under the pointer. Throws when there is none.
platform::DisplayInfo display(const ToolArgs& args);
// The on-screen window numbered `window_id`, or the frontmost of `app` (an exact name before
// a partial one) whose title contains `window_title`. Throws when there is none.
platform::WindowInfo window(const ToolArgs& args);

} // namespace ScreenTargets
