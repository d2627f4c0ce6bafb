#include "history/HistoryFiles.h"

#include "capture/FileNamer.h"
#include "editor/ProjectStore.h"
#include "history/HistoryIndex.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace HistoryFiles {

Error notFound(const QString& name) {
    return Error{QStringLiteral("There is no capture named %1 in the history.").arg(name)};
}

Result<bool> remove(HistoryIndex& index, const QString& name) {
    const QString path = QDir(index.historyDirectory()).filePath(name);
    const bool isFile = !name.isEmpty() && !name.contains(u'/') && QFileInfo(path).isFile();
    if (!isFile && !index.record(name)) return notFound(name);
    if (isFile && !QFile::remove(path))
        return Error{QStringLiteral("Couldn't delete %1. Check the folder's permissions.").arg(name)};
    index.remove(name);
    ProjectStore::remove(name);
    return true;
}

Result<QString> rename(HistoryIndex& index, const QString& name, const QString& newName) {
    const QDir folder(index.historyDirectory());
    if (name.isEmpty() || !QFileInfo(folder.filePath(name)).isFile()) return notFound(name);
    QString target = FileNamer::sanitize(newName);
    if (target.isEmpty() || target.startsWith(u'.'))
        return Error{QStringLiteral("Enter a name for the capture.")};
    const QString suffix = QFileInfo(name).suffix();
    if (QFileInfo(target).suffix().compare(suffix, Qt::CaseInsensitive) != 0 && !suffix.isEmpty())
        target += u'.' + suffix;
    if (target == name) return target;
    if (folder.exists(target))
        return Error{QStringLiteral("There is already a capture named %1.").arg(target)};
    if (!QFile::rename(folder.filePath(name), folder.filePath(target)))
        return Error{QStringLiteral("Couldn't rename %1. Check the folder's permissions.").arg(name)};
    if (ProjectStore::has(name)) QFile::rename(ProjectStore::pathFor(name), ProjectStore::pathFor(target));
    if (index.record(name))
        index.rename(name, target);
    else
        index.index(folder.filePath(target), {});
    return target;
}

} // namespace HistoryFiles
