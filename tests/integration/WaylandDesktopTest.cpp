// Pictavia on Wayland desktops. Our windows with the layer shell, on headless sway with two
// outputs at scales 1 and 2: the area overlay covers each output with its frozen pixels,
// exact at either scale; a drag on it selects exactly the pixels dragged over; toasts, pins,
// quick access, the countdown and the recording controls show on the output they belong to. sway lists no
// layer surfaces in its tree, so grim looks at the screen; the session has no pointer, so
// the drags come from the helper's own events, while keys come from a virtual keyboard. And our hotkeys added
// to GNOME's own shortcuts through the real gsettings.

#include "WaitUntil.h"
#include "WaylandSession.h"
#include "app/GnomeKeybindings.h"
#include "app/Hotkeys.h"

#include <QFile>
#include <QImage>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <map>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace testsupport;

// What the helper's displays show: neighbouring pixels differ in every channel that moves,
// by more than the overlay's dimming could blur.
QRgb patternAt(int x, int y) {
    return qRgb((x * 37) & 0xff, (y * 59) & 0xff, ((x >> 8) & 0xf) << 4 | ((y >> 8) & 0xf));
}

// The overlay's backdrop: black at 45% over the pattern.
QRgb dimmedPatternAt(int x, int y) {
    const QRgb p = patternAt(x, y);
    const auto dim = [](int c) { return (c * (255 - 115) + 127) / 255; };
    return qRgb(dim(qRed(p)), dim(qGreen(p)), dim(qBlue(p)));
}

bool near(QRgb a, QRgb b, int tolerance) {
    return std::abs(qRed(a) - qRed(b)) <= tolerance && std::abs(qGreen(a) - qGreen(b)) <= tolerance &&
           std::abs(qBlue(a) - qBlue(b)) <= tolerance;
}

// How many pixels of `image` differ from `expected(x, y)` of the display pixels starting at
// `origin`, and the first of them.
template <typename Expected>
std::pair<int, std::string> mismatches(const QImage& image, QPoint origin, Expected expected, int tolerance) {
    int wrong = 0;
    std::string first;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QRgb want = expected(origin.x() + x, origin.y() + y);
            if (near(image.pixel(x, y), want, tolerance)) continue;
            if (wrong++ == 0)
                first = "at " + std::to_string(x) + "," + std::to_string(y) + ": " +
                        QColor(image.pixel(x, y)).name().toStdString() + " instead of " +
                        QColor(want).name().toStdString();
        }
    }
    return {wrong, first};
}

struct Display {
    QRect pixels;
    double scale = 1;
};

class WaylandDesktopTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string whyNot;
        session = WaylandSession::start({.outputs = {{640, 480, 1.0}, {1280, 720, 2.0}}}, &whyNot);
        if (!session) GTEST_SKIP() << "no headless Wayland session: " << whyNot;
        session->startProcess("swaybg", {"-c", "#3366cc"});
        const std::string helper = session->reachable(WAYLAND_OVERLAYS_BIN);
        if (helper.empty()) GTEST_SKIP() << "the session's user cannot run " << WAYLAND_OVERLAYS_BIN;
        // Commands go through a pipe in the session's folder; what it says, to a file.
        const std::string commands = session->directory() + "/commands";
        ASSERT_EQ(mkfifo(commands.c_str(), 0600), 0);
        ASSERT_EQ(chmod(commands.c_str(), 0666), 0);
        log = session->directory() + "/overlays.log";
        session->startProcess("sh", {"-c", "exec \"$0\" < \"$1\" > \"$2\" 2>&1", helper, commands, log});
        ASSERT_TRUE(waitUntil([&] { return (writer = open(commands.c_str(), O_WRONLY | O_NONBLOCK)) >= 0; }))
            << "the helper did not open its commands";
        ASSERT_TRUE(line("overlay")) << said();
        for (const std::string& l : lines()) {
            char name[64];
            int x, y, w, h;
            double scale;
            if (std::sscanf(l.c_str(), "display %63s %d %d %d %d %lf", name, &x, &y, &w, &h, &scale) == 6)
                displays[name] = {QRect(x, y, w, h), scale};
        }
        ASSERT_EQ(displays.size(), 2u) << said();
    }

    void TearDown() override {
        if (writer >= 0) close(writer);
    }

    std::vector<std::string> lines() const {
        QFile file(QString::fromStdString(log));
        if (!file.open(QIODevice::ReadOnly)) return {};
        std::vector<std::string> result;
        for (const QByteArray& l : file.readAll().split('\n'))
            result.push_back(l.toStdString());
        return result;
    }
    std::string said() const {
        std::string all;
        for (const std::string& l : lines())
            all += l + "\n";
        return "the helper said:\n" + all;
    }
    // The first line the helper printed that starts with `prefix`, once it has.
    std::optional<std::string> line(const std::string& prefix) {
        std::optional<std::string> found;
        waitUntil([&] {
            for (const std::string& l : lines())
                if (l.rfind(prefix, 0) == 0) found = l;
            return found.has_value();
        });
        return found;
    }
    void command(const std::string& text) {
        const std::string l = text + "\n";
        ASSERT_EQ(write(writer, l.data(), l.size()), ssize_t(l.size()));
    }

    QImage grab(const std::string& output) {
        const ProcessOutput shot = session->run("grim", {"-o", output, "-t", "ppm", "-"});
        QImage image;
        if (shot.exitCode != 0 || !image.loadFromData(QByteArray::fromStdString(shot.out), "PPM")) return {};
        return image.convertToFormat(QImage::Format_RGB32);
    }

    // Waits until grim sees the output show `expected` of its display's pixels; the last
    // count of differing pixels and the first of them otherwise.
    template <typename Expected>
    std::pair<int, std::string> waitForPixels(const std::string& output, Expected expected, int tolerance) {
        std::pair<int, std::string> last{-1, "no grab"};
        waitUntil([&] {
            const QImage image = grab(output);
            if (image.size() != displays[output].pixels.size()) {
                last = {-1,
                        "a grab of " + std::to_string(image.width()) + "x" + std::to_string(image.height())};
                return false;
            }
            last = mismatches(image, displays[output].pixels.topLeft(), expected, tolerance);
            return last.first == 0;
        });
        return last;
    }

    // Drags over `dragged` (display pixels) and checks that the selection is exactly those
    // pixels of the frozen image.
    void selectExactly(const std::string& output, const QRect& dragged) {
        const std::string frozenFile = session->directory() + "/frozen.png";
        command("drag " + std::to_string(dragged.left()) + " " + std::to_string(dragged.top()) + " " +
                std::to_string(dragged.left() + dragged.width()) + " " +
                std::to_string(dragged.top() + dragged.height()) + " " + frozenFile);
        const std::optional<std::string> selected = line("selected");
        ASSERT_TRUE(selected) << said();
        char name[64];
        double x, y, w, h;
        ASSERT_EQ(std::sscanf(selected->c_str(), "selected %63s %lf %lf %lf %lf", name, &x, &y, &w, &h), 5);
        EXPECT_EQ(std::string(name), output);
        const Display& display = displays[output];
        const QRectF points(x, y, w, h);
        const QRectF pixels(points.topLeft() * display.scale, points.size() * display.scale);
        EXPECT_EQ(pixels, QRectF(dragged.translated(-display.pixels.topLeft())));
        const QImage frozen(QString::fromStdString(frozenFile));
        ASSERT_EQ(frozen.size(), display.pixels.size());
        const auto [wrong, first] =
            mismatches(frozen.copy(pixels.toRect()).convertToFormat(QImage::Format_RGB32), dragged.topLeft(),
                       patternAt, 0);
        EXPECT_EQ(wrong, 0) << first;
    }

    std::unique_ptr<WaylandSession> session;
    std::map<std::string, Display> displays;
    std::string log;
    int writer = -1;
};

TEST_F(WaylandDesktopTest, OverlayCoversEachOutputWithItsFrozenPixelsAtItsScale) {
    for (const std::string& output : session->outputNames()) {
        const auto [wrong, first] = waitForPixels(output, dimmedPatternAt, 2);
        EXPECT_EQ(wrong, 0) << output << " " << first;
    }
    // On the scale-2 output, in whole device pixels.
    selectExactly("HEADLESS-2", QRect(1380, 50, 300, 200));
    // The overlay leaves every output.
    for (const std::string& output : session->outputNames()) {
        const auto [wrong, first] = waitForPixels(
            output, [](int, int) { return qRgb(0x33, 0x66, 0xcc); }, 0);
        EXPECT_EQ(wrong, 0) << output << " " << first;
    }
}

