#include "editor/ProjectStore.h"

#include "app/AppPaths.h"
#include "common/Log.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace ProjectStore {

namespace {

const QString Extension = QStringLiteral(".pictavia");

} // namespace

QString directory() {
    return AppPaths::dataDirectory() + QStringLiteral("/Projects");
}

// The capture's extension stays in the name: "shot.png" and "shot.jpg" are different captures.
QString pathFor(const QString& captureFile) {
    return directory() + QLatin1Char('/') + QFileInfo(captureFile).fileName() + Extension;
}

std::optional<QString> save(const ProjectDocument& document, const QString& captureFile) {
    if (QFileInfo(captureFile).fileName().isEmpty()) return std::nullopt;
    const QByteArray bytes = document.toBinary();
    if (bytes.isEmpty() || !QDir().mkpath(directory())) return std::nullopt;
    const QString path = pathFor(captureFile);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        qCWarning(lcPictavia, "Could not write the project %s", qPrintable(path));
        return std::nullopt;
    }
    return path;
}

bool has(const QString& captureFile) {
    return !QFileInfo(captureFile).fileName().isEmpty() && QFileInfo(pathFor(captureFile)).isFile();
}

Result<ProjectDocument> load(const QString& captureFile) {
    QFile file(pathFor(captureFile));
    if (!file.open(QIODevice::ReadOnly))
        return Error{QStringLiteral("There is no project for %1.").arg(QFileInfo(captureFile).fileName())};
    return ProjectDocument::fromBinary(file.readAll());
}

void remove(const QString& captureFile) {
    if (has(captureFile)) QFile::remove(pathFor(captureFile));
}

void pruneOrphans(const QSet<QString>& keepingCaptureNames) {
    const QDir projects(directory());
    const QStringList names = projects.entryList({QLatin1Char('*') + Extension}, QDir::Files);
    for (const QString& name : names) {
        const QString captureName = name.chopped(Extension.size());
        if (!keepingCaptureNames.contains(captureName)) QFile::remove(projects.filePath(name));
    }
}

} // namespace ProjectStore
