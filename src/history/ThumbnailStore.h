#pragma once

#include <QCache>
#include <QFuture>
#include <QImage>
#include <QMutex>
#include <QString>

// Small pictures of history items for grids and lists. Made off the main thread, kept in
// memory, and kept on disk under the cache folder so the next run shows them at once.
class ThumbnailStore {
public:
    static ThumbnailStore& shared();
    explicit ThumbnailStore(QString cacheDirectory);

    // The file as an image of at most `maxPixels` on its longer side (never enlarged); a
    // null image when the file cannot be read. The future is already finished when the
    // thumbnail was in memory.
    QFuture<QImage> thumbnail(const QString& file, int maxPixels);

    // Made now, on the calling thread, through the same caches.
    QImage thumbnailNow(const QString& file, int maxPixels);

    // The disk file a thumbnail is kept in: named after the file's path, size, time and
    // the size asked for, so a changed file gets a new thumbnail.
    QString cacheFileFor(const QString& file, int maxPixels) const;

private:
    QImage make(const QString& file, int maxPixels) const;

    QString m_directory;
    QMutex m_mutex;
    QCache<QString, QImage> m_memory;
};
