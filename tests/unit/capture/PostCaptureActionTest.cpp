#include "capture/PostCaptureAction.h"

#include "support/FakePlatform.h"

#include <QFile>

namespace {

class PostCaptureActionTest : public testsupport::PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        capture = home.path() + "/shot one.png";
        QFile(capture).open(QIODevice::WriteOnly);
    }
    void TearDown() override { PostCaptureAction::setTimeLimit(PostCaptureAction::defaultTimeLimit); }

    void useScript(const QString& script) {
        Prefs::setValue("postAction", "script");
        Prefs::setValue("postActionScript", script);
    }
    QString read(const QString& name) {
        QFile file(home.path() + "/" + name);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    QString capture;
    const CaptureContext context{"Web Browser", "Docs — Home", std::nullopt, std::nullopt};
};

TEST_F(PostCaptureActionTest, ScriptSeesTheCaptureInItsEnvironment) {
    useScript(QString("printf '%s|%s|%s|%s|%s' \"$PICTAVIA_FILE\" \"$PICTAVIA_KIND\" \"$PICTAVIA_APP\" "
                      "\"$PICTAVIA_WINDOW\" \"$1\" > '%1/env.txt'")
                  .arg(home.path()));
    PostCaptureAction::run(capture, "image", context);
    PostCaptureAction::waitForAll();
    EXPECT_EQ(read("env.txt"), capture + "|image|Web Browser|Docs — Home|" + capture);
    EXPECT_TRUE(toasts->shown.isEmpty());
}

TEST_F(PostCaptureActionTest, FailuresAreReported) {
    useScript("echo 'disk is full' >&2; exit 3");
    PostCaptureAction::run(capture, "image", context);
    PostCaptureAction::waitForAll();
    EXPECT_EQ(toasts->shown, QStringList{"Command failed: exit code 3 (disk is full)"});
    EXPECT_TRUE(QFile::exists(capture)); // the capture stays

    toasts->shown.clear();
    PostCaptureAction::setTimeLimit(std::chrono::milliseconds(300));
    useScript(QString("sleep 30; touch '%1/late'").arg(home.path()));
    PostCaptureAction::run(capture, "image", context);
    PostCaptureAction::waitForAll();
    EXPECT_EQ(toasts->shown, QStringList{"Command timed out after 0.3 seconds"});
    EXPECT_FALSE(QFile::exists(home.path() + "/late"));

    toasts->shown.clear();
    PostCaptureAction::launch(home.path() + "/missing-program", {}, QProcessEnvironment::systemEnvironment(),
                              "Command");
    PostCaptureAction::waitForAll();
    ASSERT_EQ(toasts->shown.size(), 1);
    EXPECT_TRUE(toasts->shown[0].startsWith("Command could not start: ")) << toasts->shown[0].toStdString();
    EXPECT_EQ(PostCaptureAction::running(), 0);
}

TEST_F(PostCaptureActionTest, ShortcutIsACommandOnPathGivenTheFile) {
    const QString bin = home.path() + "/bin";
    QDir().mkpath(bin);
    QFile tool(bin + "/upload-shot");
    ASSERT_TRUE(tool.open(QIODevice::WriteOnly));
    tool.write(QString("#!/bin/sh\nprintf '%s' \"$1\" > '%1/arg.txt'\n").arg(home.path()).toUtf8());
    tool.setPermissions(tool.permissions() | QFileDevice::ExeOwner);
    tool.close();
    const QByteArray oldPath = qgetenv("PATH");
    qputenv("PATH", bin.toUtf8() + ":" + oldPath);

    Prefs::setValue("postAction", "shortcut");
    Prefs::setValue("postActionShortcut", "upload-shot");
    PostCaptureAction::run(capture, "image", context);
    PostCaptureAction::waitForAll();
    EXPECT_EQ(read("arg.txt"), capture);

    Prefs::setValue("postActionShortcut", "no-such-tool");
    PostCaptureAction::run(capture, "image", context);
    EXPECT_EQ(toasts->shown,
              QStringList{"Shortcut could not start: no command named \"no-such-tool\" on PATH"});
    qputenv("PATH", oldPath);
}

TEST_F(PostCaptureActionTest, ScopeDecidesWhichProductsRunIt) {
    using PostCaptureAction::inScope;
    using Scope = PostCaptureAction::Scope;
    EXPECT_TRUE(inScope(Scope::both, "image"));
    EXPECT_TRUE(inScope(Scope::both, "gif"));
    EXPECT_TRUE(inScope(Scope::images, "image"));
    EXPECT_FALSE(inScope(Scope::images, "video"));
    EXPECT_TRUE(inScope(Scope::recordings, "gif"));
    EXPECT_FALSE(inScope(Scope::recordings, "image"));

    Prefs::setValue("postActionScope", "recordings");
    useScript(QString("touch '%1/ran'").arg(home.path()));
    PostCaptureAction::run(capture, "image", context);
    PostCaptureAction::waitForAll();
    EXPECT_FALSE(QFile::exists(home.path() + "/ran"));
}

} // namespace
