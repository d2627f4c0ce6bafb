// The pictavia command line against a real X server: captures land as named files with
// the right pixels, and every failure is a sentence and a non-zero exit.

#include "PatternMatching.h"
#include "TestWindow.h"
#include "XServer.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtEndian>
#include <gtest/gtest.h>

namespace {

using namespace testsupport;

class CommandLineTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(home.isValid());
        server = XServer::start({.width = 1024, .height = 768, .windowManager = true});
        writePreferences("copyToClipboard = false\ncaptureSound = false\n");
    }

    void writePreferences(const QByteArray& text) {
        QDir().mkpath(home.path() + "/config/pictavia");
        QFile file(home.path() + "/config/pictavia/pictavia.conf");
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("; written by the test\n" + text);
    }

    ProcessOutput pictavia(const std::vector<std::string>& args) {
        const std::string dir = home.path().toStdString();
        return server->run(PICTAVIA_BIN, args,
                           {.environment = {{"XDG_CONFIG_HOME", dir + "/config"},
                                            {"XDG_DATA_HOME", dir + "/data"},
                                            // no instance there: the commands run on their own
                                            {"XDG_RUNTIME_DIR", dir},
                                            {"HOME", dir}}});
    }

    // Runs a capture that must succeed, and loads the file whose path it printed.
    QImage captured(const std::vector<std::string>& args, QString* path = nullptr) {
        const ProcessOutput out = pictavia(args);
        EXPECT_EQ(out.exitCode, 0) << out.err;
        const QString file = QString::fromStdString(out.out).trimmed();
        EXPECT_TRUE(QFileInfo(file).isFile()) << out.out;
        if (path) *path = file;
        return QImage(file);
    }

    QTemporaryDir home;
    std::unique_ptr<XServer> server;
};

TEST_F(CommandLineTest, WindowByNumberAndByApplication) {
    writePreferences("copyToClipboard = false\ncaptureSound = false\nwindowShadow = false\n"
                     "filenameTemplate = {app} - {window}\n");
    const TestWindow window = openTestWindow(
        *server, {.title = "Quarterly: report", .pattern = "quadrants", .windowClass = "Ledger"});
    const QRect client = clientRect(*server, window.id);

    QString path;
    const QImage byId = captured({"capture", "window", "--id", std::to_string(window.id)}, &path);
    EXPECT_EQ(QFileInfo(path).fileName(), "Ledger - Quarterly- report.png");
    EXPECT_EQ(QFileInfo(path).absolutePath(), home.path() + "/data/Pictavia/History");
    // The image is the whole frame, decorations included, as the window list gives it.
    const ProcessOutput listing = pictavia({"windows", "--json"});
    QRect frame;
    for (const auto& w : QJsonDocument::fromJson(QByteArray::fromStdString(listing.out)).array())
        if (w.toObject()["id"].toInteger() == window.id) {
            const QJsonObject f = w.toObject()["frame"].toObject();
            frame = QRect(f["x"].toInt(), f["y"].toInt(), f["width"].toInt(), f["height"].toInt());
            EXPECT_EQ(w.toObject()["app"].toString(), "Ledger");
        }
    ASSERT_EQ(byId.size(), frame.size()) << listing.out;
    EXPECT_EQ(patternMismatches(byId, within(client, frame), "quadrants", 2), 0);

    const QImage byApp = captured({"capture", "window", "--app", "ledger"});
    EXPECT_EQ(byApp.size(), byId.size());

    writePreferences("copyToClipboard = false\ncaptureSound = false\n"); // the shadow is on by default
    const QImage shadowed = captured({"capture", "window", "--id", std::to_string(window.id)});
    EXPECT_EQ(shadowed.size(), byId.size() + QSize(96, 96));
    EXPECT_TRUE(shadowed.hasAlphaChannel());
}

TEST_F(CommandLineTest, AreaAndFullScreen) {
    const TestWindow window = openTestWindow(*server, {.title = "Area", .pattern = "quadrants"});
    const QRect client = clientRect(*server, window.id);
    const std::string rect = std::to_string(client.x()) + "," + std::to_string(client.y()) + "," +
                             std::to_string(client.width()) + "," + std::to_string(client.height());
    const QImage area = captured({"capture", "area", "--rect", rect});
    ASSERT_EQ(area.size(), client.size());
    EXPECT_EQ(patternMismatches(area, area.rect(), "quadrants", 2), 0);

    EXPECT_EQ(captured({"capture", "fullscreen"}).size(), QSize(1024, 768));
}

