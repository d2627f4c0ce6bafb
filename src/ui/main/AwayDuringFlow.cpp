#include "ui/main/AwayDuringFlow.h"

#include "capture/CaptureCoordinator.h"

#include <QPointer>
#include <QTimer>
#include <QWidget>

#include <memory>

namespace ui {

namespace {

// Long enough for the window manager to take the frame away and the programs below to
// repaint, so that the window is in neither the frozen overlay nor the capture.
constexpr int uncoverMs = 250;

void comeBack(const QPointer<QWidget>& window) {
    if (!window) return;
    window->show();
    window->raise();
    window->activateWindow();
}

} // namespace

void runAwayFrom(QWidget* window, std::function<void()> start) {
    QPointer<QWidget> guarded(window);
    window->hide();
    QTimer::singleShot(uncoverMs, window, [guarded, start = std::move(start)] {
        CaptureCoordinator& coordinator = CaptureCoordinator::shared();
        start();
        // Refused (another flow is up) or over already: nothing to wait for.
        if (!coordinator.busy()) return comeBack(guarded);
        auto finished = std::make_shared<QMetaObject::Connection>();
        *finished =
            QObject::connect(&coordinator, &CaptureCoordinator::flowFinished, guarded, [guarded, finished] {
                QObject::disconnect(*finished);
                comeBack(guarded);
            });
    });
}

} // namespace ui
