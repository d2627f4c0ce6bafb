#include "platform/wayland/SwayTree.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

using platform::wayland::parseSwayTree;
using platform::wayland::pixelsOnOutput;
using platform::wayland::SwayWindow;

// A tree as sway sends it, written by hand: one output with a tiled split (a Wayland
// terminal, an XWayland browser with the focus), a floating calculator, a second workspace
// that is not shown, and a window in the scratchpad.
QByteArray recordedTree() {
    QFile file(QStringLiteral(SWAY_TREE_FILE));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << SWAY_TREE_FILE;
    return file.readAll();
}

TEST(SwayTreeTest, ViewsComeFrontToBackWithWhatTheTreeSaysOfThem) {
    const auto windows = parseSwayTree(recordedTree());
    ASSERT_TRUE(windows.ok()) << windows.error().message.toStdString();
    QList<uint32_t> ids;
    for (const SwayWindow& window : *windows)
        ids.append(window.id);
    // The floating window is above its workspace's tiled ones; the focused browser before the
    // terminal; the shown workspace before the hidden one.
    EXPECT_EQ(ids, (QList<uint32_t>{8, 7, 6, 10, 21}));

    const SwayWindow& browser = (*windows)[1];
    EXPECT_EQ(browser.appId, "firefox"); // an XWayland window's class stands for its app id
    EXPECT_EQ(browser.title, "Mozilla Firefox");
    EXPECT_EQ(browser.pid, 700);
    EXPECT_EQ(browser.output, "eDP-1");
    EXPECT_EQ(browser.workspace, "1");
    EXPECT_EQ(browser.rect, QRect(960, 0, 960, 1080));
    EXPECT_EQ(browser.outputRect, QRect(0, 0, 1920, 1080));
    EXPECT_TRUE(browser.visible);
    EXPECT_TRUE(browser.focused);
    EXPECT_FALSE(browser.floating);

    EXPECT_TRUE((*windows)[0].floating);
    EXPECT_EQ((*windows)[0].appId, "org.gnome.Calculator");
    EXPECT_FALSE((*windows)[3].visible); // on workspace 2
    EXPECT_FALSE((*windows)[4].visible); // in the scratchpad
    EXPECT_EQ((*windows)[4].output, "__i3");
}

TEST(SwayTreeTest, WhatIsNotATreeFailsWithASentence) {
    for (const QByteArray& bytes : {QByteArray(), QByteArray("{\"type\": \"root\""), QByteArray("[1, 2]"),
                                    QByteArray("{\"type\": \"output\", \"nodes\": []}")}) {
        const auto windows = parseSwayTree(bytes);
        ASSERT_FALSE(windows.ok()) << bytes.toStdString();
        EXPECT_FALSE(windows.error().message.isEmpty());
    }
}

TEST(SwayTreeTest, OddValuesAndDeepNestingGiveWindowsOrNone) {
    // Wrong types where numbers and lists belong, and a tree far deeper than any real one.
    const auto odd = parseSwayTree(R"({"type": "root", "focus": "x", "nodes": [
        {"type": "con", "id": "seven", "pid": -3, "app_id": 5, "rect": {"width": -10}, "nodes": []}, 3, null]})");
    ASSERT_TRUE(odd.ok());
    ASSERT_EQ(odd->size(), 1);
    EXPECT_EQ(odd->first().pid, 0);
    EXPECT_TRUE(odd->first().rect.isEmpty());

    QByteArray deep = R"({"type": "root", "nodes": [)";
    for (int i = 0; i < 500; ++i)
        deep += R"({"type": "con", "nodes": [)";
    deep += R"({"type": "con", "pid": 1, "nodes": []})";
    for (int i = 0; i < 500; ++i)
        deep += "]}";
    deep += "]}";
    const auto nested = parseSwayTree(deep);
    ASSERT_TRUE(nested.ok());
    EXPECT_TRUE(nested->isEmpty());
}

TEST(SwayTreeTest, AWindowsPixelsAreThoseOfItsOutputAtItsScale) {
    SwayWindow window;
    window.outputRect = QRect(640, 0, 640, 360); // 1280x720 pixels at scale 2, right of another
    window.rect = QRect(860, 105, 200, 150);
    EXPECT_EQ(pixelsOnOutput(window, QSize(1280, 720)), QRect(440, 210, 400, 300));
    // Reaching past the output's edge: the part on it.
    window.rect = QRect(1220, 300, 200, 150);
    EXPECT_EQ(pixelsOnOutput(window, QSize(1280, 720)), QRect(1160, 600, 120, 120));
    // At 1.5 the edges are rounded, not the size: a window between two others keeps its share.
    window.outputRect = QRect(0, 0, 1280, 720);
    window.rect = QRect(1, 1, 3, 3);
    EXPECT_EQ(pixelsOnOutput(window, QSize(1920, 1080)), QRect(2, 2, 4, 4));
    // Nothing of it on its output (the scratchpad's windows are listed with no place).
    window.rect = QRect(2000, 0, 100, 100);
    EXPECT_EQ(pixelsOnOutput(window, QSize(1920, 1080)), std::nullopt);
    window.outputRect = QRect();
    window.rect = QRect(0, 0, 100, 100);
    EXPECT_EQ(pixelsOnOutput(window, QSize(1920, 1080)), std::nullopt);
}

} // namespace