TEST_F(CommandLineTest, TwoMonitorsAndDoubleScale) {
    ASSERT_EQ(server->run("xrandr", {"--setmonitor", "left", "512/135x768/203+0+0", "none"}).exitCode, 0);
    ASSERT_EQ(server->run("xrandr", {"--setmonitor", "right", "512/135x768/203+512+0", "none"}).exitCode, 0);
    ASSERT_EQ(server->run("xrdb", {"-merge"}, {.input = "Xft.dpi: 192\n"}).exitCode, 0);

    const ProcessOutput listing = pictavia({"displays", "--json"});
    ASSERT_EQ(listing.exitCode, 0) << listing.err;
    QJsonArray displays;
    for (const auto& d : QJsonDocument::fromJson(QByteArray::fromStdString(listing.out)).array())
        if (d.toObject()["name"].toString() == "right") displays.append(d);
    ASSERT_EQ(displays.size(), 1) << listing.out;
    const QJsonObject right = displays[0].toObject();
    EXPECT_EQ(right["scale"].toDouble(), 2.0);
    const std::string id = std::to_string(right["id"].toInteger());

    writePreferences("copyToClipboard = false\ncaptureSound = false\nretinaSuffix = true\n");
    EXPECT_EQ(captured({"capture", "fullscreen", "--display", id}).size(), QSize(512, 768));
    QString path;
    // 50 points at 2x are 100 pixels.
    EXPECT_EQ(captured({"capture", "area", "--rect", "10,10,50,25", "--display", id}, &path).size(),
              QSize(100, 50));
    EXPECT_TRUE(path.endsWith("@2x.png")) << path.toStdString();
}

TEST_F(CommandLineTest, FailuresExplainThemselves) {
    const auto expectFailure = [&](const std::vector<std::string>& args, const std::string& sentence) {
        const ProcessOutput out = pictavia(args);
        EXPECT_NE(out.exitCode, 0) << sentence;
        EXPECT_NE(out.err.find(sentence), std::string::npos) << out.err;
        EXPECT_TRUE(out.out.empty()) << out.out;
    };
    expectFailure({"capture", "window", "--id", "12345"}, "Window not found");
    expectFailure({"capture", "window", "--app", "nothing-like-it"}, "No window of an application named");
    expectFailure({"capture", "fullscreen", "--display", "4242"}, "Display not found");
    expectFailure({"capture", "area", "--rect", "5000,5000,10,10"}, "That area is off screen");
    expectFailure({"capture", "area", "--rect", "1000,700,100,100"},
                  "That area reaches past the edge of the display, which is 1024×768 points");
    expectFailure({"capture", "area", "--rect", "1,2,3"}, "--rect needs four numbers");
    expectFailure({"capture", "area"}, "needs --rect");
    expectFailure({"capture", "window"}, "needs either --id N or --app NAME");
    expectFailure({"capture", "photo"}, "unknown capture kind");
    EXPECT_FALSE(QDir(home.path() + "/data/Pictavia/History").exists());

    for (const std::string kind : {"fullscreen", "area", "window"}) {
        const ProcessOutput help = pictavia({"capture", kind, "--help"});
        EXPECT_EQ(help.exitCode, 0);
        EXPECT_NE(help.out.find("Usage: pictavia capture " + kind), std::string::npos) << help.out;
    }

    QProcess noDisplay;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove("DISPLAY");
    env.insert("XDG_DATA_HOME", home.path() + "/data");
    noDisplay.setProcessEnvironment(env);
    noDisplay.start(PICTAVIA_BIN, {"capture", "fullscreen"});
    ASSERT_TRUE(noDisplay.waitForFinished(30000));
    EXPECT_EQ(noDisplay.exitCode(), 1);
    EXPECT_TRUE(noDisplay.readAllStandardError().contains("DISPLAY is not set"));
}

