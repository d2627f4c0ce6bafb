#pragma once

#include "editor/BeautifyPreset.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

// Operations on several history captures selected together: one PDF, one ZIP archive,
// styled copies in a folder, or a hand-over to the desktop. Files are paths, in the order
// of the selection.
namespace HistoryBatch {

// Writes one page per file that decodes as an image, each page the image's own size in
// pixels as points; other files are skipped. Returns the number of pages written; with
// none, no file is left at `destination`.
int writePDF(const QStringList& files, const QString& destination);

// Writes a ZIP archive holding one folder "Pictavia captures" with copies of the files.
bool zip(const QStringList& files, const QString& destination);

// Writes a beautified copy of every image into `folder` as "<name> styled.<ext>", in the
// "imageFormat" format (PNG when it can't be written), under a free name when taken.
// Without a preset, the active one. Returns the paths written, in the order of `files`.
QStringList beautifyAndExport(const QStringList& files, const QString& folder,
                              const std::optional<BeautifyPreset>& preset = std::nullopt);

// What the operations ask of the windows; each returns an empty path when cancelled.
struct Panels {
    std::function<QString(const QString& suggestedName)> chooseSaveFile;
    std::function<QString()> chooseFolder;
    // Shows the files to the user; by default their folders open in the file manager.
    std::function<void(const QStringList& files)> revealFiles;
};
void setPanels(Panels panels);

// The user-facing operations: each asks where, does the work and ends with a toast.
void exportPDF(const QStringList& files);
void exportZIP(const QStringList& files);
void beautifyAndExportToFolder(const QStringList& files);
// Linux has no system-wide sharing picker: the file manager shows the files, from where
// they can be dragged or sent on.
void share(const QStringList& files);

} // namespace HistoryBatch
