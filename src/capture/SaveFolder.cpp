#include "capture/SaveFolder.h"

#include "app/Prefs.h"
#include "app/Toast.h"
#include "capture/FileNamer.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

namespace SaveFolder {

namespace {

const QString key = QStringLiteral("saveDirectory");

bool isDefault() {
    for (const Prefs::Default& d : Prefs::defaults())
        if (d.key == key) return Prefs::text(key) == d.value.toString();
    return false;
}

} // namespace

QString directory() {
    QString chosen = Prefs::saveDirectory();
    if (QFileInfo(chosen).isDir() || !isDefault()) return chosen;
    for (const auto location : {QStandardPaths::DesktopLocation, QStandardPaths::PicturesLocation}) {
        QString folder = QStandardPaths::writableLocation(location);
        if (!folder.isEmpty() && QFileInfo(folder).isDir()) return folder;
    }
    return QDir::homePath();
}

std::optional<QString> ready() {
    const QString folder = directory();
    if (!QDir().mkpath(folder)) {
        Toast::show(QStringLiteral("Could not save to %1").arg(folder));
        return std::nullopt;
    }
    return folder;
}

std::optional<QString> write(const QByteArray& bytes, const QString& fileName) {
    const auto folder = ready();
    if (!folder) return std::nullopt;
    return writeFile(FileNamer::uniquePath(*folder, fileName), bytes);
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
