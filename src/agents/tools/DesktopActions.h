#pragma once

#include <QImage>
#include <QString>
#include <QStringList>

#include <functional>

// What the agent tools show on the desktop: pins, the editors, the quick-access thumbnail,
// the file manager and the main window. The window layer sets the hooks at start; until it
// does (a command line, tests) each action reports that it is unavailable.
namespace DesktopActions {

struct Hooks {
    // Floats the image above all windows.
    std::function<void(const QImage& image, double scale)> pin;
    // "hide", "show" or "close" for every pin; returns how many pins there were.
    std::function<int(const QString& action)> pins;
    std::function<void(const QString& file)> openEditor;
    // Opens a movie in the video editor; the sentence that says why not, empty when it opened.
    std::function<QString(const QString& file)> openVideoEditor;
    std::function<void(const QString& file, const QImage& image)> showQuickAccess;
    std::function<void(const QStringList& files)> reveal;
    // "home", "library", "agents" or "settings", the latter scrolled to `settingsSection`
    // when one is given.
    std::function<void(const QString& page, const QString& settingsSection)> showPage;
    // Opens the file in the desktop's default application; false when none took it.
    std::function<bool(const QString& file)> openWithDefaultApp;
};

void setHooks(Hooks hooks);
const Hooks& hooks();

} // namespace DesktopActions
