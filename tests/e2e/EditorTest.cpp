// The editor window driven like a person would: an image opened by URL, tools picked by
// their keys, shapes dragged with the mouse, the result saved with Ctrl+S and read back.

#include "AppSession.h"
#include "WaitUntil.h"

#include <QDir>
#include <QFileInfo>
#include <QPainter>
#include <QUrl>
#include <gtest/gtest.h>

#include <optional>
#include <thread>

namespace {

using namespace testsupport;

const QSize imageSize(600, 400);
const QColor plain(230, 230, 230);
const QColor topMarker(255, 0, 255);
const QColor bottomMarker(0, 255, 255);
const QColor arrowRed(255, 59, 48); // the colour new annotations start with

// Light grey on the left for strokes to show on, a fine checkerboard on the right for
// blurs to smear, and a marker in two corners to find the image on the screen by.
QImage testImage() {
    QImage image(imageSize, QImage::Format_RGB32);
    image.fill(plain);
    QPainter painter(&image);
    for (int y = 0; y < imageSize.height(); y += 10)
        for (int x = 300; x < imageSize.width(); x += 10)
            painter.fillRect(x, y, 10, 10, ((x + y) / 10) % 2 ? Qt::black : Qt::white);
    painter.fillRect(0, 0, 16, 16, topMarker);
    painter.fillRect(imageSize.width() - 16, imageSize.height() - 16, 16, 16, bottomMarker);
    return image;
}

bool near(QRgb pixel, const QColor& color, int tolerance) {
    return std::abs(qRed(pixel) - color.red()) <= tolerance &&
           std::abs(qGreen(pixel) - color.green()) <= tolerance &&
           std::abs(qBlue(pixel) - color.blue()) <= tolerance;
}

class EditorTest : public ::testing::Test {
protected:
    void SetUp() override {
        server = XServer::start({.width = 1280, .height = 800, .windowManager = true});
        // openbox keeps Print for itself; other keys keep the warning toast off the screenshots.
        app = std::make_unique<AppSession>(
            *server,
            "showQuickAccess = false\nsaveDirectory = ~/Shots\n[Hotkeys]\narea = F8\nallInOne = F9\n");
        imagePath = app->home().path() + "/editor-input.png";
        ASSERT_TRUE(testImage().save(imagePath));
    }

    // Opens the test image and finds where its pixels are on the screen at 100 %.
    void openEditor() {
        const QString url = QStringLiteral("pictavia://open-file?path=") +
                            QString::fromUtf8(QUrl::toPercentEncoding(imagePath));
        const ProcessOutput sent = app->open(url.toStdString());
        ASSERT_EQ(sent.exitCode, 0) << sent.err;
        ASSERT_TRUE(app->waitForWindows(title, 1)) << app->log();
        settle(700);
        app->xdotool({"key", "ctrl+1"});
        settle(300);
        ASSERT_TRUE(waitUntil([&] { return locateImage(); })) << "the image is not on the screen at 100 %";
    }

    bool locateImage() {
        const QImage screen = grabScreen();
        for (int y = 0; y < screen.height(); ++y)
            for (int x = 0; x < screen.width(); ++x)
                if (screen.pixel(x, y) == topMarker.rgb()) {
                    const QPoint far(x + imageSize.width() - 1, y + imageSize.height() - 1);
                    if (!screen.rect().contains(far) || screen.pixel(far) != bottomMarker.rgb()) return false;
                    origin = QPoint(x, y);
                    return true;
                }
        return false;
    }

    QImage grabScreen() {
        const QString path = app->home().path() + "/screen.png";
        app->run("import", {"-window", "root", path.toStdString()});
        return QImage(path).convertToFormat(QImage::Format_RGB32);
    }

    // The top left of the picked background's accent frame in the beautify drawer.
    std::optional<QPoint> checkedBackground() {
        const QImage screen = grabScreen();
        const QRgb accent = qRgb(0x3B, 0x82, 0xF6);
        for (int y = 190; y < 400; ++y)
            for (int x = screen.width() * 3 / 5; x < screen.width(); ++x)
                if (screen.pixel(x, y) == accent) return QPoint(x, y);
        return std::nullopt;
    }

    // Image coordinates to the screen's.
    QPoint at(QPoint image) const { return origin + image; }

    void key(const std::string& keys) {
        app->xdotool({"key", keys});
        settle(150);
    }

