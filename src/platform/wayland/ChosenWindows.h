#pragma once

#include "common/Result.h"
#include "platform/wayland/ScreenCastPortal.h"
#include "platform/wayland/pipewire/PipeWireStreams.h"

#include <QImage>
#include <QList>
#include <QMutex>
#include <QSize>
#include <QString>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

namespace platform::wayland {

// Whether windows are picked in the desktop's own screen-cast chooser: where the compositor
// tells other programs nothing of its windows (neither sway's IPC, KWin's scripting nor the
// foreign toplevel list) and its screen-cast portal shares single windows, as GNOME's does.
// Asked of the portal once a run.
bool windowChooserOffered();

// A reader of the window `session` shares, started (with its first picture). mutter sends a
// still window's picture once, as a reader starts; a reader that misses it waits in vain, so
// where none comes a new connection to the session and a new reader try again, twice.
Result<std::unique_ptr<PipeWireStream>> readWindow(ScreenCastSession& session, PipeWireStreams& pipeWire,
                                                   const FrameStreamSettings& settings,
                                                   const FrameStream::FrameHandler& onFrame,
                                                   const FrameStream::ErrorHandler& onError);

// The windows the user picked in that chooser during this run, numbered from 1. A pick
// shares the window once: its picture is kept for a capture, with the token that lets the
// portal share the same window again without asking, for a recording of it. Each pick is
// used once, by a capture or a recording; the desktop asks again for the next window.
class ChosenWindows {
public:
    struct Chosen {
        uint32_t id = 0;
        QSize size; // the window's pixels as the desktop shares them
        QImage picture;
        QString restoreToken; // empty where the desktop gave none
    };

    static ChosenWindows& shared();

    // Opens the desktop's chooser and waits for the user's pick, then takes the window's
    // first picture from PipeWire. Blocks the calling thread, which must be a Qt thread. A
    // user who closes the chooser gets ScreenCastWords::refused().
    Result<Chosen> choose(PipeWireStreams& pipeWire,
                          std::chrono::milliseconds timeout = std::chrono::minutes(2));

    // The picks not used yet, oldest first.
    QList<Chosen> unused() const;
    // The pick numbered `id`, handed over once: it is used afterwards.
    std::optional<Chosen> take(uint32_t id);

private:
    // Picks left unused (a countdown cancelled) make way for newer ones beyond this many.
    static constexpr qsizetype kept = 4;

    mutable QMutex m_mutex;
    QList<Chosen> m_unused;
    uint32_t m_lastId = 0;
};

} // namespace platform::wayland