TEST_F(WaylandDesktopTest, TheOverlayHasTheKeyboardEscapeClosesIt) {
    if (session->run("sh", {"-c", "command -v wtype"}).exitCode != 0)
        GTEST_SKIP() << "wtype (a virtual keyboard for wlroots desktops) is not installed";
    for (const std::string& output : session->outputNames())
        ASSERT_EQ(waitForPixels(output, dimmedPatternAt, 2).first, 0) << output;
    // The seat has a keyboard only while wtype's exists: it waits for us to take it first.
    const ProcessOutput typed = session->run("wtype", {"-s", "500", "-k", "Escape"});
    ASSERT_EQ(typed.exitCode, 0) << typed.err;
    EXPECT_TRUE(line("cancelled")) << said();
    for (const std::string& output : session->outputNames()) {
        const auto [wrong, first] = waitForPixels(
            output, [](int, int) { return qRgb(0x33, 0x66, 0xcc); }, 0);
        EXPECT_EQ(wrong, 0) << output << " " << first;
    }
}

TEST_F(WaylandDesktopTest, SelectionOnTheFirstOutputAndAToastOnTheOutputAsked) {
    selectExactly("HEADLESS-1", QRect(101, 51, 237, 133));

    // Near a point of the second output (Qt's coordinates: it starts at 640).
    command("toast 900 100 Saved to Pictures");
    ASSERT_TRUE(line("toast")) << said();
    const QRgb background = qRgb(0x33, 0x66, 0xcc);
    const auto [onFirst, firstWrong] = waitForPixels(
        "HEADLESS-1", [&](int, int) { return background; }, 0);
    EXPECT_EQ(onFirst, 0) << "the toast or the overlay shows on the first output: " << firstWrong;
    // The toast's dark body starts just below and right of the point: a pixel of its left
    // padding, clear of the rounded corner and the text, in pixels of the scale-2 output.
    const QPoint body = (QPoint(900, 100) - QPoint(640, 0) + QPoint(18 + 8, 18 + 20)) * 2;
    EXPECT_TRUE(waitUntil([&] {
        const QImage image = grab("HEADLESS-2");
        return !image.isNull() && near(image.pixel(body), qRgb(28, 28, 32), 16);
    })) << "no toast at "
        << body.x() << "," << body.y() << " of the second output";
}

TEST_F(WaylandDesktopTest, PinsSitExactlyOverTheirPixelsOnEitherOutput) {
    command("escape");
    ASSERT_TRUE(line("cancelled")) << said();
    // At scale 2 the pin's pixels are the area's own, not a point's worth each.
    for (const auto& [output, area] : {std::pair{std::string("HEADLESS-2"), QRect(1480, 200, 400, 300)},
                                       std::pair{std::string("HEADLESS-1"), QRect(100, 120, 240, 160)}}) {
        command("pin " + std::to_string(area.x()) + " " + std::to_string(area.y()) + " " +
                std::to_string(area.width()) + " " + std::to_string(area.height()));
        // Inside its frame.
        const QRect inner = area.adjusted(8, 8, -8, -8);
        const QPoint origin = displays[output].pixels.topLeft();
        std::pair<int, std::string> last{-1, "no grab"};
        EXPECT_TRUE(waitUntil([&] {
            const QImage image = grab(output);
            if (image.isNull()) return false;
            last = mismatches(image.copy(inner.translated(-origin)), inner.topLeft(), patternAt, 0);
            return last.first == 0;
        })) << output
            << ": " << last.first << " pixels differ, the first " << last.second;
    }
}

