// Captures and history changes from the app, from URLs and from the command line, in any
// order, with the app killed in the middle: every capture and keep flag ends in the
// index, and starts at the same moment elect one app that takes every command.

#include "AppSession.h"
#include "TestWindow.h"
#include "WaitUntil.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <gtest/gtest.h>

#include <csignal>

namespace {

using namespace testsupport;

class OneHistoryWriterTest : public ::testing::Test {
protected:
    void SetUp() override { server = XServer::start({.width = 1024, .height = 768, .windowManager = true}); }

    void startApp(const std::string& preferences = {}) {
        app = std::make_unique<AppSession>(*server, "showQuickAccess = false\ncopyToClipboard = false\n" +
                                                        preferences);
    }

    std::string dataDir() const { return app->home().path().toStdString() + "/data/Pictavia"; }

    // The records of index.json by name.
    QHash<QString, QJsonObject> indexRecords() const {
        QFile file(QString::fromStdString(dataDir()) + "/index.json");
        QHash<QString, QJsonObject> records;
        if (!file.open(QIODevice::ReadOnly)) return records;
        for (const auto& value : QJsonDocument::fromJson(file.readAll())["records"].toArray())
            records.insert(value.toObject()["name"].toString(), value.toObject());
        return records;
    }

    QString captureFromCommandLine() {
        const ProcessOutput out = app->send({"capture", "fullscreen"});
        EXPECT_EQ(out.exitCode, 0) << out.err;
        return QFileInfo(QString::fromStdString(out.out).trimmed()).fileName();
    }

    std::unique_ptr<XServer> server;
    std::unique_ptr<AppSession> app;
};

TEST_F(OneHistoryWriterTest, ACommandLineCaptureWhileTheAppRunsIsSearchableAtOnce) {
    startApp();
    openTestWindow(
        *server,
        {.pattern = "#ffffff", .size = QSize(420, 140), .position = QPoint(200, 200), .text = "Marmalade"});
    const QString name = captureFromCommandLine();
    ASSERT_FALSE(name.isEmpty());
    // The running app made it, so it recognises it now rather than at its next start.
    ProcessOutput found;
    EXPECT_TRUE(waitUntil(
        [&] {
            found = app->send({"history", "search", "marmalade"});
            return found.out.find(name.toStdString()) != std::string::npos;
        },
        std::chrono::seconds(30)))
        << found.out << found.err << app->log();
    // Command-line output and exit codes come back through the app.
    const ProcessOutput unknown = app->send({"history", "keep", "no such capture.png"});
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_NE(unknown.err.find("There is no capture named no such capture.png in the history."),
              std::string::npos)
        << unknown.err;
}

TEST_F(OneHistoryWriterTest, AKeepFlagSetWhileTheAppRunsSurvivesItsSavesAndThePruning) {
    startApp("historyLimit = 2\n");
    const QString kept = captureFromCommandLine();
    const ProcessOutput keep = app->send({"history", "keep", kept.toStdString()});
    ASSERT_EQ(keep.exitCode, 0) << keep.err;
    for (int i = 0; i < 4; ++i)
        captureFromCommandLine();
    EXPECT_TRUE(app->captures().contains(kept)) << app->captures().join(", ").toStdString();
    ASSERT_TRUE(app->quit());
    EXPECT_TRUE(indexRecords().value(kept)["keep"].toBool());
    EXPECT_EQ(app->captures().size(), 3); // the limit, and the kept one beside it
}

TEST_F(OneHistoryWriterTest, EveryCaptureEndsInTheIndexWhateverTheOrderAndAKillInTheMiddle) {
    startApp();
    QSet<QString> made;
    made << captureFromCommandLine();
    ASSERT_EQ(app->send({"pictavia://capture-fullscreen"}).exitCode, 0);
    made << captureFromCommandLine();
    ASSERT_EQ(app->send({"pictavia://capture-fullscreen"}).exitCode, 0);
    // Killed before its delayed save of the index could run.
    app->kill();
    // With no app running, the command line records its captures and changes itself.
    made << captureFromCommandLine();
    const QString keptWhileStopped = captureFromCommandLine();
    made << keptWhileStopped;
    ASSERT_EQ(app->send({"history", "keep", keptWhileStopped.toStdString()}).exitCode, 0);
    for (const QString& name : app->captures())
        made << name; // the two URL captures, named by the app
    ASSERT_EQ(made.size(), 6) << app->captures().join(", ").toStdString();

    app->restart();
    made << captureFromCommandLine();
    ASSERT_TRUE(app->quit()) << app->log();
    const auto records = indexRecords();
    for (const QString& name : std::as_const(made))
        EXPECT_TRUE(records.contains(name)) << name.toStdString();
    EXPECT_TRUE(records.value(keptWhileStopped)["keep"].toBool());
    EXPECT_EQ(records.size(), made.size());
}

TEST_F(OneHistoryWriterTest, StartsAtTheSameMomentElectOneAppThatTakesEveryCommand) {
    QTemporaryDir home;
    const std::string dir = home.path().toStdString();
    QDir().mkpath(home.path() + "/config/pictavia");
    QDir().mkpath(home.path() + "/runtime");
    QFile::setPermissions(home.path() + "/runtime", QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QFile conf(home.path() + "/config/pictavia/pictavia.conf");
    ASSERT_TRUE(conf.open(QIODevice::WriteOnly));
    conf.write("captureSound = false\nshowQuickAccess = false\ncopyToClipboard = false\n");
    conf.close();
    const Environment environment{{"XDG_CONFIG_HOME", dir + "/config"},
                                  {"XDG_DATA_HOME", dir + "/data"},
                                  {"XDG_RUNTIME_DIR", dir + "/runtime"},
                                  {"HOME", dir}};
    std::vector<ChildProcess*> starts;
    for (int i = 0; i < 3; ++i)
        starts.push_back(&server->startProcess(PICTAVIA_BIN, {"pictavia://capture-fullscreen"}, environment));
    const QString history = home.path() + "/data/Pictavia/History";
    EXPECT_TRUE(
        waitUntil([&] { return QDir(history).entryList(QDir::Files).size() == 3; }, std::chrono::seconds(20)))
        << QDir(history).entryList(QDir::Files).join(", ").toStdString();
    // Two handed their capture to the third, which stays as the app.
    EXPECT_TRUE(waitUntil([&] {
        return std::count_if(starts.begin(), starts.end(), [](ChildProcess* p) { return p->isRunning(); }) ==
               1;
    }));
    int succeeded = 0;
    for (ChildProcess* start : starts)
        if (!start->isRunning() && start->stop() == 0) ++succeeded;
    EXPECT_EQ(succeeded, 2);
}

} // namespace
