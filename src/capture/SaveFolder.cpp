#include "capture/SaveFolder.h"

#include "app/Prefs.h"
#include "app/Toast.h"
#include "capture/FileNamer.h"

#include <QDir>
#include <QSaveFile>

namespace SaveFolder {

std::optional<QString> write(const QByteArray& bytes, const QString& fileName) {
    const QString folder = Prefs::saveDirectory();
    if (!QDir().mkpath(folder)) {
        Toast::show(QStringLiteral("Could not save to %1").arg(folder));
        return std::nullopt;
    }
    return writeFile(FileNamer::uniquePath(folder, fileName), bytes);
}

std::optional<QString> writeFile(const QString& path, const QByteArray& bytes) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        Toast::show(QStringLiteral("Could not save %1: %2").arg(path, file.errorString()));
        return std::nullopt;
    }
    return path;
}

} // namespace SaveFolder
