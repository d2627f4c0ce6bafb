#include "history/ThumbnailStore.h"
#include "support/FakePlatform.h"

#include <QDir>
#include <QFile>
#include <QThread>
#include <gtest/gtest.h>

namespace {

class ThumbnailStoreTest : public testsupport::PlatformTest {
protected:
    QString picture(const QString& name, QSize size, QColor color) {
        QImage image(size, QImage::Format_RGB32);
        image.fill(color);
        const QString path = home.filePath(name);
        EXPECT_TRUE(image.save(path));
        return path;
    }
    QString cacheFolder() const { return home.filePath(QStringLiteral("thumbs")); }
};

TEST_F(ThumbnailStoreTest, ThumbnailsFitTheAskedSizeAndAreKeptOnDisk) {
    const QString wide = picture(QStringLiteral("wide.png"), QSize(1600, 400), Qt::darkGreen);
    const QString small = picture(QStringLiteral("small.png"), QSize(60, 30), Qt::darkBlue);
    {
        ThumbnailStore store(cacheFolder());
        const QImage thumb = store.thumbnail(wide, 200).result();
        EXPECT_EQ(thumb.size(), QSize(200, 50));
        EXPECT_EQ(thumb.pixelColor(100, 25), QColor(Qt::darkGreen));
        EXPECT_EQ(store.thumbnail(small, 200).result().size(), QSize(60, 30)); // never enlarged
        EXPECT_TRUE(QFile::exists(store.cacheFileFor(wide, 200)));
        // A second request is answered from memory, already finished.
        EXPECT_TRUE(store.thumbnail(wide, 200).isFinished());
    }
    // A new store (a new run) finds the disk copy.
    ThumbnailStore again(cacheFolder());
    EXPECT_EQ(again.thumbnailNow(wide, 200).size(), QSize(200, 50));
}

TEST_F(ThumbnailStoreTest, ChangedFilesGetNewThumbnailsAndBrokenOnesNone) {
    ThumbnailStore store(cacheFolder());
    const QString path = picture(QStringLiteral("shot.png"), QSize(400, 400), Qt::red);
    EXPECT_EQ(store.thumbnailNow(path, 100).pixelColor(50, 50), QColor(Qt::red));
    QThread::msleep(20); // a new modification time
    picture(QStringLiteral("shot.png"), QSize(400, 200), Qt::blue);
    const QImage changed = store.thumbnailNow(path, 100);
    EXPECT_EQ(changed.size(), QSize(100, 50));
    EXPECT_EQ(changed.pixelColor(50, 25), QColor(Qt::blue));

    QFile broken(home.filePath(QStringLiteral("broken.png")));
    ASSERT_TRUE(broken.open(QIODevice::WriteOnly));
    broken.write("not an image");
    broken.close();
    EXPECT_TRUE(store.thumbnailNow(broken.fileName(), 100).isNull());
    EXPECT_TRUE(store.thumbnail(home.filePath(QStringLiteral("missing.png")), 100).result().isNull());
}

} // namespace
