#pragma once

#include "editor/ProjectDocument.h"

#include <QSet>
#include <QString>

#include <optional>

// The projects that keep captures re-editable: "Projects" in the data folder, one file per
// capture, named after the capture's full file name plus ".pictavia".
namespace ProjectStore {

QString directory();
QString pathFor(const QString& captureFile);

// Written atomically; none when encoding or writing failed.
std::optional<QString> save(const ProjectDocument& document, const QString& captureFile);
bool has(const QString& captureFile);
Result<ProjectDocument> load(const QString& captureFile);
void remove(const QString& captureFile);
// Deletes every project whose capture name is not in the set.
void pruneOrphans(const QSet<QString>& keepingCaptureNames);

} // namespace ProjectStore
