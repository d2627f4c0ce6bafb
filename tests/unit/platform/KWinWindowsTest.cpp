#include "platform/wayland/KWinWindows.h"

#include <gtest/gtest.h>

namespace {

using platform::wayland::KWinWindow;
using platform::wayland::parseKWinWindows;

// An answer as the window script sends it, written by hand: a terminal below a browser, a
// minimised mail client, an editor on another desktop, and a window half a unit off the grid
// (KWin places windows in fractions of a unit at fractional scales).
const QByteArray answer = R"({"windows": [
  {"id": "{0000002a-aaaa-4bbb-8ccc-000000000001}", "pid": 300, "title": "Terminal", "app": "konsole",
   "x": 0, "y": 0, "width": 800, "height": 600, "onCurrentDesktop": true, "minimized": false,
   "stacking": 1, "active": false},
  {"id": "{0000002b-aaaa-4bbb-8ccc-000000000002}", "pid": 700, "title": "Mozilla Firefox", "app": "firefox",
   "x": 400, "y": 100, "width": 1000, "height": 700, "onCurrentDesktop": true, "minimized": false,
   "stacking": 4, "active": true},
  {"id": "{0000002c-aaaa-4bbb-8ccc-000000000003}", "pid": 900, "title": "Inbox", "app": "thunderbird",
   "x": 10, "y": 10, "width": 300, "height": 200, "onCurrentDesktop": true, "minimized": true,
   "stacking": 2, "active": false},
  {"id": "{0000002d-aaaa-4bbb-8ccc-000000000004}", "pid": 1000, "title": "notes.txt", "app": "kate",
   "x": 20.5, "y": 30.25, "width": 100.5, "height": 50.5, "onCurrentDesktop": false, "minimized": false,
   "stacking": 3, "active": false}
]})";

TEST(KWinWindowsTest, WindowsComeFrontToBackWithStableIdsAndTheirPlaces) {
    const auto windows = parseKWinWindows(answer);
    ASSERT_TRUE(windows.ok()) << windows.error().message.toStdString();
    QList<uint32_t> ids;
    for (const KWinWindow& window : *windows)
        ids.append(window.id);
    // KWin numbers its stack from the bottom; ids are the first 32 bits of its own.
    EXPECT_EQ(ids, (QList<uint32_t>{0x2b, 0x2d, 0x2c, 0x2a}));

    const KWinWindow& browser = (*windows)[0];
    EXPECT_EQ(browser.internalId, "{0000002b-aaaa-4bbb-8ccc-000000000002}");
    EXPECT_EQ(browser.title, "Mozilla Firefox");
    EXPECT_EQ(browser.appId, "firefox");
    EXPECT_EQ(browser.pid, 700);
    EXPECT_EQ(browser.rect, QRect(400, 100, 1000, 700));
    EXPECT_TRUE(browser.visible);
    EXPECT_TRUE(browser.focused);

    EXPECT_FALSE((*windows)[1].visible); // on another desktop
    EXPECT_FALSE((*windows)[2].visible); // minimised
    EXPECT_TRUE((*windows)[3].visible);
    EXPECT_FALSE((*windows)[3].focused);
    // Edges rounded: 20.5..121 and 30.25..80.75.
    EXPECT_EQ((*windows)[1].rect, QRect(QPoint(21, 30), QPoint(120, 80)));
}

TEST(KWinWindowsTest, AnAnswerThatIsNotTheListFailsWithASentenceAndOddEntriesAreLeftOut) {
    for (const QByteArray& bytes :
         {QByteArray(), QByteArray("[]"), QByteArray("{\"windows\": 3}"), QByteArray("{\"windows\": [")}) {
        const auto windows = parseKWinWindows(bytes);
        ASSERT_FALSE(windows.ok()) << bytes.toStdString();
        EXPECT_FALSE(windows.error().message.isEmpty());
    }
    // Without an id of KWin's no window can be found again: it is not listed.
    const auto windows =
        parseKWinWindows(R"({"windows": [{"title": "no id"}, 7, {"id": "{not-a-uuid}", "title": "x"}]})");
    ASSERT_TRUE(windows.ok());
    EXPECT_TRUE(windows->isEmpty());
}

} // namespace
