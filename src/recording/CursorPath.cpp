#include "recording/CursorPath.h"

#include <algorithm>
#include <cmath>

CursorPath::CursorPath(const QList<CursorSample>& samples, double duration) {
    if (samples.isEmpty() || duration <= 0) return;
    const std::size_t count = std::size_t(std::floor(duration * entriesPerSecond)) + 2;
    m_xs.resize(count);
    m_ys.resize(count);
    m_shapes.resize(count);
    qsizetype latest = 0; // the last sample at or before the entry's time, once one is
    for (std::size_t k = 0; k < count; ++k) {
        const double t = double(k) / entriesPerSecond;
        while (latest + 1 < samples.size() && samples[latest + 1].time <= t)
            ++latest;
        const CursorSample& a = samples[latest];
        if (t < samples.front().time || latest + 1 >= samples.size()) {
            m_xs[k] = a.x;
            m_ys[k] = a.y;
            m_shapes[k] = a.shape;
            continue;
        }
        const CursorSample& b = samples[latest + 1];
        const double f = std::clamp((t - a.time) / std::max(b.time - a.time, 0.0001), 0.0, 1.0);
        m_xs[k] = a.x + (b.x - a.x) * f;
        m_ys[k] = a.y + (b.y - a.y) * f;
        m_shapes[k] = a.shape;
    }
}

CursorPath CursorPath::smoothed(double window) const {
    if (window <= 0.01 || m_xs.size() < 3) return *this;
    const double sigma = window * entriesPerSecond / 2.5;
    const int reach = int(std::ceil(3 * sigma));
    std::vector<double> weights(std::size_t(reach) + 1);
    for (int d = 0; d <= reach; ++d)
        weights[std::size_t(d)] = std::exp(-double(d) * d / (2 * sigma * sigma));
    CursorPath out = *this;
    const auto n = std::ptrdiff_t(m_xs.size());
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        double sx = 0, sy = 0, total = 0;
        for (std::ptrdiff_t j = std::max<std::ptrdiff_t>(0, i - reach); j <= std::min(n - 1, i + reach);
             ++j) {
            const double w = weights[std::size_t(std::abs(j - i))];
            sx += w * m_xs[std::size_t(j)];
            sy += w * m_ys[std::size_t(j)];
            total += w;
        }
        out.m_xs[std::size_t(i)] = sx / total;
        out.m_ys[std::size_t(i)] = sy / total;
    }
    return out;
}

std::optional<QPointF> CursorPath::position(double time) const {
    if (m_xs.empty()) return std::nullopt;
    const std::size_t last = m_xs.size() - 1;
    const double f = std::max(time * entriesPerSecond, 0.0);
    const std::size_t i = std::min(std::size_t(f), last);
    const std::size_t j = std::min(i + 1, last);
    const double u = std::clamp(f - double(i), 0.0, 1.0);
    return QPointF(m_xs[i] + (m_xs[j] - m_xs[i]) * u, m_ys[i] + (m_ys[j] - m_ys[i]) * u);
}

int CursorPath::shape(double time) const {
    if (m_shapes.empty()) return 0;
    const double f = std::max(std::floor(time * entriesPerSecond), 0.0);
    return m_shapes[std::min(m_shapes.size() - 1, std::size_t(f))];
}
