#pragma once

#include "platform/InputMonitor.h"

#include <QObject>
#include <QRect>
#include <QStringList>
#include <QTimer>

#include <functional>

// The keys pressed during a recording, for a panel near the bottom of the recorded screen:
// the last three presses, shown at once and hidden 1.5 seconds after the last. The recorder
// feeds it keyPressed() (or push()); a view draws text() at panelGeometry() while
// opacity() is 1. Main thread only.
class KeystrokeOverlay : public QObject {
    Q_OBJECT
public:
    static constexpr int kShownPresses = 3;
    static constexpr int kHideAfterMilliseconds = 1500;
    static constexpr int kPanelHeight = 48;
    static constexpr int kTextMargin = 40; // left and right together
    static constexpr int kMinimumWidth = 120;
    static constexpr int kAboveBottom = 80;

    // `screen`: the recorded screen's rectangle, in points.
    explicit KeystrokeOverlay(QRect screen, QObject* parent = nullptr);

    // One press as people read it: the held modifiers in the order Ctrl, Alt, Shift, Super,
    // then the key's name as the shortcut settings show it ("Ctrl+Shift+4"). Empty for a
    // modifier pressed alone and for keys without a name.
    static QString describe(const platform::KeyPress& press);

    void start();
    // Hides the panel and forgets the presses.
    void stop();
    bool isRunning() const { return m_running; }

    // Shows the description of a press, unless it has none.
    void keyPressed(const platform::KeyPress& press);
    // Adds a description, keeping the last three, and shows the panel.
    void push(const QString& text);

    // The recent presses joined by two spaces.
    QString text() const;
    // 1 while the panel shows, 0 once hidden.
    double opacity() const { return m_opacity; }
    QRect screen() const { return m_screen; }

    // Where the panel goes for a text this wide (in points): 48 high, the text's width plus
    // 40 but at least 120 wide, centred horizontally, its bottom 80 above the screen's.
    static QRect panelGeometry(const QRect& screen, int textWidth);
    QRect panelGeometry(const std::function<int(const QString&)>& textWidth) const;

signals:
    void changed();

private:
    QRect m_screen;
    bool m_running = false;
    QStringList m_recent;
    double m_opacity = 0;
    QTimer m_hide;
};
