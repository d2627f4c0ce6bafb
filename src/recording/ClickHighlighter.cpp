#include "recording/ClickHighlighter.h"

#include <algorithm>
#include <chrono>

namespace {

qint64 steadyMilliseconds() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace

ClickHighlighter::ClickHighlighter(Clock clock, QObject* parent)
    : QObject(parent), m_clock(clock ? std::move(clock) : Clock(steadyMilliseconds)) {
    m_frames.setInterval(16);
    connect(&m_frames, &QTimer::timeout, this, &ClickHighlighter::tick);
}

void ClickHighlighter::start() {
    m_running = true;
}

void ClickHighlighter::stop() {
    m_running = false;
    m_frames.stop();
    if (m_ripples.empty()) return;
    m_ripples.clear();
    emit ripplesChanged();
}

void ClickHighlighter::showRipple(QPoint rootPosition) {
    if (!m_running) return;
    m_ripples.push_back({rootPosition, m_clock()});
    if (!m_frames.isActive()) m_frames.start();
    emit ripplesChanged();
}

ClickHighlighter::Look ClickHighlighter::lookOf(const Ripple& ripple) const {
    const double progress =
        std::clamp(double(m_clock() - ripple.started) / double(kFadeMilliseconds), 0.0, 1.0);
    return {kDiameter + (kEndDiameter - kDiameter) * progress, 1.0 - progress};
}

void ClickHighlighter::tick() {
    const qint64 now = m_clock();
    std::erase_if(m_ripples, [now](const Ripple& r) { return now - r.started >= kFadeMilliseconds; });
    if (m_ripples.empty()) m_frames.stop();
    emit ripplesChanged();
}
