#pragma once

// A test on a headless GNOME session (gnome-shell on a virtual monitor, with
// xdg-desktop-portal-gnome), whose dialogs it answers as a user would: keys and clicks through
// mutter's remote desktop interface, aimed at what screenshots show.

#include "WaitUntil.h"
#include "WaylandSessionTest.h"

#include <QImage>
#include <QPoint>
#include <QSize>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <future>
#include <optional>
#include <vector>

namespace testsupport {

class WaylandGnomeSessionTest : public WaylandSessionTest {
protected:
    // GTK's colour for the button that does what a dialog is for ("Share").
    static constexpr QRgb suggestedAction = qRgb(0x35, 0x84, 0xe4);

    // The session with one virtual monitor of `size`, and Pictavia's `preferences`. False, with
    // the test skipped or failed, where there is nothing to test on: the caller returns.
    [[nodiscard]] bool startGnome(QSize size, const std::string& preferences) {
        if (!startSession(
                {.outputs = {{size.width(), size.height(), 1.0}}, .desktop = WaylandSession::Desktop::gnome},
                preferences))
            return false;
        keys = session->reachable(MUTTER_KEYS_BIN);
        EXPECT_FALSE(keys.empty());
        return !keys.empty();
    }

    // `pictavia capture fullscreen`'s picture; null where it failed.
    QImage screenshot() {
        return QImage(QString::fromStdString(session->run(program, {"capture", "fullscreen"}).out).trimmed());
    }

    // The first screenshot, with the shell's question answered: the dialog's buttons are
    // "Deny" (focused) and "Allow", so Tab and Return allow. The keys go only once the portal
    // has asked the shell, so they cannot land anywhere else.
    QImage firstScreenshotAllowed() {
        auto monitor = session->startReading(
            "dbus-monitor",
            {"--session", "interface='org.freedesktop.impl.portal.Access',member='AccessDialog'"});
        auto capture = std::async(std::launch::async, [&] {
            return session->run(program, {"capture", "fullscreen"});
        });
        bool asked = false;
        while (!asked)
            if (const auto line = monitor->readLine(60s)) {
                asked = line->find("member=AccessDialog") != std::string::npos;
            } else {
                break;
            }
        EXPECT_TRUE(asked) << "the portal did not ask before the first screenshot";
        if (asked) pressKeys({"0xff09", "0xff0d"});
        const ProcessOutput out = capture.get();
        EXPECT_EQ(out.exitCode, 0) << out.err << "\nportal: " << session->logTail("portal")
                                   << "\ngnome-shell: " << session->logTail("gnome-shell");
        return QImage(QString::fromStdString(out.out).trimmed());
    }

    void pressKeys(std::vector<std::string> args) {
        const ProcessOutput pressed = session->run(keys, args);
        EXPECT_EQ(pressed.exitCode, 0) << pressed.err;
    }

    // A click at `at` (output pixels): mutter's relative moves start from the bottom-right corner.
    void click(QPoint at, QSize output) {
        const QPoint from(output.width() - 1, output.height() - 1);
        pressKeys({"--click", std::to_string(at.x() - from.x()) + "," + std::to_string(at.y() - from.y())});
    }

    // The middle of the widest patch of `colour` (within `tolerance` per channel), by its rows:
    // a button rather than a check box of the same colour beside it. Null where no row has
    // `least` such pixels.
    static std::optional<QPoint> middleOf(const QImage& image, QRgb colour, int tolerance, int least) {
        const auto matches = [&](QRgb p) {
            return std::abs(qRed(p) - qRed(colour)) <= tolerance &&
                   std::abs(qGreen(p) - qGreen(colour)) <= tolerance &&
                   std::abs(qBlue(p) - qBlue(colour)) <= tolerance;
        };
        std::vector<int> perRow(size_t(image.height()), 0);
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                perRow[size_t(y)] += matches(image.pixel(x, y));
        const int widest = *std::max_element(perRow.begin(), perRow.end());
        if (widest < least) return std::nullopt;
        qint64 sumX = 0, sumY = 0, count = 0;
        for (int y = 0; y < image.height(); ++y) {
            if (perRow[size_t(y)] * 2 < widest) continue;
            for (int x = 0; x < image.width(); ++x)
                if (matches(image.pixel(x, y))) {
                    sumX += x;
                    sumY += y;
                    ++count;
                }
        }
        return QPoint(int(sumX / count), int(sumY / count));
    }

    // Where the portal's window that asks what to share offers its one row (the one white card:
    // a monitor, a window, or "Allow remote interaction"), found in screenshots, and the
    // screenshot it was found in; null where the window did not show.
    std::optional<QPoint> chooserRow(QImage* screen) {
        std::optional<QPoint> row;
        waitUntil(
            [&] {
                *screen = screenshot();
                row = screen->isNull() ? std::nullopt : middleOf(*screen, qRgb(0xff, 0xff, 0xff), 0, 100);
                return row.has_value();
            },
            60s);
        return row;
    }

    // Clicks that one row: where the window's "Share" button (the one suggested-action button)
    // then is, and the screenshot it was found in; null where either did not show.
    std::optional<QPoint> chooseTheOneRow(QImage* screen) {
        const std::optional<QPoint> row = chooserRow(screen);
        if (!row) return std::nullopt;
        click(*row, screen->size());
        std::optional<QPoint> share;
        waitUntil([&] {
            *screen = screenshot();
            share = screen->isNull() ? std::nullopt : middleOf(*screen, suggestedAction, 6, 30);
            return share.has_value();
        });
        return share;
    }

    // Answers the portal's window that asks what to share: its one row clicked, then "Share"
    // pressed. In "Screen Share" that row is the monitor's, or the one window's where a window
    // is asked for; in "Remote desktop", whose one monitor comes chosen, it is "Allow remote
    // interaction", switched on.
    bool shareTheOneRow() {
        QImage screen;
        const std::optional<QPoint> share = chooseTheOneRow(&screen);
        if (share) click(*share, screen.size());
        return share.has_value();
    }
    bool shareTheMonitor() { return shareTheOneRow(); }

    std::string keys; // mutter_keys, where the session's user can run it
};

} // namespace testsupport
