#pragma once

#include <QImage>
#include <QList>
#include <QRect>

// The desktop's pixels behind one of this program's floating windows (countdown panel,
// quick-access cards, pins), which paint them to fake transparency where no compositing
// manager blends windows.
//
// `track` is called with the window's next rectangle (root pixels) before the window goes
// there. Desktop pixels the window does not cover yet are grabbed from the screen; those it
// covers already come from its previous snapshot, and those under another floating window
// from that window's snapshot. Places a window has just left may still show its pixels until
// the programs below repaint, so they are remembered for a moment and used in place of the
// screen. Snapshots stack like their windows: in the order they were shown or raised.
class DesktopSnapshot {
public:
    // How long a place a window left is trusted over the screen's pixels.
    static constexpr qint64 memoryMilliseconds = 1500;

    DesktopSnapshot() = default;
    DesktopSnapshot(const DesktopSnapshot&) = delete;
    DesktopSnapshot& operator=(const DesktopSnapshot&) = delete;
    virtual ~DesktopSnapshot();

    // `screens` bounds what can be grabbed; the rest of the window stays out of the image.
    void track(const QRect& window, const QRect& screens);
    // The window is hidden: its snapshot becomes a memory of the place.
    void release();
    // The window went above the other floating windows.
    void raise();

    bool active() const { return !m_image.isNull(); }
    const QImage& image() const { return m_image; } // the desktop only, never a floating window
    QRect imageRect() const { return m_rect; }      // root pixels the image holds
    QRect window() const { return m_window; }

    // Every snapshot, lowest first.
    static const QList<DesktopSnapshot*>& stack();
    // Forgets the places windows left (for tests).
    static void forgetPlaces();

private:
    QImage m_image;
    QRect m_rect;
    QRect m_window;
};
