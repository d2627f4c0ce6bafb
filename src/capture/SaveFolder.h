#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// Writing finished images where people keep them.
namespace SaveFolder {

// The folder saved images go to: the "saveDirectory" preference. Its default, the desktop
// folder, is used only where it exists; otherwise the pictures folder or the home folder
// stands in, so that no folder appears that the user never asked for.
QString directory();

// directory(), made when the user named it and it is missing. None, after a toast saying
// why, when it cannot be made.
std::optional<QString> ready();

// Writes `bytes` into the save folder under `fileName`, or a free variant of it when the
// name is taken. None, after a toast saying why, when the folder or file can't be written.
std::optional<QString> write(const QByteArray& bytes, const QString& fileName);

// Writes `bytes` to `path` atomically. None, after a toast saying why, on failure.
std::optional<QString> writeFile(const QString& path, const QByteArray& bytes);

} // namespace SaveFolder
