#include "platform/archive/LibarchiveArchiver.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <archive.h>
#include <archive_entry.h>

#include <memory>

namespace platform::archive {

namespace {

using Writer = std::unique_ptr<struct archive, decltype(&archive_write_free)>;
using Entry = std::unique_ptr<struct archive_entry, decltype(&archive_entry_free)>;

Error failure(struct archive* writer, const QString& what) {
    const char* reason = writer ? archive_error_string(writer) : nullptr;
    return Error{
        QStringLiteral("Could not create the archive: %1").arg(reason ? QString::fromUtf8(reason) : what)};
}

// One entry: a folder, or a file with its bytes. `name` is the path inside the archive.
Result<bool> addEntry(struct archive* writer, const QFileInfo& info, const QString& name) {
    Entry entry(archive_entry_new(), &archive_entry_free);
    archive_entry_set_pathname_utf8(entry.get(), name.toUtf8().constData());
    archive_entry_set_mtime(entry.get(), info.lastModified().toSecsSinceEpoch(), 0);
    QByteArray bytes;
    if (info.isDir()) {
        archive_entry_set_filetype(entry.get(), AE_IFDIR);
        archive_entry_set_perm(entry.get(), 0755);
    } else {
        QFile file(info.filePath());
        if (!file.open(QIODevice::ReadOnly)) return failure(nullptr, file.errorString());
        bytes = file.readAll();
        archive_entry_set_filetype(entry.get(), AE_IFREG);
        archive_entry_set_perm(entry.get(), 0644);
        archive_entry_set_size(entry.get(), bytes.size());
    }
    if (archive_write_header(writer, entry.get()) != ARCHIVE_OK) return failure(writer, name);
    if (!bytes.isEmpty() && archive_write_data(writer, bytes.constData(), size_t(bytes.size())) < 0)
        return failure(writer, name);
    return true;
}

Result<bool> write(struct archive* writer, const QString& folder, const QString& destination) {
    if (archive_write_set_format_zip(writer) != ARCHIVE_OK ||
        archive_write_open_filename(writer, QFile::encodeName(destination).constData()) != ARCHIVE_OK)
        return failure(writer, destination);
    const QDir root(folder);
    const QString top = root.dirName();
    if (auto added = addEntry(writer, QFileInfo(folder), top + u'/'); !added) return added;
    // Sorted, so the same folder always gives the same archive.
    QStringList paths;
    QDirIterator it(folder, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        paths << it.next();
    paths.sort();
    for (const QString& path : paths) {
        const QFileInfo info(path);
        QString name = top + u'/' + root.relativeFilePath(path);
        if (info.isDir()) name += u'/';
        if (auto added = addEntry(writer, info, name); !added) return added;
    }
    if (archive_write_close(writer) != ARCHIVE_OK) return failure(writer, destination);
    return true;
}

} // namespace

Result<bool> LibarchiveArchiver::zipFolder(const QString& folder, const QString& destination) {
    if (!QFileInfo(folder).isDir())
        return Error{QStringLiteral("Could not create the archive: no folder %1").arg(folder)};
    Result<bool> written = [&] {
        Writer writer(archive_write_new(), &archive_write_free);
        if (!writer) return Result<bool>(failure(nullptr, QStringLiteral("out of memory")));
        return write(writer.get(), folder, destination);
    }();
    if (!written) QFile::remove(destination);
    return written;
}

} // namespace platform::archive
