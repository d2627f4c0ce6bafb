#include "app/URLCommands.h"
#include "capture/CaptureCoordinator.h"

#include "support/FakePlatform.h"

namespace {

using URLCommands::QueryItems;

QueryItems items(const char* url) {
    return URLCommands::queryItems(QUrl(QString::fromLatin1(url)));
}

TEST(URLCommandsReaders, FlagsRectanglesAndDisplays) {
    const QueryItems q = items("pictavia://x?copy&a=YES&b=1&c=true&d=no&e=2");
    EXPECT_TRUE(URLCommands::flag(q, "copy"));
    EXPECT_TRUE(URLCommands::flag(q, "a"));
    EXPECT_TRUE(URLCommands::flag(q, "b"));
    EXPECT_TRUE(URLCommands::flag(q, "c"));
    EXPECT_FALSE(URLCommands::flag(q, "d"));
    EXPECT_FALSE(URLCommands::flag(q, "e"));
    EXPECT_FALSE(URLCommands::flag(q, "absent"));

    EXPECT_EQ(URLCommands::rect(items("pictavia://c?x=1.5&y=-2&width=100&height=50")),
              QRectF(1.5, -2, 100, 50));
    EXPECT_FALSE(URLCommands::rect(items("pictavia://c?x=0&y=0&width=100")));
    EXPECT_FALSE(URLCommands::rect(items("pictavia://c?x=0&y=0&width=100&height=tall")));
    EXPECT_FALSE(URLCommands::rect(items("pictavia://c?x=0&y=0&width=100&height=inf")));

    EXPECT_EQ(URLCommands::displayID(items("pictavia://c?display=4294967295")), 4294967295u);
    EXPECT_FALSE(URLCommands::displayID(items("pictavia://c?display=4294967296")));
    EXPECT_FALSE(URLCommands::displayID(items("pictavia://c?display=-1")));
    EXPECT_FALSE(URLCommands::displayID(items("pictavia://c")));

    EXPECT_EQ(URLCommands::command(QUrl("PICTAVIA://CAPTURE-AREA")), "capture-area");
    EXPECT_EQ(URLCommands::command(QUrl("pictavia:capture-window")), "capture-window");
    EXPECT_EQ(URLCommands::command(QUrl("pictavia:///fullscreen?x=1")), "fullscreen");
}

class URLCommandsTest : public testsupport::PlatformTest {};

TEST_F(URLCommandsTest, CommandsReachTheirDestinationsAndUnknownOnesAreReported) {
    EXPECT_FALSE(URLCommands::handle(QUrl("https://example.org/capture-area")));
    EXPECT_TRUE(URLCommands::handle(QUrl("pictavia://UNKNOWN")));
    EXPECT_EQ(toasts->shown.last(), "Unknown pictavia:// command \"unknown\"");

    EXPECT_TRUE(URLCommands::handle(QUrl("pictavia://open")));
    EXPECT_EQ(toasts->shown.last(), "No file to open");
    EXPECT_TRUE(URLCommands::handle(QUrl("pictavia://open-file?path=/no/such/file.png")));
    EXPECT_EQ(toasts->shown.last(), "Pictavia cannot open that file");

    QStringList reached;
    URLCommands::setDestinations({[&] { reached << "clipboard"; }, [&](const QString& p) { reached << p; },
                                  [&] { reached << "history"; }, [&] { reached << "settings"; },
                                  [](const QString& p) { return p.endsWith(".png"); }});
    const QString file = home.path() + "/shot.png";
    QImage(4, 4, QImage::Format_RGB32).save(file);
    for (const QString& url : {QString("pictavia://clipboard"), "pictavia://open?path=" + file,
                               QString("pictavia://history"), QString("pictavia://preferences")})
        EXPECT_TRUE(URLCommands::handle(QUrl(url)));
    EXPECT_EQ(reached, (QStringList{"clipboard", file, "history", "settings"}));
    // A file the editor cannot take is refused before it is tried.
    const QString notes = home.path() + "/notes.txt";
    QFile(notes).open(QIODevice::WriteOnly);
    EXPECT_EQ(URLCommands::problem(QUrl("pictavia://open?path=" + notes)), "Pictavia cannot open that file");
    EXPECT_TRUE(URLCommands::handle(QUrl("pictavia://open?path=" + notes)));
    EXPECT_EQ(reached.size(), 4);
    URLCommands::setDestinations({});
}

TEST_F(URLCommandsTest, URLsThatCannotBeCarriedOutSayWhyAndDoNothing) {
    screen->displayList = {{1, "DP-1", QRect(0, 0, 1600, 1200), 2.0, true, 0}};
    const auto problem = [](const char* url) { return URLCommands::problem(QUrl(QString::fromLatin1(url))); };
    EXPECT_EQ(problem("pictavia://nonsense"), "Unknown pictavia:// command \"nonsense\"");
    EXPECT_EQ(problem("pictavia://capture-area?x=0&y=0&width=-5&height=10"),
              "The area's size is invalid: its width and height must be greater than 0");
    EXPECT_EQ(problem("pictavia://capture-area?x=700&y=0&width=200&height=10"),
              "That area reaches past the edge of the display, which is 800×600 points");
    EXPECT_EQ(problem("pictavia://capture-area?x=900&y=0&width=20&height=10"), "That area is off screen");
    EXPECT_EQ(problem("pictavia://open"), "No file to open");
    EXPECT_FALSE(problem("pictavia://capture-area?x=0&y=0&width=800&height=600&copy"));
    EXPECT_FALSE(problem("pictavia://capture-area?x=0&y=0&width=100")); // the overlay, then
    EXPECT_FALSE(problem("https://example.org/nonsense"));
    for (const char* url : {"pictavia://stop-recording", "pictavia://STOP", "pictavia://pause",
                            "pictavia://resume-recording", "pictavia://cancel-recording"})
        EXPECT_EQ(problem(url), "No recording is running") << url;
    EXPECT_FALSE(problem("pictavia://record?mode=window&gif=YES"));

    EXPECT_TRUE(URLCommands::handle(QUrl("pictavia://capture-area?x=0&y=0&width=-5&height=10")));
    EXPECT_EQ(toasts->shown.last(),
              "The area's size is invalid: its width and height must be greater than 0");
    EXPECT_TRUE(screen->grabbedAreas.isEmpty());
}

} // namespace
