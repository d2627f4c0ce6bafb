#pragma once

#include "platform/FrameStream.h"

#include <functional>
#include <memory>

namespace ui {

// Frame streams of a desktop that copies the screen as it is shown (Wayland), with our own
// windows kept off what each records: before its first frame the toasts, cards and pins over
// the recorded area move or hide (see RecordedArea.h), and they come back when it stops.
class OwnWindowsOutOfRecordings final : public platform::FrameStreams {
public:
    // `settled` returns once the compositor shows the screen without what was hidden or moved.
    OwnWindowsOutOfRecordings(std::unique_ptr<platform::FrameStreams> streams, std::function<void()> settled)
        : m_streams(std::move(streams)), m_settled(std::move(settled)) {}

    Result<std::unique_ptr<platform::FrameStream>> create() override;

private:
    std::unique_ptr<platform::FrameStreams> m_streams;
    std::function<void()> m_settled;
};

} // namespace ui
