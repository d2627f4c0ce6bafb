#pragma once

#include "recording/ClickHighlighter.h"
#include "recording/RecordingOverlayViews.h"
#include "ui/PassiveOverlayWindow.h"

#include <QPointer>
#include <QRegion>

namespace ui {

// Draws a ClickHighlighter's ripples in one window over the whole desktop, shaped to the
// ripples and hidden while there are none; it never takes a click or the focus.
//
// A ripple is see-through without a compositing manager too: the window's shape keeps a
// share of the pixels in an even pattern (a 45 % share of the fill, all of the border at
// first), and the shares shrink as the ripple fades, so the desktop shows through between
// the yellow pixels in a screenshot or a movie frame alike.
class ClickRippleWindow : public PassiveOverlayWindow, public RecordingOverlayView {
    Q_OBJECT
public:
    explicit ClickRippleWindow(ClickHighlighter& highlighter);

    std::vector<uint32_t> windowsInPicture() const override;

    // The shape of one ripple at its current look, in this window's coordinates.
    QRegion rippleShape(const ClickHighlighter::Ripple& ripple) const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void refresh();

    QPointer<ClickHighlighter> m_highlighter;
};

} // namespace ui
