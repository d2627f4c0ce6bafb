// Usage counts: gathered in memory, written after a pause, added to what other processes
// wrote meanwhile, and an unreadable file kept aside rather than overwritten.
#include "app/Usage.h"

#include "app/AppPaths.h"
#include "support/EventLoop.h"
#include "support/FakePlatform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

using UsageTest = testsupport::PlatformTest;

QString usageFile() {
    return AppPaths::dataDirectory() + "/usage.json";
}

QJsonObject fileCounts() {
    QFile file(usageFile());
    if (!file.open(QIODevice::ReadOnly)) return {};
    return QJsonDocument::fromJson(file.readAll()).object()["counts"].toObject();
}

void writeFile(const QByteArray& bytes) {
    QDir().mkpath(AppPaths::dataDirectory());
    QFile file(usageFile());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

TEST_F(UsageTest, CountsGatherInMemoryAndReachTheFileAfterAPause) {
    for (int i = 0; i < 3; ++i)
        Usage::count("capture.area");
    Usage::count("editor.copy");
    EXPECT_FALSE(QFileInfo::exists(usageFile())); // nothing written on each event
    const QMap<QString, qint64> expected{{"capture.area", 3}, {"editor.copy", 1}};
    EXPECT_EQ(Usage::counts(), expected);

    ASSERT_TRUE(testsupport::waitUntil([] { return QFileInfo::exists(usageFile()); }));
    EXPECT_EQ(fileCounts(), (QJsonObject{{"capture.area", 3}, {"editor.copy", 1}}));
    EXPECT_EQ(Usage::counts(), expected);
}

TEST_F(UsageTest, WritesAddToWhatOtherProcessesCountedMeanwhile) {
    Usage::count("capture.area");
    Usage::count("capture.area");
    // Another process wrote its counts after ours were made.
    writeFile(R"({"counts":{"capture.area":5,"capture.window":2}})");
    Usage::flush();
    EXPECT_EQ(fileCounts(), (QJsonObject{{"capture.area", 7}, {"capture.window", 2}}));
    Usage::flush(); // nothing left to add
    EXPECT_EQ(fileCounts()["capture.area"], 7);
}

TEST_F(UsageTest, AnUnreadableFileIsKeptAsideNotOverwritten) {
    writeFile("{\"counts\": {\"capture.area\": 12,"); // cut short
    Usage::count("editor.save");
    Usage::flush();
    QFile aside(usageFile() + ".bak");
    ASSERT_TRUE(aside.open(QIODevice::ReadOnly));
    EXPECT_EQ(aside.readAll(), "{\"counts\": {\"capture.area\": 12,");
    EXPECT_EQ(fileCounts(), (QJsonObject{{"editor.save", 1}}));
}

TEST_F(UsageTest, TheFileIsReplacedWholeNeverRewrittenInPlace) {
    writeFile(R"({"counts":{"capture.area":1}})");
    QFile before(usageFile());
    ASSERT_TRUE(before.open(QIODevice::ReadOnly)); // a reader that opened it earlier
    Usage::count("capture.area");
    Usage::flush();
    EXPECT_EQ(before.readAll(), R"({"counts":{"capture.area":1}})");
    EXPECT_EQ(fileCounts()["capture.area"], 2);
    EXPECT_EQ(QDir(AppPaths::dataDirectory()).entryList(QDir::Files), QStringList{"usage.json"});
}

} // namespace
