#include "capture/FileNamer.h"

#include "support/FakePlatform.h"

#include <QFile>

namespace {

using FileNamerTest = testsupport::PlatformTest;

const QDateTime when(QDate(2024, 5, 1), QTime(9, 5, 7));

TEST_F(FileNamerTest, TemplateTokens) {
    EXPECT_EQ(FileNamer::filename("png", when, {}, 1.0), "Pictavia 2024-05-01 at 09.05.07.png");

    Prefs::setValue("filenameTemplate", "{app} - {window} #{counter}");
    CaptureContext context{"Files", "a/b:c", std::nullopt, std::nullopt};
    EXPECT_EQ(FileNamer::filename("jpg", when, context, 1.0), "Files - a-b-c #1.jpg");
    context.counter = 12;
    EXPECT_EQ(FileNamer::filename("jpg", when, context, 1.0), "Files - a-b-c #12.jpg");

    Prefs::setValue("filenameTemplate", "{app}");
    EXPECT_EQ(FileNamer::filename("png", when, {}, 1.0), "Pictavia 2024-05-01 at 09.05.07.png");
}

TEST_F(FileNamerTest, RetinaSuffix) {
    Prefs::setValue("retinaSuffix", true);
    Prefs::setValue("filenameTemplate", "Shot");
    EXPECT_EQ(FileNamer::filename("png", when, {}, 2.0), "Shot@2x.png");
    EXPECT_EQ(FileNamer::filename("png", when, {}, 1.0), "Shot.png");
    Prefs::setValue("filenameTemplate", "Shot@2x");
    EXPECT_EQ(FileNamer::filename("png", when, {}, 2.0), "Shot@2x.png");

    const CaptureContext named{std::nullopt, std::nullopt, "agent-shot", std::nullopt};
    EXPECT_EQ(FileNamer::filename("png", when, named, 2.0), "agent-shot.png");
}

TEST_F(FileNamerTest, Sanitize) {
    EXPECT_EQ(FileNamer::sanitize(R"(  a/b\c:d?e%f*g|h"i<j>k  )"), "a-b-c-d-e-f-g-h-i-j-k");
    EXPECT_EQ(FileNamer::sanitize("plain name"), "plain name");
}

TEST_F(FileNamerTest, AskForNameSanitizesAndCancels) {
    namePrompt->answer = "my: shot";
    EXPECT_EQ(FileNamer::askForName("Default"), "my- shot");
    EXPECT_EQ(namePrompt->offered, "Default");
    namePrompt->answer = std::nullopt;
    EXPECT_FALSE(FileNamer::askForName("Default"));
}

TEST_F(FileNamerTest, UniquePathCountsUp) {
    const QString dir = home.path();
    EXPECT_EQ(FileNamer::uniquePath(dir, "a.png"), dir + "/a.png");
    QFile(dir + "/a.png").open(QIODevice::WriteOnly);
    QFile(dir + "/a (2).png").open(QIODevice::WriteOnly);
    EXPECT_EQ(FileNamer::uniquePath(dir, "a.png"), dir + "/a (3).png");
    QFile(dir + "/b@2x.png").open(QIODevice::WriteOnly);
    EXPECT_EQ(FileNamer::uniquePath(dir, "b@2x.png"), dir + "/b (2)@2x.png");
}

} // namespace
