#include "main/WaylandSurfaces.h"

#include "app/Toast.h"
#include "main/PlatformSetup.h"

#include <QTimer>

namespace {

class UnavailableWindowPicker final : public WindowPickerController {
public:
    explicit UnavailableWindowPicker(QString why) : m_why(std::move(why)) {}

    void start(Completion completion) override {
        // As a picker the user cancelled: the flow ends after start() has returned.
        QTimer::singleShot(0, [completion = std::move(completion), why = m_why] {
            Toast::show(why);
            completion(std::nullopt);
        });
    }

private:
    QString m_why;
};

} // namespace

std::unique_ptr<WindowPickerController> WaylandSurfaces::makeWindowPicker() {
    if (const auto missing = PlatformSetup::notAvailable(PlatformSetup::Flow::windowCapture))
        return std::make_unique<UnavailableWindowPicker>(*missing);
    return ui::DesktopSurfaces::makeWindowPicker();
}
