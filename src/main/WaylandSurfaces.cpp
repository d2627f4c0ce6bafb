#include "main/WaylandSurfaces.h"

#include "app/Toast.h"
#include "main/PlatformSetup.h"

#include <QTimer>

namespace {

class UnavailableWindowPicker final : public WindowPickerController {
public:
    void start(Completion completion) override {
        // As a picker the user cancelled: the flow ends after start() has returned.
        QTimer::singleShot(0, [completion = std::move(completion)] {
            // Where the compositor lists its windows, they can be captured by id, but there is
            // no overlay yet to pick one on screen.
            Toast::show(PlatformSetup::notAvailable(PlatformSetup::Flow::windowCapture)
                            .value_or(QStringLiteral(
                                "Picking a window on screen is not available on Wayland yet: "
                                "run \"pictavia windows\" and \"pictavia capture window --id N\".")));
            completion(std::nullopt);
        });
    }
};

} // namespace

std::unique_ptr<WindowPickerController> WaylandSurfaces::makeWindowPicker() {
    return std::make_unique<UnavailableWindowPicker>();
}
