#include "platform/wayland/PortalScrollSynthesizer.h"

#include "platform/wayland/RemoteDesktopSession.h"
#include "platform/wayland/WaylandLayout.h"
#include "platform/wayland/WlrScrollSynthesizer.h"

#include <QRectF>

#include <algorithm>
#include <optional>

namespace platform::wayland {

namespace {

// Where the pointer goes: a stream the session shares, and a position in it (logical units
// from its top-left corner, as the portal takes them).
struct Aim {
    uint32_t stream = 0;
    QPointF position;
};

// The shared stream holding `logical` (a point of the compositor's layout), and where in it.
std::optional<Aim> aimAt(const QList<ScreenCastStream>& streams, const QPointF& logical) {
    for (const ScreenCastStream& stream : streams) {
        // A portal that does not say where its one stream lies shares the whole layout.
        if (!stream.position || !stream.size) {
            if (streams.size() == 1) return Aim{stream.node, logical};
            continue;
        }
        const QRectF area(*stream.position, *stream.size);
        if (area.contains(logical)) return Aim{stream.node, logical - area.topLeft()};
    }
    return std::nullopt;
}

// The portal's remote desktop session holds the pointer: made at the first capture (the
// desktop asks the user then), and kept for the rest of the run, since this desktop cannot
// remember the answer, so that the user is asked once per run and not at every capture.
class PortalScrollSynthesizer final : public ScrollSynthesizer {
public:
    Result<bool> available() override { return true; }

    Result<bool> movePointer(const QPoint& rootPoint) override {
        if (!m_session) {
            auto opened = RemoteDesktopSession::open();
            if (!opened) return refusal(opened.error());
            m_session = std::move(opened).value();
        }
        const auto logical = WaylandLayout(screenOutputs()).logicalPoint(rootPoint);
        if (!logical) return Error{QStringLiteral("That point is off screen")};
        m_aim = aimAt(m_session->streams(), *logical);
        if (!m_aim) {
            // Asked again next time, the user can share that display too.
            m_session.reset();
            return Error{QStringLiteral("The display to scroll on was not shared with Pictavia; the next "
                                        "scrolling capture asks again.")};
        }
        return sent(m_session->movePointer(m_aim->stream, m_aim->position));
    }

    Result<bool> turnWheel(int notches, bool horizontal) override {
        if (!m_session || !m_aim) return Error{QStringLiteral("The pointer has not been placed yet.")};
        // The user's own mouse may have moved the pointer since.
        if (auto moved = sent(m_session->movePointer(m_aim->stream, m_aim->position)); !moved) return moved;
        return sent(m_session->turnWheel(horizontal ? RemoteDesktopSession::Axis::horizontal
                                                    : RemoteDesktopSession::Axis::vertical,
                                         notches));
    }

private:
    static Error refusal(Error error) {
        if (error.domain == RemoteDesktopSession::refusedDomain)
            error.message = QStringLiteral("Scrolling capture was not allowed: %1").arg(error.message);
        return error;
    }

    // A session the desktop has ended (the user stopped it from the desktop's own menu) is
    // given up, so that the next capture asks afresh.
    Result<bool> sent(Result<bool> result) {
        if (!result) m_session.reset();
        return result;
    }

    std::unique_ptr<RemoteDesktopSession> m_session;
    std::optional<Aim> m_aim;
};

} // namespace

Result<std::unique_ptr<ScrollSynthesizer>> connectPortalScrollSynthesizer() {
    const auto offer = remoteDesktopOffer();
    if (!offer || !(offer->deviceTypes & RemoteDesktopOffer::pointer)) return Error{scrollingUnavailable()};
    return std::unique_ptr<ScrollSynthesizer>(new PortalScrollSynthesizer);
}

} // namespace platform::wayland
