#pragma once

#include <QObject>
#include <QPoint>
#include <QTimer>

#include <functional>
#include <vector>

// The ripples drawn on screen where the user clicks while a recording runs. The recorder
// calls showRipple() for left and right presses; a view draws ripples() whenever
// ripplesChanged() fires, about 60 times a second while any is alive. Main thread only.
class ClickHighlighter : public QObject {
    Q_OBJECT
public:
    // Milliseconds on a steady clock: when a ripple started and how far it has faded.
    using Clock = std::function<qint64()>;

    struct Ripple {
        QPoint center;      // in root-window pixels
        qint64 started = 0; // on the clock
    };

    // What a ripple looks like at one moment, in points.
    struct Look {
        double diameter = 0;
        double opacity = 0; // 1 at the click, 0 once it has faded out
    };

    static constexpr double kDiameter = 44;
    static constexpr double kEndDiameter = 60; // it grows a little while fading
    static constexpr double kBorderWidth = 2;
    static constexpr double kFillOpacity = 0.45;
    static constexpr qint64 kFadeMilliseconds = 500;

    // Without a clock, the system's steady clock.
    explicit ClickHighlighter(Clock clock = {}, QObject* parent = nullptr);

    void start();
    // Drops the live ripples.
    void stop();
    bool isRunning() const { return m_running; }

    // A new ripple centred on the click; ignored while stopped.
    void showRipple(QPoint rootPosition);

    // The ripples still visible, oldest first.
    const std::vector<Ripple>& ripples() const { return m_ripples; }
    Look lookOf(const Ripple& ripple) const;

signals:
    void ripplesChanged();

private:
    void tick();

    Clock m_clock;
    bool m_running = false;
    std::vector<Ripple> m_ripples;
    QTimer m_frames;
};
