#include "ui/RecordedArea.h"

#include "app/FloatingLayout.h"
#include "ui/FloatingChrome.h"
#include "ui/RecorderHUDPanel.h"
#include "ui/WindowPlacement.h"

#include <QApplication>
#include <QGuiApplication>
#include <QList>
#include <QPointer>
#include <QScreen>
#include <QWidget>

#include <algorithm>
#include <utility>

namespace ui::recordedArea {

namespace {

struct State {
    QList<std::pair<int, Area>> areas; // by the number begin() gave
    QList<QPointer<QWidget>> held;
    QList<std::function<void()>> afterwards;
};

int lastNumber = 0;

std::optional<State>& state() {
    static std::optional<State> s;
    return s;
}

// The recording controls on `screen`, in its logical coordinates: a toast placed beside the
// recorded area goes past them rather than over them.
QRect controlsOn(const QScreen* screen) {
    QRect controls;
    for (const QWidget* window : QApplication::topLevelWidgets())
        if (window->isVisible() && window->screen() == screen &&
            window->windowTitle() == QLatin1String(RecorderHUDPanel::title))
            controls |= window->frameGeometry();
    return controls;
}

} // namespace

int begin(Area area) {
    if (!state()) state().emplace();
    state()->areas.append({++lastNumber, std::move(area)});
    return lastNumber;
}

void end(int recording) {
    if (!state()) return;
    state()->areas.removeIf([recording](const auto& entry) { return entry.first == recording; });
    if (!state()->areas.isEmpty()) return;
    State ended = std::exchange(state(), std::nullopt).value();
    for (const QPointer<QWidget>& window : std::as_const(ended.held))
        if (window && !window->isVisible()) window->show();
    for (const auto& work : std::as_const(ended.afterwards))
        work();
}

bool active() {
    return state().has_value();
}

bool covers(const QRect& root) {
    if (!state()) return false;
    // Where the compositor places our windows, any of them may land on the recorded area.
    if (placement::byCompositor()) return true;
    // A recorded window the compositor does not place for us (GNOME lists none) may be anywhere.
    return std::any_of(state()->areas.begin(), state()->areas.end(), [&root](const auto& entry) {
        const std::optional<QRect> area = entry.second();
        return !area || area->intersects(root);
    });
}

bool moveOutside(QWidget& window) {
    const QRect logical = window.geometry();
    QScreen* own = QGuiApplication::screenAt(logical.center());
    if (!own) own = window.screen();
    if (!covers(chrome::rootRect(own, logical))) return true;
    if (placement::byCompositor()) return false;
    QList<QRect> areas;
    for (const auto& entry : std::as_const(state()->areas)) {
        const std::optional<QRect> area = entry.second();
        if (!area) return false;
        areas.append(*area);
    }
    QList<QScreen*> screens = QGuiApplication::screens();
    // Its own display first: nearest to where the user looks.
    if (screens.removeOne(own)) screens.prepend(own);
    for (QScreen* screen : std::as_const(screens)) {
        const QRect room = screen->availableGeometry();
        QRect recorded;
        for (const QRect& area : std::as_const(areas))
            recorded |= chrome::logicalRect(screen, area).toAlignedRect() & screen->geometry();
        QRect place;
        if (recorded.isEmpty()) {
            // A display the recording does not reach: as near to the wanted place as it allows.
            place = FloatingLayout::keptInside(QRectF(logical), QRectF(room)).toAlignedRect();
        } else {
            const QRect controls = controlsOn(screen);
            const QRect avoided = controls.isEmpty() ? recorded : recorded | controls;
            place = FloatingLayout::hud::place(avoided, room, logical.size(), 1.0);
        }
        if (!room.contains(place) || covers(chrome::rootRect(screen, place))) continue;
        window.setScreen(screen);
        window.move(place.topLeft());
        return true;
    }
    return false;
}

void hold(QWidget* window) {
    if (!state() || !window) return;
    if (!state()->held.contains(window)) state()->held.append(window);
    window->hide();
}

void letGo(QWidget* window) {
    if (state()) state()->held.removeAll(window);
}

bool holds(const QWidget* window) {
    if (!state()) return false;
    return std::any_of(state()->held.begin(), state()->held.end(),
                       [window](const QPointer<QWidget>& held) { return held == window; });
}

void afterwards(std::function<void()> work) {
    if (state())
        state()->afterwards.append(std::move(work));
    else
        work();
}

} // namespace ui::recordedArea
