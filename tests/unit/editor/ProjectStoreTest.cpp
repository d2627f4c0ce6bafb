#include "editor/ProjectStore.h"

#include "support/FakePlatform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

class ProjectStoreTest : public testsupport::PlatformTest {
protected:
    static ProjectDocument documentWithPadding(double padding) {
        ProjectDocument d;
        d.imagePNG = QByteArray("\x89PNG stand-in");
        d.padding = padding;
        return d;
    }
};

TEST_F(ProjectStoreTest, LivesInTheDataFolderNamedAfterTheWholeCaptureName) {
    EXPECT_EQ(ProjectStore::directory(), home.path() + "/data/Pictavia/Projects");
    EXPECT_EQ(ProjectStore::pathFor("/pictures/Shot 1.png"),
              ProjectStore::directory() + "/Shot 1.png.pictavia");
}

TEST_F(ProjectStoreTest, SameBaseNameWithOtherExtensionsKeepsSeparateProjects) {
    const auto png = ProjectStore::save(documentWithPadding(10), "/pictures/shot.png");
    const auto jpg = ProjectStore::save(documentWithPadding(20), "/elsewhere/shot.jpg");
    ASSERT_TRUE(png && jpg);
    EXPECT_NE(*png, *jpg);
    EXPECT_TRUE(QFileInfo(*png).isFile());

    const auto loadedPng = ProjectStore::load("/pictures/shot.png");
    const auto loadedJpg = ProjectStore::load("/pictures/shot.jpg");
    ASSERT_TRUE(loadedPng.ok() && loadedJpg.ok());
    EXPECT_EQ(loadedPng->padding, 10.0);
    EXPECT_EQ(loadedJpg->padding, 20.0);
    EXPECT_FALSE(ProjectStore::has("/pictures/shot.webp"));
}

TEST_F(ProjectStoreTest, SavingAgainReplacesAndRemoveDeletes) {
    ASSERT_TRUE(ProjectStore::save(documentWithPadding(1), "a.png"));
    ASSERT_TRUE(ProjectStore::save(documentWithPadding(2), "a.png"));
    EXPECT_EQ(ProjectStore::load("a.png")->padding, 2.0);
    EXPECT_EQ(QDir(ProjectStore::directory()).entryList(QDir::Files).size(), 1); // no temporary files left

    ProjectStore::remove("a.png");
    EXPECT_FALSE(ProjectStore::has("a.png"));
    EXPECT_FALSE(ProjectStore::load("a.png").ok());
    ProjectStore::remove("a.png"); // removing twice is harmless
}

TEST_F(ProjectStoreTest, SaveFailsWhenTheFolderCannotBeMade) {
    QDir().mkpath(home.path() + "/data/Pictavia");
    QFile blocker(ProjectStore::directory());
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly)); // a file where the folder should be
    blocker.close();
    EXPECT_FALSE(ProjectStore::save(documentWithPadding(1), "a.png"));
    EXPECT_FALSE(ProjectStore::save(documentWithPadding(1), "/pictures/"));
}

TEST_F(ProjectStoreTest, PruneKeepsNamedCapturesAndDeletesTheRest) {
    for (const char* capture : {"keep.png", "keep.jpg", "gone.png", "also gone.heic"})
        ASSERT_TRUE(ProjectStore::save(documentWithPadding(0), capture));
    QFile unrelated(ProjectStore::directory() + "/notes.txt");
    ASSERT_TRUE(unrelated.open(QIODevice::WriteOnly));
    unrelated.close();

    ProjectStore::pruneOrphans({"keep.png", "keep.jpg", "never saved.png"});
    EXPECT_TRUE(ProjectStore::has("keep.png"));
    EXPECT_TRUE(ProjectStore::has("keep.jpg"));
    EXPECT_FALSE(ProjectStore::has("gone.png"));
    EXPECT_FALSE(ProjectStore::has("also gone.heic"));
    EXPECT_TRUE(unrelated.exists());

    ProjectStore::pruneOrphans({});
    EXPECT_EQ(QDir(ProjectStore::directory()).entryList(QDir::Files), QStringList{"notes.txt"});
}

} // namespace
