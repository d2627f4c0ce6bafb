#include "app/QuickActions.h"

#include "support/FakePlatform.h"

#include <QDir>
#include <QFile>

namespace {

using QuickActionsTest = testsupport::PlatformTest;

QImage picture() {
    QImage image(40, 30, QImage::Format_RGB32);
    image.fill(QColor(200, 40, 90));
    return image;
}

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString write(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    file.write(bytes);
    return path;
}

TEST_F(QuickActionsTest, CopyOffersPngBytes) {
    // A PNG file's own bytes go to the clipboard as they are.
    const QString png = write(home.path() + "/History/Shot.png", "\x89PNG stored bytes");
    QuickActions::copy(png, picture());
    ASSERT_EQ(clipboard->images.size(), 1);
    EXPECT_EQ(clipboard->pngs[0], "\x89PNG stored bytes");
    EXPECT_EQ(clipboard->images[0], picture());
    EXPECT_EQ(toasts->shown, QStringList{"Copied"});

    // Anything else is encoded.
    QuickActions::copy(write(home.path() + "/History/Shot.jpg", "jpeg"), picture());
    EXPECT_TRUE(clipboard->pngs[1].startsWith("\x89PNG\r\n"));
    QuickActions::copy(QString(), picture());
    EXPECT_TRUE(clipboard->pngs[2].startsWith("\x89PNG\r\n"));
}

TEST_F(QuickActionsTest, SaveCopiesIntoTheSaveFolderUnderAFreeName) {
    const QString folder = home.path() + "/Pictures/Shots";
    Prefs::setValue("saveDirectory", folder);
    const QString file = write(home.path() + "/History/Shot.png", "pixels");

    const auto first = QuickActions::save(file);
    ASSERT_TRUE(first);
    EXPECT_EQ(*first, folder + "/Shot.png");
    EXPECT_EQ(contents(*first), "pixels");
    EXPECT_EQ(QuickActions::save(file), folder + "/Shot (2).png");
    EXPECT_EQ(toasts->shown.last(), "Saved to Shots");

    // Already in the folder: nothing is written.
    EXPECT_EQ(QuickActions::save(*first), *first);
    EXPECT_EQ(QDir(folder).entryList(QDir::Files).size(), 2);

    EXPECT_FALSE(QuickActions::save(home.path() + "/History/Gone.png"));
    EXPECT_EQ(toasts->shown.last(), "The capture's file is gone");
}

TEST_F(QuickActionsTest, SaveImageAsUsesTheSuffixFormat) {
    const QString jpg = home.path() + "/pin.jpg";
    EXPECT_TRUE(QuickActions::saveImageAs(picture(), jpg, 1.0));
    EXPECT_TRUE(contents(jpg).startsWith("\xFF\xD8"));

    // No encoder for the suffix: PNG, and the name says so.
    EXPECT_TRUE(QuickActions::saveImageAs(picture(), home.path() + "/pin.xyz", 1.0));
    EXPECT_TRUE(contents(home.path() + "/pin.png").startsWith("\x89PNG"));
    EXPECT_FALSE(QFile::exists(home.path() + "/pin.xyz"));

    EXPECT_FALSE(QuickActions::saveImageAs(picture(), home.path() + "/missing/folder/pin.png", 1.0));
}

} // namespace
