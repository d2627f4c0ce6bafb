#include "capture/HistoryFolderCount.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

namespace {

class HistoryFolderCountTest : public ::testing::Test {
protected:
    QTemporaryDir home;
    QString folder = home.filePath("History");
    QString countFile = home.filePath("history-count");
    HistoryFolderCount count{folder, countFile};

    void SetUp() override { QDir().mkpath(folder); }

    // File times advance in clock ticks: a change in the same tick as the last write would
    // leave the folder's time as it was.
    static void nextTick() { QThread::msleep(15); }

    void addFile(const QString& name) {
        QFile file(folder + u'/' + name);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }
};

TEST_F(HistoryFolderCountTest, AddsThroughItKeepTheCountAndOthersInvalidateIt) {
    EXPECT_FALSE(count.known()) << "nothing remembered yet";
    addFile("a.png");
    count.reset(1);
    EXPECT_EQ(count.known(), 1);

    for (int i = 0; i < 3; ++i) {
        nextTick();
        count.beforeAdd();
        addFile(QString("b%1.png").arg(i));
        count.afterAdd();
    }
    EXPECT_EQ(count.known(), 4);

    nextTick();
    QFile::remove(folder + "/a.png"); // by someone else: the folder changed behind the count
    EXPECT_FALSE(count.known());
    count.beforeAdd();
    addFile("c.png");
    count.afterAdd();
    EXPECT_FALSE(count.known()) << "an add does not revive a count that no longer held";
}

TEST_F(HistoryFolderCountTest, ManyAddsForceAListing) {
    count.reset(0);
    for (int i = 0; i < HistoryFolderCount::maxIncrements; ++i) {
        nextTick();
        count.beforeAdd();
        addFile(QString("%1.png").arg(i));
        count.afterAdd();
    }
    EXPECT_FALSE(count.known());
    count.reset(HistoryFolderCount::maxIncrements);
    EXPECT_EQ(count.known(), HistoryFolderCount::maxIncrements);
}

TEST_F(HistoryFolderCountTest, DamagedCountFileIsNoCount) {
    for (const QByteArray& bytes :
         {QByteArray("garbage"), QByteArray("1 2"), QByteArray("1 -2 0"), QByteArray("\0\0\0", 3)}) {
        QFile file(countFile);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bytes);
        file.close();
        EXPECT_FALSE(count.known()) << bytes.constData();
    }
    count.reset(7); // a longer line written over a shorter one, and the other way round
    EXPECT_EQ(count.known(), 7);
    count.reset(123456);
    count.reset(3);
    EXPECT_EQ(count.known(), 3);
}

} // namespace
