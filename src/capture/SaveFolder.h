#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// Writing finished images where people keep them.
namespace SaveFolder {

// Writes `bytes` into the save folder under `fileName`, or a free variant of it when the
// name is taken. None, after a toast saying why, when the folder or file can't be written.
std::optional<QString> write(const QByteArray& bytes, const QString& fileName);

// Writes `bytes` to `path` atomically. None, after a toast saying why, on failure.
std::optional<QString> writeFile(const QString& path, const QByteArray& bytes);

} // namespace SaveFolder
