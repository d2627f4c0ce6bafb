#pragma once

#include <QStringList>

// The resident application: tray icon, global hotkeys, pictavia:// URLs and the capture
// flows. A start while another instance runs hands the arguments over and ends.
namespace DesktopApp {

// Arguments: nothing, "--background" (no greeting), or pictavia:// URLs to run.
int run(int argc, char** argv, const QStringList& arguments);

// Whether the arguments are for the resident application rather than a command.
bool wants(const QStringList& arguments);

} // namespace DesktopApp