    void drag(QPoint from, QPoint to) {
        const QPoint a = at(from), b = at(to);
        app->xdotool({"mousemove", std::to_string(a.x()), std::to_string(a.y()), "mousedown", "1"});
        for (int step = 1; step <= 4; ++step) {
            const QPoint p = a + (b - a) * step / 4;
            app->xdotool({"mousemove", std::to_string(p.x()), std::to_string(p.y())});
        }
        app->xdotool({"mouseup", "1"});
        settle(250);
    }

    void click(QPoint image) {
        const QPoint p = at(image);
        app->xdotool({"mousemove", std::to_string(p.x()), std::to_string(p.y()), "click", "1"});
        settle(200);
    }

    static void settle(int milliseconds) {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    }

    QStringList saved() const {
        return QDir(app->home().path() + "/Shots")
            .entryList({QStringLiteral("*.png")}, QDir::Files, QDir::Name);
    }

    QImage savedImage() const { return QImage(app->home().path() + "/Shots/" + saved().value(0)); }

    const std::string title = "Pictavia Editor — editor-input.png";
    std::unique_ptr<XServer> server;
    std::unique_ptr<AppSession> app;
    QString imagePath;
    QPoint origin;
};

TEST_F(EditorTest, ArrowAndBlurAreDrawnAndSaved) {
    openEditor();
    app->screenshot("editor-opened");

    key("a");
    drag({40, 200}, {260, 200});
    app->screenshot("editor-arrow");

    key("b");
    drag({340, 60}, {560, 340});
    app->screenshot("editor-blur");

    key("ctrl+s");
    ASSERT_TRUE(waitUntil([&] { return !saved().isEmpty(); })) << app->log();
    EXPECT_TRUE(app->waitForLog("Saved to ")) << app->log();
    QImage result;
    ASSERT_TRUE(waitUntil([&] { return !(result = savedImage()).isNull(); }));
    ASSERT_EQ(result.size(), imageSize);
    result = result.convertToFormat(QImage::Format_RGB32);

    // The shaft of the arrow, away from its tail and head, is solid red along its middle.
    int red = 0;
    for (int x = 60; x <= 220; ++x)
        red += near(result.pixel(x, 200), arrowRed, 12);
    EXPECT_GE(red, 155) << "of 161 pixels along the arrow";
    // Well above and below it the image is as it was.
    EXPECT_TRUE(near(result.pixel(140, 150), plain, 2));
    EXPECT_TRUE(near(result.pixel(140, 250), plain, 2));

    // Inside the blur the checkerboard is gone; outside it, untouched.
    const QImage original = testImage();
    int changed = 0, total = 0;
    for (int y = 80; y < 320; y += 3)
        for (int x = 360; x < 540; x += 3, ++total)
            changed += !near(result.pixel(x, y), QColor(original.pixel(x, y)), 40);
    EXPECT_GT(changed, total / 2) << changed << " of " << total << " sampled pixels changed";
    EXPECT_EQ(result.pixel(580, 380), original.pixel(580, 380));
    EXPECT_EQ(result.pixel(320, 20), original.pixel(320, 20));

    // For people to look at: the drawer open and a glass background picked from it.
    key("ctrl+b");
    settle(400);
    if (const auto none = checkedBackground()) {
        const QPoint glassOcean = *none + QPoint(33 + 78, 23 + 3 * 53); // fourth row, second column
        app->xdotool(
            {"mousemove", std::to_string(glassOcean.x()), std::to_string(glassOcean.y()), "click", "1"});
        settle(400);
    }
    key("ctrl+0"); // fit, now that the canvas has grown by the padding
    key("a");      // the arrow's style bar beside the open drawer: every control shows
    settle(300);
    app->screenshot("editor-beautified");
}

TEST_F(EditorTest, EveryToolLeavesItsMarkAndCropKeepsTheSelection) {
    openEditor();
    key("r");
    drag({30, 40}, {140, 110});
    key("e");
    drag({160, 40}, {280, 110});
    key("p");
    drag({30, 140}, {120, 180});
    key("h");
    drag({150, 140}, {280, 160});
    key("l");
    drag({30, 200}, {280, 230});
    key("n");
    click({60, 280});
    click({110, 280});
    key("s");
    click({200, 280});
    key("j");
    click({60, 350});
    key("t");
    click({120, 330});
    app->xdotool({"type", "Hello"});
    key("Return");
    key("o");
    drag({320, 40}, {460, 160});
    app->screenshot("editor-all-tools");

    // Selecting the text shows its grips and its own style controls.
    key("v");
    click({140, 345});
    app->screenshot("editor-selection");
    key("Escape");

    // Crop to the left half: the saved image has that size.
    key("c");
    drag({0, 0}, {300, 420}); // past the bottom edge: the crop stops there
    app->screenshot("editor-crop");
    key("Return");
    settle(300);
    app->screenshot("editor-cropped");
    key("ctrl+s");
    ASSERT_TRUE(waitUntil([&] { return !saved().isEmpty(); })) << app->log();
    QImage result;
    ASSERT_TRUE(waitUntil([&] { return !(result = savedImage()).isNull(); }));
    EXPECT_EQ(result.size(), QSize(300, 400));
    // The rectangle's stroke (dimmed by the spotlight) crosses its top edge at x = 85.
    const QRgb stroke = result.convertToFormat(QImage::Format_RGB32).pixel(85, 40);
    EXPECT_GT(qRed(stroke), qGreen(stroke) + 40);
    EXPECT_GT(qRed(stroke), qBlue(stroke) + 40);

    // Undo brings the whole image back, and saving again writes it beside the first.
    key("ctrl+z");
    key("ctrl+s");
    ASSERT_TRUE(waitUntil([&] { return saved().size() == 2; })) << app->log();
    QList<QSize> sizes;
    ASSERT_TRUE(waitUntil([&] {
        sizes.clear();
        for (const QString& name : saved())
            sizes.append(QImage(app->home().path() + "/Shots/" + name).size());
        return !sizes.contains(QSize());
    }));
    EXPECT_TRUE(sizes.contains(imageSize));
    EXPECT_TRUE(sizes.contains(QSize(300, 400)));

    key("ctrl+b");
    settle(400);
    app->screenshot("editor-beautify-panel");
}

// A text typed and left with Esc stays; Done writes the edits into the history capture
// itself, and its project keeps them editable.
TEST_F(EditorTest, EscKeepsTypedTextAndDoneUpdatesTheHistoryCapture) {
    const QString history = app->home().path() + "/data/Pictavia/History";
    QDir().mkpath(history);
    imagePath = history + "/editor-input.png";
    ASSERT_TRUE(testImage().save(imagePath));
    openEditor();

    key("t");
    click({40, 230});
    app->xdotool({"type", "Kept"});
    key("Escape");
    app->screenshot("editor-text-after-esc");
    key("ctrl+Return");
    ASSERT_TRUE(app->waitForWindows(title, 0)) << app->log();

    // The history file itself shows the text now, under its own name.
    const auto redIn = [&](const QImage& image) {
        int red = 0;
        for (int y = 225; y < 290; ++y)
            for (int x = 35; x < 200; ++x)
                red += near(image.pixel(x, y), arrowRed, 40);
        return red;
    };
    QImage updated;
    ASSERT_TRUE(waitUntil([&] {
        updated = QImage(imagePath).convertToFormat(QImage::Format_RGB32);
        return !updated.isNull() && redIn(updated) > 30;
    })) << "the typed text is not in the history file";
    EXPECT_EQ(updated.size(), imageSize);
    EXPECT_EQ(app->captures(), QStringList{"editor-input.png"});
    EXPECT_FALSE(QFileInfo::exists(app->home().path() + "/Desktop"));

    // Opened again, the text is an annotation over the untouched pixels.
    const ProcessOutput sent = app->send({"edit", imagePath.toStdString()});
    ASSERT_EQ(sent.exitCode, 0) << sent.err;
    ASSERT_TRUE(app->waitForWindows(title, 1)) << app->log();
    settle(700);
    key("ctrl+1");
    ASSERT_TRUE(waitUntil([&] { return locateImage(); }));
    EXPECT_GT(redIn(grabScreen().copy(QRect(origin, imageSize))), 30);
    app->screenshot("editor-reopened-text");
}

} // namespace

// Closing an edited capture keeps its edits; "pictavia edit" brings them back.
TEST_F(EditorTest, ReopenedCaptureComesBackWithItsAnnotations) {
    openEditor();
    key("a");
    drag({40, 200}, {260, 200});
    key("ctrl+w");
    ASSERT_TRUE(app->waitForWindows(title, 0)) << app->log();

    const ProcessOutput sent = app->send({"edit", imagePath.toStdString()});
    ASSERT_EQ(sent.exitCode, 0) << sent.err;
    ASSERT_TRUE(app->waitForWindows(title, 1)) << app->log();
    settle(700);
    key("ctrl+1");
    ASSERT_TRUE(waitUntil([&] { return locateImage(); }));
    const QImage screen = grabScreen();
    int red = 0;
    for (int x = 60; x <= 220; ++x)
        red += near(screen.pixel(at({x, 200})), arrowRed, 12);
    EXPECT_GE(red, 150) << "of 161 pixels along the restored arrow";
    app->screenshot("editor-reopened");
}
