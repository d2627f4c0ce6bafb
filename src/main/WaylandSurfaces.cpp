#include "main/WaylandSurfaces.h"

#include "app/Toast.h"
#include "main/PlatformSetup.h"
#include "platform/Platform.h"

#include <QCoreApplication>
#include <QTimer>
#include <QtConcurrent>

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

// The desktop's own window chooser, where the compositor lists no windows. It runs on a
// worker thread, which waits for the user's answer while the GUI thread goes on.
class DesktopWindowChooser final : public WindowPickerController {
public:
    void start(Completion completion) override {
        QtConcurrent::run([] { return PlatformSetup::chooseWindowInDesktop(); })
            .then(QCoreApplication::instance(),
                  [completion = std::move(completion)](const Result<uint32_t>& id) {
                      if (!id) {
                          // Closing the chooser is a cancelled pick, said nothing of.
                          if (id.error().message != PlatformSetup::windowNotPicked())
                              Toast::show(id.error().message);
                          return completion(std::nullopt);
                      }
                      // Where the window lies is not known: the primary display stands for it.
                      WindowPick pick;
                      pick.windowID = *id;
                      const QList<platform::DisplayInfo> displays = platform::services().screen->displays();
                      for (const platform::DisplayInfo& display : displays)
                          if (display.primary || pick.display.geometry.isEmpty()) pick.display = display;
                      completion(pick);
                  });
    }
};

} // namespace

std::unique_ptr<WindowPickerController> WaylandSurfaces::makeWindowPicker() {
    if (PlatformSetup::windowsChosenInDesktop()) return std::make_unique<DesktopWindowChooser>();
    if (const auto missing = PlatformSetup::notAvailable(PlatformSetup::Flow::windowCapture))
        return std::make_unique<UnavailableWindowPicker>(*missing);
    return ui::DesktopSurfaces::makeWindowPicker();
}