TEST_F(WaylandDesktopTest, APinDraggedToTheOtherOutputGoesThere) {
    command("escape");
    ASSERT_TRUE(line("cancelled")) << said();
    const QRect area(100, 120, 240, 160); // on the first output
    command("pin 100 120 240 160");
    ASSERT_TRUE(line("pin")) << said();
    // The colour of the area's middle pixel is its alone in the pattern: where it shows is
    // where the pin's middle is.
    const QRgb middle = patternAt(area.center().x(), area.center().y());
    const auto found = [&](const QImage& image) -> std::optional<QPoint> {
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                if (image.pixel(x, y) == middle) return QPoint(x, y);
        return std::nullopt;
    };
    // Within its output first, then onto the second (Qt's coordinates: it starts at 640).
    for (const QPoint to : {QPoint(300, 250), QPoint(900, 100)}) {
        command("move-pin " + std::to_string(to.x()) + " " + std::to_string(to.y()));
        const bool second = to.x() >= 640;
        const std::string output = second ? "HEADLESS-2" : "HEADLESS-1";
        const double scale = displays[output].scale;
        // The window's corner is at `to`; the image's middle a frame's width more than half
        // the image in.
        const QPoint corner = (to - QPoint(second ? 640 : 0, 0)) * scale;
        const QPoint half = QPoint(area.width() / 2, area.height() / 2) * scale;
        std::optional<QPoint> at;
        EXPECT_TRUE(waitUntil([&] {
            const QImage image = grab(output);
            at = image.isNull() ? std::nullopt : found(image);
            if (!at) return false;
            const QPoint inset = *at - corner - half;
            return inset.x() >= 0 && inset.y() >= 0 && inset.x() <= 40 * scale && inset.y() <= 40 * scale;
        })) << "the pin is not at "
            << to.x() << "," << to.y() << " on " << output << ": its middle is "
            << (at ? std::to_string(at->x()) + "," + std::to_string(at->y()) : std::string("nowhere"));
    }
    const auto [onFirst, first] = waitForPixels(
        "HEADLESS-1", [](int, int) { return qRgb(0x33, 0x66, 0xcc); }, 0);
    EXPECT_EQ(onFirst, 0) << "the pin stayed on the first output: " << first;
}

TEST_F(WaylandDesktopTest, QuickAccessShowsInTheCornerOfItsOutputOnly) {
    command("escape");
    ASSERT_TRUE(line("cancelled")) << said();
    command("quick-access");
    ASSERT_TRUE(line("quick-access")) << said();
    // With no pointer seen yet, the first output's: the card in its bottom-right corner.
    const QRgb background = qRgb(0x33, 0x66, 0xcc);
    const auto notBackground = [&](const QImage& image, const QRect& part) {
        int count = 0;
        for (int y = part.top(); y <= part.bottom(); ++y)
            for (int x = part.left(); x <= part.right(); ++x)
                count += !near(image.pixel(x, y), background, 0);
        return count;
    };
    EXPECT_TRUE(waitUntil([&] {
        const QImage image = grab("HEADLESS-1");
        return !image.isNull() && notBackground(image, QRect(440, 330, 200, 150)) > 5000 &&
               notBackground(image, QRect(0, 0, 320, 240)) == 0;
    })) << "no card in the first output's bottom-right corner alone";
    const auto [wrong, first] = waitForPixels(
        "HEADLESS-2", [&](int, int) { return background; }, 0);
    EXPECT_EQ(wrong, 0) << "the second output shows something: " << first;
}

TEST_F(WaylandDesktopTest, RecordingControlsShowBesideTheRecordedAreaOnItsOutput) {
    command("escape");
    ASSERT_TRUE(line("cancelled")) << said();
    const QRect recorded(1400, 100, 800, 360); // on the scale-2 output
    command("hud 1400 100 800 360");
    ASSERT_TRUE(line("hud")) << said();
    const QRgb background = qRgb(0x33, 0x66, 0xcc);
    const QRect inside = recorded.translated(-displays["HEADLESS-2"].pixels.topLeft());
    int outside = 0;
    int within = -1;
    EXPECT_TRUE(waitUntil([&] {
        const QImage image = grab("HEADLESS-2");
        if (image.isNull()) return false;
        outside = 0;
        within = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                (inside.contains(x, y) ? within : outside) += !near(image.pixel(x, y), background, 0);
        return outside > 2000;
    })) << "no controls on the second output";
    EXPECT_EQ(within, 0) << "the controls cover what is recorded";
    const auto [onFirst, first] = waitForPixels(
        "HEADLESS-1", [&](int, int) { return background; }, 0);
    EXPECT_EQ(onFirst, 0) << "something shows on the first output: " << first;
}

