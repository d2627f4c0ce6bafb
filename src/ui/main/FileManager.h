#pragma once

#include <QStringList>

namespace ui {

// Shows files in the desktop's file manager, selected where it supports that (the
// freedesktop FileManager1 service); otherwise opens the folders that hold them.
void revealInFileManager(const QStringList& files);

// Opens folders in the file manager.
void openFolders(const QStringList& folders);

} // namespace ui
