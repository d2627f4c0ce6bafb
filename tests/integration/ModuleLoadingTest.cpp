// The heavy libraries of the command line load only for the commands that need them: a
// capture runs without text recognition, --help without any library, `pictavia text` loads
// the recogniser and reads, and a program without its modules says what is missing
// instead of failing some other way.

#include "TextImage.h"
#include "XServer.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFont>
#include <QImage>
#include <QPainter>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

using namespace testsupport;

// Every module, and a library each of them links.
const char* const heavyFiles[] = {"pictavia-ocr.so",      "libtesseract.so",   "pictavia-vision.so",
                                  "libopencv_imgproc.so", "pictavia-media.so", "libavcodec.so",
                                  "pictavia-document.so", "libpoppler.so",     "pictavia-archive.so",
                                  "libarchive.so"};

class ModuleLoadingTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(home.isValid());
        QDir().mkpath(home.filePath(QStringLiteral("config/pictavia")));
        QFile preferences(home.filePath(QStringLiteral("config/pictavia/pictavia.conf")));
        ASSERT_TRUE(preferences.open(QIODevice::WriteOnly));
        preferences.write("copyToClipboard = false\ncaptureSound = false\n");
    }

    // The environment of a run whose dynamic linker logs each shared object it opens.
    Environment loggingEnvironment() const {
        const std::string dir = home.path().toStdString();
        return {{"XDG_CONFIG_HOME", dir + "/config"},
                {"XDG_DATA_HOME", dir + "/data"},
                {"HOME", dir},
                {"LD_DEBUG", "files"},
                {"LD_DEBUG_OUTPUT", dir + "/ld"}};
    }

    // What the runs so far logged (one ld.PID file per process), then forgets it.
    QByteArray takeLoaderLog() {
        QByteArray log;
        QDir dir(home.path());
        for (const QString& name : dir.entryList({QStringLiteral("ld.*")}, QDir::Files)) {
            QFile file(dir.filePath(name));
            if (file.open(QIODevice::ReadOnly)) log += file.readAll();
            file.remove();
        }
        return log;
    }

    // A PNG of two lines of text.
    std::string textImage() const {
        return saveTextImage(home.path(),
                             {QStringLiteral("Quarterly report"), QStringLiteral("Shipping address")},
                             QStringLiteral("text.png"));
    }

    static ProcessOutput run(const std::string& program, const std::vector<std::string>& args,
                             const Environment& environment) {
        return runToEnd(program, args, environment);
    }

    QTemporaryDir home;
};

TEST_F(ModuleLoadingTest, CaptureAndHelpLoadNoHeavyLibrary) {
    auto server = XServer::start({.width = 640, .height = 480, .windowManager = false});
    const ProcessOutput capture =
        server->run(PICTAVIA_BIN, {"capture", "fullscreen"}, {.environment = loggingEnvironment()});
    ASSERT_EQ(capture.exitCode, 0) << capture.err;

    const QByteArray log = takeLoaderLog();
    ASSERT_TRUE(log.contains("libQt6Core.so")) << "the dynamic linker logged nothing";
    for (const char* file : heavyFiles)
        EXPECT_FALSE(log.contains(file)) << file << " was loaded";

    // --help is the launcher's alone.
    const ProcessOutput help = run(PICTAVIA_BIN, {"--help"}, loggingEnvironment());
    ASSERT_EQ(help.exitCode, 0) << help.err;
    EXPECT_NE(help.out.find("Usage: pictavia"), std::string::npos);
    EXPECT_FALSE(takeLoaderLog().contains("libQt6Core.so"));
}

TEST_F(ModuleLoadingTest, TextLoadsTheRecogniserAndReads) {
    const ProcessOutput text = run(PICTAVIA_BIN, {"text", textImage()}, loggingEnvironment());
    ASSERT_EQ(text.exitCode, 0) << text.err;
    EXPECT_EQ(text.out, "Quarterly report\nShipping address\n");

    const QByteArray log = takeLoaderLog();
    EXPECT_TRUE(log.contains("pictavia-ocr.so"));
    EXPECT_TRUE(log.contains("libtesseract.so"));
    EXPECT_FALSE(log.contains("pictavia-media.so"));
}

TEST_F(ModuleLoadingTest, MissingModulesAreSentences) {
    // The program in a folder of its own: first alone, then with the application but
    // without the other modules, which are neither beside it nor in ../lib/pictavia.
    QTemporaryDir alone;
    ASSERT_TRUE(alone.isValid());
    const QString bin = QDir(alone.path()).filePath(QStringLiteral("bin"));
    ASSERT_TRUE(QDir().mkpath(bin));
    const QString program = bin + QStringLiteral("/pictavia");
    ASSERT_TRUE(QFile::copy(QStringLiteral(PICTAVIA_BIN), program));
    const std::string installed = alone.path().toStdString() + "/lib/pictavia";

    const ProcessOutput noApp = run(program.toStdString(), {"text", textImage()}, loggingEnvironment());
    EXPECT_EQ(noApp.exitCode, 1);
    EXPECT_NE(noApp.err.find("Pictavia cannot start: pictavia-app.so is neither in"), std::string::npos)
        << noApp.err;
    EXPECT_NE(noApp.err.find(installed), std::string::npos) << noApp.err;

    const QString app =
        QFileInfo(QStringLiteral(PICTAVIA_BIN)).dir().filePath(QStringLiteral("pictavia-app.so"));
    ASSERT_TRUE(QFile::copy(app, bin + QStringLiteral("/pictavia-app.so")));
    const ProcessOutput noOcr = run(program.toStdString(), {"text", textImage()}, loggingEnvironment());
    EXPECT_EQ(noOcr.exitCode, 1);
    EXPECT_NE(noOcr.err.find("Text recognition is not available: pictavia-ocr.so is neither in"),
              std::string::npos)
        << noOcr.err;
    EXPECT_NE(noOcr.err.find(installed), std::string::npos) << noOcr.err;
    takeLoaderLog();
}

} // namespace