TEST_F(WaylandDesktopTest, TheCountdownShowsCentredOnItsOutput) {
    command("escape");
    ASSERT_TRUE(line("cancelled")) << said();
    command("countdown HEADLESS-2");
    ASSERT_TRUE(line("countdown")) << said();
    // Its panel darkens the desktop around the digits, which stand at the output's centre.
    const QRgb background = qRgb(0x33, 0x66, 0xcc);
    const QPoint centre(640, 360);
    const auto darkened = [&](QRgb p) {
        return qRed(p) < qRed(background) - 20 && qGreen(p) < qGreen(background) - 20 &&
               qBlue(p) < qBlue(background) - 20;
    };
    EXPECT_TRUE(waitUntil([&] {
        const QImage image = grab("HEADLESS-2");
        return !image.isNull() && darkened(image.pixel(centre - QPoint(150, 0))) &&
               darkened(image.pixel(centre + QPoint(150, 150))) &&
               image.pixel(centre - QPoint(260, 0)) == background;
    })) << "no countdown panel at the second output's centre";
    const auto [onFirst, first] = waitForPixels(
        "HEADLESS-1", [&](int, int) { return background; }, 0);
    EXPECT_EQ(onFirst, 0) << "something shows on the first output: " << first;
}

} // namespace

namespace {

// gsettings with its keyfile backend in a private configuration home, GNOME's schema
// installed: the real command, writing a file instead of GNOME's database.
class GnomeShortcutsTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (system("gsettings list-schemas 2>/dev/null | grep -qx "
                   "org.gnome.settings-daemon.plugins.media-keys") != 0)
            GTEST_SKIP() << "GNOME's shortcut schema is not installed (gnome-settings-daemon-common)";
        ASSERT_TRUE(home.isValid());
        saved = {qgetenv("XDG_CONFIG_HOME"), qgetenv("GSETTINGS_BACKEND")};
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.path()));
        qputenv("GSETTINGS_BACKEND", "keyfile");
    }
    void TearDown() override {
        const auto restore = [](const char* name, const QByteArray& value) {
            if (value.isNull())
                qunsetenv(name);
            else
                qputenv(name, value);
        };
        restore("XDG_CONFIG_HOME", saved.first);
        restore("GSETTINGS_BACKEND", saved.second);
    }

    static std::string gsettings(const std::vector<std::string>& args) {
        return ChildProcess::start("gsettings", args, {})->finish(10s).out;
    }

    QTemporaryDir home;
    std::pair<QByteArray, QByteArray> saved;
};

TEST_F(GnomeShortcutsTest, OursAreAddedOnceAndTheUsersOwnStay) {
    const std::string listSchema = "org.gnome.settings-daemon.plugins.media-keys";
    const std::string mine = "/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/custom0/";
    gsettings({"set", listSchema, "custom-keybindings", "['" + mine + "']"});
    gsettings({"set", listSchema + ".custom-keybinding:" + mine, "command", "'my-terminal'"});

    const QList<Hotkeys::Binding> bindings = Hotkeys::captureBindings({});
    const auto keys = [](const QString& name) {
        return name == u"area"     ? QStringLiteral("Print")
               : name == u"record" ? QStringLiteral("Ctrl+Shift+R")
                                   : QString();
    };
    const QList<GnomeKeybindings::Entry> entries = GnomeKeybindings::entriesFor(bindings, keys);
    ASSERT_EQ(entries.size(), 2); // only the hotkeys with keys and a URL
    ASSERT_TRUE(GnomeKeybindings::apply(entries));
    ASSERT_TRUE(GnomeKeybindings::apply(entries)); // a second click changes nothing

    const std::string area = GnomeKeybindings::pathFor(QStringLiteral("area")).toStdString();
    const std::string record = GnomeKeybindings::pathFor(QStringLiteral("record")).toStdString();
    EXPECT_EQ(gsettings({"get", listSchema, "custom-keybindings"}),
              "['" + mine + "', '" + area + "', '" + record + "']\n");
    EXPECT_EQ(gsettings({"get", listSchema + ".custom-keybinding:" + mine, "command"}), "'my-terminal'\n");
    EXPECT_EQ(gsettings({"get", listSchema + ".custom-keybinding:" + area, "command"}),
              "'pictavia pictavia://capture-area'\n");
    EXPECT_EQ(gsettings({"get", listSchema + ".custom-keybinding:" + record, "binding"}),
              "'<Control><Shift>r'\n");
    EXPECT_EQ(gsettings({"get", listSchema + ".custom-keybinding:" + area, "name"}),
              "'Pictavia: Capture an area'\n");
}

} // namespace
