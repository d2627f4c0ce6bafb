#include "ui/main/LibraryModel.h"

#include "capture/HistoryManager.h"
#include "history/HistoryIndex.h"
#include "support/EventLoop.h"
#include "support/FakePlatform.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QImage>
#include <QMimeData>

#include <memory>

namespace {

using testsupport::waitUntil;

class LibraryModelTest : public testsupport::PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        ASSERT_TRUE(QDir().mkpath(HistoryManager::directory()));
        index = std::make_unique<HistoryIndex>(home.path() + "/data/Pictavia/index.json",
                                               HistoryManager::directory());
    }

    QString addCapture(const QString& name, QColor color = Qt::red) {
        QImage image(600, 300, QImage::Format_RGB32);
        image.fill(color);
        const QString path = HistoryManager::directory() + "/" + name;
        image.save(path, "PNG");
        index->index(path, {});
        return path;
    }

    std::unique_ptr<HistoryIndex> index;
};

TEST_F(LibraryModelTest, FollowsTheIndexAndDragsOutFiles) {
    const QString first = addCapture("first.png");
    ui::LibraryModel model(*index);
    ASSERT_EQ(model.rowCount(), 1);
    const QString second = addCapture("second.png");
    EXPECT_TRUE(waitUntil([&] { return model.rowCount() == 2; }));

    std::unique_ptr<QMimeData> dragged(model.mimeData({model.index(0), model.index(1)}));
    QStringList files;
    for (const QUrl& url : dragged->urls())
        files << url.toLocalFile();
    files.sort();
    EXPECT_EQ(files, (QStringList{first, second}));
    EXPECT_TRUE(model.flags(model.index(0)) & Qt::ItemIsDragEnabled);
}

TEST_F(LibraryModelTest, ThumbnailsArriveLaterAndUnreadableFilesStayBlank) {
    addCapture("picture.png");
    const QString broken = HistoryManager::directory() + "/broken.png";
    QFile out(broken);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly));
    out.write("not a picture");
    out.close();
    index->index(broken, {});
    ui::LibraryModel model(*index);
    const int picture = model.rowOf("picture.png");
    const int blank = model.rowOf("broken.png");
    int blankChanges = 0; // changes may cover several rows
    QObject::connect(&model, &QAbstractItemModel::dataChanged,
                     [&](const QModelIndex& first, const QModelIndex& last) {
                         if (first.row() <= blank && blank <= last.row()) ++blankChanges;
                     });
    for (int row = 0; row < model.rowCount(); ++row)
        model.data(model.index(row), ui::LibraryModel::ThumbnailRole);
    ASSERT_TRUE(waitUntil([&] {
        return !model.data(model.index(picture), ui::LibraryModel::ThumbnailRole).value<QImage>().isNull();
    }));
    const QImage thumbnail =
        model.data(model.index(picture), ui::LibraryModel::ThumbnailRole).value<QImage>();
    EXPECT_EQ(thumbnail.width(), ui::LibraryModel::thumbnailPixels);
    // The unreadable file is asked for once, answered blank (then or later), and not asked
    // for again.
    QCoreApplication::processEvents(QEventLoop::AllEvents, 300);
    const int answered = blankChanges;
    EXPECT_LE(answered, 1);
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(model.data(model.index(blank), ui::LibraryModel::ThumbnailRole).value<QImage>().isNull());
    QCoreApplication::processEvents(QEventLoop::AllEvents, 200);
    EXPECT_EQ(blankChanges, answered);
}

} // namespace
