// What the keystroke panel says and where it goes.

#include "support/EventLoop.h"
#include "support/FakeInputMonitor.h"

#include "recording/KeystrokeOverlay.h"

#include <gtest/gtest.h>

namespace {

platform::KeyPress key(Qt::Key which, Qt::KeyboardModifiers modifiers = {}, bool isModifier = false) {
    platform::KeyPress press;
    press.key = which;
    press.modifiers = modifiers;
    press.isModifier = isModifier;
    return press;
}

TEST(KeystrokeOverlayTest, DescribesModifiersInTheirFixedOrderBeforeTheKey) {
    EXPECT_EQ(KeystrokeOverlay::describe(key(Qt::Key_4, Qt::ShiftModifier | Qt::ControlModifier)),
              QStringLiteral("Ctrl+Shift+4"));
    // Super comes after Shift, whatever order they were pressed in.
    EXPECT_EQ(KeystrokeOverlay::describe(key(Qt::Key_4, Qt::MetaModifier | Qt::ShiftModifier)),
              QStringLiteral("Shift+Super+4"));
    EXPECT_EQ(KeystrokeOverlay::describe(key(Qt::Key_K, Qt::MetaModifier | Qt::ShiftModifier |
                                                            Qt::AltModifier | Qt::ControlModifier)),
              QStringLiteral("Ctrl+Alt+Shift+Super+K"));
    // Named keys read as in the shortcut settings.
    EXPECT_EQ(KeystrokeOverlay::describe(key(Qt::Key_Print, Qt::ShiftModifier)),
              QStringLiteral("Shift+Print"));
    EXPECT_EQ(KeystrokeOverlay::describe(key(Qt::Key_Space)), QStringLiteral("Space"));
}

TEST(KeystrokeOverlayTest, AModifierAloneOrAnUnknownKeyShowsNothing) {
    EXPECT_EQ(KeystrokeOverlay::describe(key(Qt::Key_Shift, Qt::ControlModifier, true)), QString());
    EXPECT_EQ(KeystrokeOverlay::describe(key(Qt::Key_Meta, {}, true)), QString());
    EXPECT_EQ(KeystrokeOverlay::describe(key(Qt::Key_unknown, Qt::ControlModifier)), QString());

    KeystrokeOverlay overlay(QRect(0, 0, 800, 600));
    overlay.start();
    overlay.keyPressed(key(Qt::Key_Control, {}, true));
    EXPECT_EQ(overlay.opacity(), 0.0);
    EXPECT_TRUE(overlay.text().isEmpty());
}

TEST(KeystrokeOverlayTest, FiveKeysLeaveTheLastThreeThenHideAfterAPause) {
    KeystrokeOverlay overlay(QRect(0, 0, 800, 600));
    overlay.push(QStringLiteral("ignored before start"));
    EXPECT_EQ(overlay.opacity(), 0.0);

    overlay.start();
    int monitorStops = 0;
    testsupport::FakeInputMonitor monitor(monitorStops);
    ASSERT_TRUE(
        monitor.start({}, [&overlay](const platform::KeyPress& press) { overlay.keyPressed(press); }));
    for (Qt::Key k : {Qt::Key_A, Qt::Key_B, Qt::Key_C, Qt::Key_D})
        monitor.press(key(k));
    monitor.press(key(Qt::Key_E, Qt::ControlModifier));
    EXPECT_EQ(overlay.text(), QStringLiteral("C  D  Ctrl+E"));
    EXPECT_EQ(overlay.opacity(), 1.0);

    // The panel goes once no key came for a while, and keeps its last keys for the next one.
    EXPECT_TRUE(testsupport::waitUntil([&] { return overlay.opacity() == 0.0; }, 10000));
    monitor.press(key(Qt::Key_F));
    EXPECT_EQ(overlay.opacity(), 1.0);
    EXPECT_EQ(overlay.text(), QStringLiteral("D  Ctrl+E  F"));

    overlay.stop();
    EXPECT_EQ(overlay.opacity(), 0.0);
    EXPECT_TRUE(overlay.text().isEmpty());
}

TEST(KeystrokeOverlayTest, PanelIsCentredAboveTheBottomAndFitsItsText) {
    const QRect screen(1920, 0, 1280, 800); // a second screen, right of the first
    const QRect narrow = KeystrokeOverlay::panelGeometry(screen, 30);
    EXPECT_EQ(narrow.size(), QSize(120, 48)); // never narrower than 120
    EXPECT_EQ(narrow.center().x(), screen.center().x());
    EXPECT_EQ(narrow.bottom() + 1, screen.bottom() + 1 - 80);

    const QRect wide = KeystrokeOverlay::panelGeometry(screen, 500);
    EXPECT_EQ(wide.width(), 540);
    EXPECT_EQ(wide.left(), 1920 + (1280 - 540) / 2);

    KeystrokeOverlay overlay(screen);
    overlay.start();
    overlay.push(QStringLiteral("Ctrl+K"));
    EXPECT_EQ(overlay.panelGeometry([](const QString& text) { return int(text.size()) * 100; }).width(), 640);
}

} // namespace
