#pragma once

#include "common/Result.h"

#include <QImage>
#include <QRect>
#include <QSize>

#include <memory>
#include <optional>

struct wl_shm;
struct zwlr_screencopy_manager_v1;

namespace platform::wayland {

class WaylandConnection;
class WaylandOutputs;
struct WaylandOutput;

// How to copy `region` of an output (in its pixels as seen, from its top-left corner): the
// part to ask the compositor for, and the part of that copy to keep.
struct ScreencopyArea {
    // In logical units; nullopt asks for the whole output.
    std::optional<QRect> logical;
    // Of the copy turned upright (asSeen); nullopt keeps all of it.
    std::optional<QRect> crop;
    // The size the picture has in the end: the region's, or the output's.
    QSize size;
};

// Where the compositor scales by a whole factor and the output is upright, an area on whole
// logical units is copied alone; anything else is cut from a copy of the whole output.
// Fails where the output does not have the `laidOut` size the caller's layout gives it, or
// the region is not inside it.
Result<ScreencopyArea> screencopyArea(const WaylandOutput& output, const QSize& laidOut,
                                      std::optional<QRect> region);

// One copy in the compositor's own bytes, as it lies in shared memory: valid until the next
// copy by the same copier.
struct ScreencopyPicture {
    QImage shared; // reads the memory in place
    bool inverted = false;
};

// Pixels of `picture` of an output with wl_output `transform`: turned upright, `crop` cut
// (in the upright picture), opaque, Format_RGB32. Only the cropped part is converted where
// the output is not turned. Null where the crop leaves the picture.
QImage screencopyPixels(const ScreencopyPicture& picture, int transform, std::optional<QRect> crop);

// Copies of outputs through wlroots' screencopy into one shared-memory buffer, re-used
// while the compositor asks for the same size and format. Not thread-safe: one owner.
class ScreencopyCopier {
public:
    ScreencopyCopier(WaylandConnection& connection, zwlr_screencopy_manager_v1* manager, wl_shm* shm);
    ~ScreencopyCopier();
    ScreencopyCopier(const ScreencopyCopier&) = delete;
    ScreencopyCopier& operator=(const ScreencopyCopier&) = delete;

    // One frame of `output`, or of `logical` of it, with the pointer drawn in or not.
    Result<ScreencopyPicture> copy(const WaylandOutput& output, std::optional<QRect> logical,
                                   bool withPointer = false);

    // Whether the last failure was the compositor's own refusal (the output went away, or
    // it cannot copy it now) rather than a lost connection or an unreadable format.
    bool refused() const { return m_refused; }

private:
    class Buffer;
    WaylandConnection& m_connection;
    zwlr_screencopy_manager_v1* m_manager;
    wl_shm* m_shm;
    std::unique_ptr<Buffer> m_buffer;
    bool m_refused = false;
};

// A connection of its own to the compositor with screencopy bound, the outputs kept in step
// and a copier, released in reverse order. Not thread-safe: one owner.
struct ScreencopyConnection {
    std::unique_ptr<WaylandConnection> wayland;
    zwlr_screencopy_manager_v1* manager = nullptr;
    wl_shm* shm = nullptr;
    std::unique_ptr<WaylandOutputs> outputs;
    std::unique_ptr<ScreencopyCopier> copier;

    ScreencopyConnection() = default;
    ~ScreencopyConnection();
    ScreencopyConnection(const ScreencopyConnection&) = delete;
    ScreencopyConnection& operator=(const ScreencopyConnection&) = delete;

    // Connects and lists the outputs; fails with a sentence where the compositor does not
    // offer the protocol (GNOME, KDE) or cannot be reached.
    Result<bool> open();
};

} // namespace platform::wayland
