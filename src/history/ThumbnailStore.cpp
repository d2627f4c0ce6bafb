#include "history/ThumbnailStore.h"

#include "capture/ImageUtils.h"
#include "platform/Platform.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QSaveFile>
#include <QStandardPaths>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>
#include <cmath>

namespace {

// About 2,000 grid-sized thumbnails.
constexpr qsizetype memoryBytes = 64 * 1024 * 1024;

QImage decode(const QString& file, int maxPixels) {
    // Qt's readers can scale while decoding (JPEG) and read just the size first.
    QImageReader reader(file);
    const QSize size = reader.size();
    if (size.isValid() && std::max(size.width(), size.height()) > maxPixels)
        reader.setScaledSize(size.scaled(maxPixels, maxPixels, Qt::KeepAspectRatio));
    QImage image = reader.read();
    if (!image.isNull()) return image;
    // Formats only our own codecs read (HEIC, WebP on some systems).
    QFile in(file);
    const auto& codecs = platform::services().codecs;
    if (!codecs || !in.open(QIODevice::ReadOnly)) return {};
    return codecs->decode(in.readAll());
}

} // namespace

ThumbnailStore& ThumbnailStore::shared() {
    static ThumbnailStore store(QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) +
                                QStringLiteral("/pictavia/thumbnails"));
    return store;
}

ThumbnailStore::ThumbnailStore(QString cacheDirectory)
    : m_directory(std::move(cacheDirectory)), m_memory(memoryBytes) {}

QString ThumbnailStore::cacheFileFor(const QString& file, int maxPixels) const {
    const QFileInfo info(file);
    const QByteArray identity = info.absoluteFilePath().toUtf8() + '|' + QByteArray::number(info.size()) +
                                '|' + QByteArray::number(info.lastModified().toMSecsSinceEpoch()) + '|' +
                                QByteArray::number(maxPixels);
    return m_directory + QLatin1Char('/') +
           QString::fromLatin1(QCryptographicHash::hash(identity, QCryptographicHash::Sha1).toHex()) +
           QStringLiteral(".png");
}

QImage ThumbnailStore::make(const QString& file, int maxPixels) const {
    const QString cached = cacheFileFor(file, maxPixels);
    if (QImage kept(cached); !kept.isNull()) return kept;
    QImage image = decode(file, maxPixels);
    if (image.isNull()) return {};
    if (std::max(image.width(), image.height()) > maxPixels)
        image = ImageUtils::scaled(image, image.size().scaled(maxPixels, maxPixels, Qt::KeepAspectRatio));
    // A lost disk copy only costs making it again.
    QDir().mkpath(m_directory);
    QSaveFile out(cached);
    if (out.open(QIODevice::WriteOnly)) {
        out.write(ImageUtils::data(image, QStringLiteral("png")));
        out.commit();
    }
    return image;
}

QImage ThumbnailStore::thumbnailNow(const QString& file, int maxPixels) {
    const QString key = cacheFileFor(file, maxPixels);
    {
        QMutexLocker lock(&m_mutex);
        if (const QImage* image = m_memory.object(key)) return *image;
    }
    const QImage image = make(file, maxPixels);
    if (!image.isNull()) {
        QMutexLocker lock(&m_mutex);
        m_memory.insert(key, new QImage(image), std::max<qsizetype>(1, image.sizeInBytes()));
    }
    return image;
}

QFuture<QImage> ThumbnailStore::thumbnail(const QString& file, int maxPixels) {
    {
        QMutexLocker lock(&m_mutex);
        if (const QImage* image = m_memory.object(cacheFileFor(file, maxPixels)))
            return QtFuture::makeReadyFuture(*image);
    }
    return QtConcurrent::run([this, file, maxPixels] { return thumbnailNow(file, maxPixels); });
}
