// A running Pictavia answers what it cannot do: the caller gets one sentence and a
// non-zero exit, the user the same sentence as a toast, and nothing is captured.

#include "AppSession.h"
#include "WaitUntil.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <gtest/gtest.h>

namespace {

using namespace testsupport;

class RunningAppAnswersTest : public ::testing::Test {
protected:
    void SetUp() override {
        server = XServer::start({.width = 1024, .height = 768, .windowManager = true});
        app = std::make_unique<AppSession>(*server,
                                           "showQuickAccess = false\n[Hotkeys]\narea = F8\nallInOne = F9\n");
    }

    QString write(const QString& path, const QByteArray& bytes) {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return path;
    }

    void expectRefused(const std::vector<std::string>& args, const std::string& sentence) {
        const ProcessOutput out = app->send(args);
        EXPECT_EQ(out.exitCode, 1) << sentence;
        EXPECT_EQ(out.err, "pictavia: " + sentence + "\n");
        EXPECT_TRUE(app->waitForLog(sentence)) << app->log();
    }

    std::unique_ptr<XServer> server;
    std::unique_ptr<AppSession> app;
};

TEST_F(RunningAppAnswersTest, MistakesGetASentenceAndANonZeroExit) {
    expectRefused({"pictavia://take-a-selfie"}, "Unknown pictavia:// command \"take-a-selfie\"");
    expectRefused({"pictavia://capture-area?x=0&y=0&width=-5&height=10"},
                  "The area's size is invalid: its width and height must be greater than 0");
    expectRefused({"pictavia://capture-area?x=1000&y=700&width=100&height=100"},
                  "That area reaches past the edge of the display, which is 1024×768 points");
    EXPECT_TRUE(app->captures().isEmpty());

    const QString notImage = write(app->home().path() + "/notes.png", "words, not pixels");
    expectRefused({"pictavia://open-file?path=" + notImage.toStdString()}, "Pictavia cannot open that file");

    // The editor check happens before the app is asked: only the caller hears of it.
    const ProcessOutput text =
        app->send({"edit", write(app->home().path() + "/notimg.txt", "words").toStdString()});
    EXPECT_EQ(text.exitCode, 1);
    EXPECT_EQ(text.err, "pictavia: notimg.txt is neither an image nor a Pictavia project\n");

    // A capture whose project is damaged opens as its image, and says why its edits are missing.
    QImage picture(200, 120, QImage::Format_RGB32);
    picture.fill(Qt::darkCyan);
    const QString capture = app->home().path() + "/data/Pictavia/History/Damaged.png";
    QDir().mkpath(QFileInfo(capture).absolutePath());
    ASSERT_TRUE(picture.save(capture));
    write(app->home().path() + "/data/Pictavia/Projects/Damaged.png.pictavia", "not a project at all");
    const ProcessOutput opened = app->send({"edit", capture.toStdString()});
    EXPECT_EQ(opened.exitCode, 0) << opened.err;
    EXPECT_TRUE(app->waitForWindows("Pictavia Editor — Damaged.png", 1)) << app->log();
    EXPECT_TRUE(app->waitForLog("The edits of Damaged.png could not be read")) << app->log();
    app->screenshot("editor-damaged-project");
}

} // namespace
