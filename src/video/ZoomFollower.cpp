#include "video/ZoomFollower.h"

#include <algorithm>
#include <cmath>

namespace {

// The path is worked out ahead at this many steps a second and read between them.
constexpr double stepsPerSecond = 60;
// The pointer may roam this share of the view's width and height either side of its middle
// before the view moves.
constexpr double freeShare = 0.3;
// How briskly the view glides (the natural frequency of a critically damped spring, per
// second: most of a move is done in half a second, with no overshoot).
constexpr double briskness = 8.0;
// Closer than this (pixels, and pixels a second) the glide has arrived and stops exactly.
constexpr double arrived = 0.25;

// Where the middle of a view `half` wide either side may go, so the view stays on the picture.
double reachable(double wanted, double half, double length) {
    return half * 2 >= length ? length / 2 : std::clamp(wanted, half, length - half);
}

} // namespace

ZoomFollower::ZoomFollower(const ZoomTrack& zoom, const Pointer& pointer, QSize video, double duration) {
    if (video.isEmpty() || duration <= 0 || !pointer) return;
    const double step = 1 / stepsPerSecond;
    const size_t steps = size_t(std::ceil(duration * stepsPerSecond)) + 2;
    m_aims.reserve(steps);
    QPointF aim, goal, velocity;
    bool following = false;
    for (size_t i = 0; i < steps; ++i) {
        const double time = double(i) * step;
        const std::optional<QPointF> place = pointer(time);
        const ZoomTrack::State state = zoom.state(time);
        if (!place) {
            m_aims.push_back(following ? std::optional(aim) : std::nullopt);
            continue;
        }
        const double halfWidth = video.width() / (2 * std::max(state.scale, 1.0));
        const double halfHeight = video.height() / (2 * std::max(state.scale, 1.0));
        if (!following || state.progress <= 0) {
            // Unzoomed, the aim sits on the pointer, so the next zoom starts from where it is.
            aim = goal = *place;
            velocity = {};
            following = true;
        } else {
            if (std::abs(place->x() - aim.x()) > freeShare * 2 * halfWidth ||
                std::abs(place->y() - aim.y()) > freeShare * 2 * halfHeight)
                goal = QPointF(reachable(place->x(), halfWidth, video.width()),
                               reachable(place->y(), halfHeight, video.height()));
            const QPointF pull = briskness * briskness * (goal - aim) - 2 * briskness * velocity;
            velocity += pull * step;
            aim += velocity * step;
            const QPointF left = goal - aim;
            if (std::hypot(left.x(), left.y()) < arrived &&
                std::hypot(velocity.x(), velocity.y()) < arrived) {
                aim = goal;
                velocity = {};
            }
        }
        m_aims.push_back(aim);
    }
}

std::optional<QPointF> ZoomFollower::aim(double time) const {
    if (m_aims.empty()) return std::nullopt;
    const double at = std::clamp(time * stepsPerSecond, 0.0, double(m_aims.size() - 1));
    const size_t before = size_t(at);
    const size_t after = std::min(before + 1, m_aims.size() - 1);
    const auto& a = m_aims[before];
    const auto& b = m_aims[after];
    if (!a || !b) return a ? a : b;
    if (*a == *b) return a; // a still view repeats its picture exactly
    const double u = at - double(before);
    return *a + (*b - *a) * u;
}
