#include "platform/wayland/RestoreTokenFile.h"

#include "support/DamagedBytes.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using platform::wayland::RestoreTokenFile;

QStringList warnings;

void keepWarnings(QtMsgType type, const QMessageLogContext&, const QString& message) {
    if (type == QtWarningMsg) warnings.append(message);
}

class RestoreTokenFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir.isValid());
        warnings.clear();
        previous = qInstallMessageHandler(keepWarnings);
    }
    void TearDown() override { qInstallMessageHandler(previous); }

    void write(const QByteArray& bytes) {
        QFile file(path());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    QString path() const { return dir.filePath(QStringLiteral("data/ScreenCast.json")); }

    QTemporaryDir dir;
    QtMessageHandler previous = nullptr;
};

TEST_F(RestoreTokenFileTest, ATokenIsKeptForThisUserAndReplacedWhole) {
    const RestoreTokenFile tokens(path());
    EXPECT_EQ(tokens.load(), QString()); // none yet, and nothing to say about it
    EXPECT_TRUE(warnings.isEmpty());

    ASSERT_TRUE(tokens.save(QStringLiteral("6f2b1c1e-first")));
    EXPECT_EQ(RestoreTokenFile(path()).load(), "6f2b1c1e-first");
    EXPECT_EQ(QFile::permissions(path()) & (QFileDevice::ReadGroup | QFileDevice::ReadOther), 0);

    ASSERT_TRUE(tokens.save(QStringLiteral("second")));
    EXPECT_EQ(tokens.load(), "second");
    EXPECT_EQ(QDir(dir.filePath(QStringLiteral("data"))).entryList(QDir::Files),
              QStringList{"ScreenCast.json"});

    tokens.forget();
    EXPECT_FALSE(QFile::exists(path()));
    EXPECT_EQ(tokens.load(), QString());
    EXPECT_TRUE(warnings.isEmpty());
}

TEST_F(RestoreTokenFileTest, ADamagedFileIsIgnoredWithASentenceAndThenReplaced) {
    const RestoreTokenFile tokens(path());
    ASSERT_TRUE(tokens.save(QStringLiteral("a-token-of-some-length")));
    QFile saved(path());
    ASSERT_TRUE(saved.open(QIODevice::ReadOnly));
    QList<QByteArray> damaged = testsupport::damagedCopies(saved.readAll(), {0, 1, 10, 30}, 40, 2, 7);
    damaged << "[\"a-token\"]"
            << "{\"screenCastRestoreToken\": 42}" << QByteArray(100 * 1024, 'x');
    saved.close();
    for (const QByteArray& bytes : std::as_const(damaged)) {
        write(bytes);
        warnings.clear();
        const QString token = tokens.load();
        // A flipped byte may leave a readable token; otherwise none, said once.
        if (token.isEmpty()) {
            ASSERT_EQ(warnings.size(), 1) << bytes.toStdString();
            EXPECT_TRUE(warnings.front().contains(path())) << warnings.front().toStdString();
        } else {
            EXPECT_TRUE(warnings.isEmpty());
        }
    }
    ASSERT_TRUE(tokens.save(QStringLiteral("fresh")));
    EXPECT_EQ(tokens.load(), "fresh");
}

TEST_F(RestoreTokenFileTest, AFileThatCannotBeWrittenIsSaidAndLeavesNoToken) {
    // A plain file where the folder should be.
    QFile blocker(dir.filePath(QStringLiteral("data")));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    const RestoreTokenFile tokens(path());
    EXPECT_FALSE(tokens.save(QStringLiteral("lost")));
    EXPECT_EQ(warnings.size(), 1);
    EXPECT_EQ(tokens.load(), QString());
}

} // namespace