// Mistakes a new user makes: each ends with one sentence and a non-zero exit, starts no
// Pictavia, and leaves no capture behind.
TEST_F(CommandLineTest, WrongFilesURLsAndNamesExitNonZeroWithOneSentence) {
    const auto write = [&](const QString& name, const QByteArray& bytes) {
        QFile file(home.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return file.fileName().toStdString();
    };
    const auto expectFailure = [&](const std::vector<std::string>& args, const std::string& sentence) {
        const ProcessOutput out = pictavia(args);
        EXPECT_EQ(out.exitCode, 1) << sentence;
        EXPECT_EQ(out.err, "pictavia: " + sentence + "\n");
        EXPECT_TRUE(out.out.empty()) << out.out;
    };
    expectFailure({"edit", write("notimg.txt", "just words")},
                  "notimg.txt is neither an image nor a Pictavia project");
    expectFailure({"edit", write("damaged.pictavia", QByteArray("bplist00") + QByteArray(64, '\x7f'))},
                  "damaged.pictavia is a damaged Pictavia project and cannot be opened");
    // A movie is read before the video editor is asked to open it.
    expectFailure({"edit", write("words.mov", "just words")},
                  "“words.mov” is not a video Pictavia can read.");
    expectFailure(
        {"edit", write("broken.mp4", QByteArray::fromHex("00000018") + "ftypisom" + QByteArray(64, '\x7f'))},
        "“broken.mp4” is not a video Pictavia can read.");
    expectFailure({"pictavia://take-a-selfie"}, "Unknown pictavia:// command \"take-a-selfie\"");
    expectFailure({"pictavia://capture-area?x=0&y=0&width=-5&height=10"},
                  "The area's size is invalid: its width and height must be greater than 0");
    // One wording for one mistake, whichever action meets it.
    for (const std::string action : {"keep", "unkeep", "delete"})
        expectFailure({"history", action, "nothing.png"},
                      "There is no capture named nothing.png in the history.");
    EXPECT_FALSE(QFileInfo::exists(home.path() + "/pictavia/instance")); // no Pictavia was started
    EXPECT_TRUE(QDir(home.path() + "/data/Pictavia/History").isEmpty());
}

// A picture whose text chunk fails its checksum makes libpng warn; the user hears nothing
// of it, and the command does its work.
TEST_F(CommandLineTest, LibraryWarningsStayOffStderr) {
    QImage picture(32, 24, QImage::Format_RGB32);
    picture.fill(Qt::darkBlue);
    picture.setText("Comment", "made by the test");
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    ASSERT_TRUE(picture.save(&buffer, "PNG"));
    const qsizetype text = png.indexOf("tEXt");
    ASSERT_GT(text, 4);
    const qsizetype length = qFromBigEndian<quint32>(png.constData() + text - 4);
    png[text + 4 + length] = char(png[text + 4 + length] ^ 0x5a); // the chunk's checksum
    const QString path = home.filePath("checksum.png");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(png);
    file.close();

    const ProcessOutput scanned = pictavia({"scan", path.toStdString()});
    EXPECT_EQ(scanned.exitCode, 0) << scanned.err;
    EXPECT_EQ(scanned.err, "");
    const ProcessOutput styled = pictavia(
        {"history", "export", "--styled", home.filePath("styled").toStdString(), path.toStdString()});
    EXPECT_EQ(styled.exitCode, 0) << styled.err;
    EXPECT_EQ(styled.err, "");
}

TEST_F(CommandLineTest, CopyOnlyLeavesTheHistoryAlone) {
    const ProcessOutput copied = pictavia({"capture", "area", "--rect", "0,0,64,48", "--copy"});
    EXPECT_EQ(copied.exitCode, 0) << copied.err;
    EXPECT_TRUE(copied.out.empty()) << copied.out;
    const QDir history(home.path() + "/data/Pictavia/History");
    EXPECT_TRUE(history.isEmpty()) << history.entryList().join(", ").toStdString();
    EXPECT_FALSE(QFileInfo::exists(home.path() + "/data/Pictavia/index.json.journal"));
}

// The default preset puts the capture on its opaque background, and each written file's
// path is printed.
TEST_F(CommandLineTest, StyledExportDrawsTheDefaultBackground) {
    QString capture;
    const QImage original = captured({"capture", "area", "--rect", "0,0,120,80"}, &capture);
    const std::string folder = home.path().toStdString() + "/styled";
    const ProcessOutput exported =
        pictavia({"history", "export", "--styled", folder, QFileInfo(capture).fileName().toStdString()});
    ASSERT_EQ(exported.exitCode, 0) << exported.err;
    const QString written = QString::fromStdString(exported.out).trimmed();
    EXPECT_EQ(written,
              QString::fromStdString(folder) + "/" + QFileInfo(capture).completeBaseName() + " styled.png");
    const QImage styled = QImage(written).convertToFormat(QImage::Format_ARGB32);
    ASSERT_EQ(styled.size(), original.size() + QSize(128, 128)); // 64 points of padding around it
    for (const QPoint corner : {QPoint(0, 0), QPoint(styled.width() - 1, 0), QPoint(0, styled.height() - 1),
                                QPoint(styled.width() - 1, styled.height() - 1)})
        EXPECT_EQ(qAlpha(styled.pixel(corner)), 255) << corner.x() << "," << corner.y();
    // A background, not a flat fill: the glass style's colours differ across it.
    EXPECT_NE(styled.pixel(0, 0), styled.pixel(styled.width() - 1, styled.height() - 1));
}

TEST_F(CommandLineTest, PostCaptureScriptSeesTheCapture) {
    const QString out = home.path() + "/script.txt";
    writePreferences(
        "copyToClipboard = false\ncaptureSound = false\npostAction = script\n"
        "postActionScript = printf '%s\\n' \"$PICTAVIA_KIND\" \"$PICTAVIA_APP\" \"$PICTAVIA_WINDOW\" "
        "\"$PICTAVIA_FILE\" > '" +
        out.toUtf8() + "'\n");
    const TestWindow window = openTestWindow(*server, {.title = "Scripted", .windowClass = "Scribe"});
    QString path;
    captured({"capture", "window", "--id", std::to_string(window.id)}, &path);
    QFile file(out);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly)); // the command waited for the script
    EXPECT_EQ(QString::fromUtf8(file.readAll()), "image\nScribe\nScripted\n" + path + "\n");
}

} // namespace
