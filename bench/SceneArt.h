#pragma once

#include <QImage>
#include <QPainter>
#include <QRect>
#include <QSize>
#include <QString>

#include <vector>

// What the benchmarks capture: a landscape-photo-like wallpaper with fine grain under a few
// overlapping windows of code and prose, the mix a real desktop screenshot has. Everything is
// procedural and deterministic, so every run compresses the same pixels.
namespace scene {

enum class Panel { LightEditor, DarkEditor, Terminal, Document };

struct WindowSpec {
    Panel panel;
    QString title;
    QRect client; // the window's content area in screen coordinates, decorations outside it
};

// A photo-like landscape (sky, clouds, ridges, meadow) with sensor-like grain.
QImage photoBackground(QSize size);

// The windows to show on a screen of this size, back to front.
std::vector<WindowSpec> windowLayout(QSize screen);

// The desktop's scale factor for a screen: 2 on 4K, as a HiDPI desktop would be set up.
int textScale(QSize screen);

// Fills `area` with the window's content: lines of code, shell output or wrapped prose, with
// text sized for the desktop's `scale`.
void paintPanel(QPainter& painter, const QRect& area, Panel panel, int scale);

enum class Wallpaper { Photo, Flat };

// The whole screen drawn offscreen, with simple title bars standing in for the window manager's.
// A flat wallpaper gives the plain desktop many people keep.
QImage composedScreen(QSize size, Wallpaper wallpaper = Wallpaper::Photo);

} // namespace scene
