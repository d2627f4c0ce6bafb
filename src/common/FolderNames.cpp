#include "common/FolderNames.h"

#include <QFile>

#include <dirent.h>
#include <sys/stat.h>

QStringList folderFileNames(const QString& folder) {
    QStringList names;
    const QByteArray path = QFile::encodeName(folder);
    DIR* directory = opendir(path.constData());
    if (directory == nullptr) return names;
    const int descriptor = dirfd(directory);
    while (const dirent* entry = readdir(directory)) {
        if (entry->d_name[0] == '.') continue;
        bool regular = entry->d_type == DT_REG;
        if (entry->d_type == DT_UNKNOWN || entry->d_type == DT_LNK) {
            // Some file systems leave the type out; a link counts as the file it names.
            struct stat status {};
            regular = fstatat(descriptor, entry->d_name, &status, 0) == 0 && S_ISREG(status.st_mode);
        }
        if (regular) names.append(QFile::decodeName(entry->d_name));
    }
    closedir(directory);
    return names;
}
