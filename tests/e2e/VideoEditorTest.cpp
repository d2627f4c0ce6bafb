// The video editor driven from outside: a movie opened with `pictavia edit`, the playhead
// moved on the timeline and with the keys, a background picked, the start trimmed, and the
// styled movie exported into the history. Screenshots of the window are kept as artifacts.

#include "AppSession.h"
#include "MovieFrames.h"
#include "WaitUntil.h"

#include "video/RecordingTimeline.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QPainter>
#include <gtest/gtest.h>

#include <optional>
#include <thread>

namespace {

using namespace testsupport;

const QSize movieSize(480, 270);
const char* const title = "Pictavia Video Editor — clip.mov";

bool near(QRgb pixel, QRgb color, int tolerance) {
    return std::abs(qRed(pixel) - qRed(color)) <= tolerance &&
           std::abs(qGreen(pixel) - qGreen(color)) <= tolerance &&
           std::abs(qBlue(pixel) - qBlue(color)) <= tolerance;
}

// The box around every pixel of about `color` in `area` of the screen.
QRect boxOf(const QImage& screen, QRgb color, QRect area = {}, int tolerance = 0) {
    if (area.isEmpty()) area = screen.rect();
    QRect box;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            if (near(screen.pixel(x, y), color, tolerance)) box |= QRect(x, y, 1, 1);
    return box;
}

// A black arrow with a white edge, pointing from its top left.
CursorShape arrow() {
    QImage image(24, 24, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Qt::white, 1.5));
    painter.setBrush(Qt::black);
    painter.drawPolygon(QPolygonF({{1, 1}, {1, 19}, {6, 14}, {10, 22}, {13, 21}, {9, 13}, {16, 13}}));
    painter.end();
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return {png, 24, 24, 1, 1};
}

class VideoEditorTest : public ::testing::Test {
protected:
    void SetUp() override {
        server = XServer::start({.width = 1440, .height = 900, .windowManager = true});
        app = std::make_unique<AppSession>(
            *server,
            "showQuickAccess = false\nsaveDirectory = ~/Shots\n[Hotkeys]\narea = F8\nallInOne = F9\n");
        movie = app->home().path() + "/clip.mov";
        // Two seconds of red, then two of blue, with a tone.
        const ProcessOutput made = app->run("ffmpeg", {"-nostdin",
                                                       "-v",
                                                       "error",
                                                       "-y",
                                                       "-f",
                                                       "lavfi",
                                                       "-i",
                                                       "color=c=red:s=480x270:r=15:d=2",
                                                       "-f",
                                                       "lavfi",
                                                       "-i",
                                                       "color=c=blue:s=480x270:r=15:d=2",
                                                       "-f",
                                                       "lavfi",
                                                       "-i",
                                                       "sine=frequency=330:duration=4",
                                                       "-filter_complex",
                                                       "[0][1]concat=n=2:v=1:a=0[v]",
                                                       "-map",
                                                       "[v]",
                                                       "-map",
                                                       "2:a",
                                                       "-c:v",
                                                       "libx264",
                                                       "-pix_fmt",
                                                       "yuv420p",
                                                       "-c:a",
                                                       "aac",
                                                       movie.toStdString()});
        ASSERT_EQ(made.exitCode, 0) << made.err;
        // Clicks and a pointer track, as a studio recording keeps beside its movie.
        RecordingTimeline timeline;
        timeline.studio = true;
        timeline.clicksTracked = true;
        timeline.areaWidth = movieSize.width();
        timeline.areaHeight = movieSize.height();
        timeline.clicks = {{0.8, 0.3, 0.4}, {2.6, 0.7, 0.6}};
        for (int i = 0; i <= 40; ++i)
            timeline.cursor.append({i * 0.1, 0.2 + i * 0.015, 0.3 + i * 0.01, 0});
        timeline.cursorShapes = {arrow()};
        ASSERT_TRUE(TimelineStore::save(timeline, movie));
    }

    QImage grabScreen() {
        const QString path = app->home().path() + "/screen.png";
        app->run("import", {"-window", "root", path.toStdString()});
        return QImage(path).convertToFormat(QImage::Format_RGB32);
    }

    void click(QPoint at) {
        app->xdotool({"mousemove", std::to_string(at.x()), std::to_string(at.y()), "click", "1"});
        settle(300);
    }

    static void settle(int milliseconds) {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    }

    // The clip on the timeline, between the trim handles' outer edges.
    std::optional<QRect> clipOnTimeline() {
        const QRect handles = boxOf(grabScreen(), qRgb(0xF5, 0xC5, 0x42));
        if (handles.width() < 100) return std::nullopt;
        return handles;
    }

    // The preview's colour on the stage above the timeline, left of where the drawn pointer goes.
    QRgb previewCentre(const QRect& clip) {
        const QImage screen = grabScreen();
        return screen.pixel(clip.left() + clip.width() / 4, clip.top() - 250);
    }

    std::unique_ptr<XServer> server;
    std::unique_ptr<AppSession> app;
    QString movie;
};

TEST_F(VideoEditorTest, OpensAMovieSeeksStylesAndExportsIntoTheHistory) {
    const ProcessOutput sent = app->send({"edit", movie.toStdString()});
    ASSERT_EQ(sent.exitCode, 0) << sent.err;
    ASSERT_TRUE(app->waitForWindows(title, 1)) << app->log();
    std::optional<QRect> clip;
    ASSERT_TRUE(waitUntil([&] { return (clip = clipOnTimeline()).has_value(); }))
        << "no timeline with trim handles on the screen";
    ASSERT_TRUE(waitUntil([&] { return near(previewCentre(*clip), qRgb(255, 0, 0), 40); }))
        << "the preview does not show the movie's first picture";
    app->screenshot("video-editor-opened");

    // A click three quarters along the timeline moves into the blue half.
    click({clip->left() + clip->width() * 3 / 4, clip->center().y()});
    ASSERT_TRUE(waitUntil([&] { return near(previewCentre(*clip), qRgb(0, 0, 255), 40); }))
        << "seeking on the timeline did not show the picture there";

    // Home goes back to the start; Space plays on into the blue half.
    app->xdotool({"key", "Home"});
    ASSERT_TRUE(waitUntil([&] { return near(previewCentre(*clip), qRgb(255, 0, 0), 40); }))
        << "Home did not go back to the first picture";
    app->xdotool({"key", "space"});
    ASSERT_TRUE(waitUntil([&] { return near(previewCentre(*clip), qRgb(0, 0, 255), 40); }))
        << "Space did not play the movie";
    settle(2500); // played to its end

    // The white background: the recording moves in from the frame's edges, white around it.
    const QImage before = grabScreen();
    const QRect picture = boxOf(before, qRgb(0, 0, 255), QRect(0, 60, clip->right(), clip->top() - 120), 40);
    ASSERT_GT(picture.width(), movieSize.width() / 2) << "the preview's picture is not on the screen";
    const QRect panel(clip->right() + 20, 60, before.width() - clip->right() - 20, before.height() / 3);
    const QRect white = boxOf(before, qRgb(255, 255, 255), panel);
    ASSERT_FALSE(white.isEmpty()) << "no white background swatch in the style panel";
    click(white.center());
    ASSERT_TRUE(waitUntil([&] {
        const QImage screen = grabScreen();
        return near(screen.pixel(picture.topLeft() + QPoint(3, 3)), qRgb(255, 255, 255), 10) &&
               near(screen.pixel(picture.center()), qRgb(0, 0, 255), 40);
    })) << "the preview did not take the white background";
    app->screenshot("video-editor-styled");
    // A gradient next to it, for people to look at: the swatch after black.
    {
        const QImage screen = grabScreen();
        const QRect black = boxOf(screen, qRgb(0, 0, 0), panel);
        if (!black.isEmpty()) {
            click(black.center() + QPoint(black.center().x() - white.center().x(), 0));
            settle(800);
            app->screenshot("video-editor-gradient");
            click(white.center());
            settle(500);
        }
    }

    // A zoom added with Z at one second, looked at while it holds.
    click({clip->left() + clip->width() / 4, clip->center().y()});
    app->xdotool({"key", "z"});
    click({clip->left() + clip->width() * 2 / 5, clip->center().y()});
    settle(800);
    app->screenshot("video-editor-zoomed");

    // The start handle dragged to the middle keeps the blue half alone.
    const QPoint handle(clip->left() + 4, clip->center().y());
    const QPoint middle(clip->left() + clip->width() / 2 + 4, clip->center().y());
    app->xdotool({"mousemove", std::to_string(handle.x()), std::to_string(handle.y()), "mousedown", "1"});
    for (int step = 1; step <= 5; ++step) {
        const QPoint p = handle + (middle - handle) * step / 5;
        app->xdotool({"mousemove", std::to_string(p.x()), std::to_string(p.y())});
    }
    app->xdotool({"mouseup", "1"});
    settle(300);
    ASSERT_TRUE(waitUntil([&] { return near(previewCentre(*clip), qRgb(0, 0, 255), 40); }))
        << "the preview does not show the new start";

    // Export: the accent button at the bottom right.
    const QImage screen = grabScreen();
    const QRect bottom(screen.width() / 2, clip->bottom(), screen.width() / 2,
                       screen.height() - clip->bottom());
    const QRect accent = boxOf(screen, qRgb(0x3B, 0x82, 0xF6), bottom);
    ASSERT_FALSE(accent.isEmpty()) << "no Export button";
    click({accent.right() - 30, accent.bottom() - 10});
    settle(500);
    app->screenshot("video-editor-exporting");
    ASSERT_TRUE(app->waitForCaptures(1, std::chrono::seconds(90))) << app->log();
    const QString exported = app->home().path() + "/data/Pictavia/History/" + app->captures().constFirst();
    ASSERT_TRUE(exported.endsWith(".mov") || exported.endsWith(".mp4")) << exported.toStdString();

    // The exported movie carries the look: white around the picture, blue in its second half.
    QFile::remove(ARTIFACT_DIR "/video-editor-export.mov");
    QFile::copy(exported, ARTIFACT_DIR "/video-editor-export.mov");
    const ProcessOutput probed =
        app->run("ffprobe", {"-v", "error", "-select_streams", "v", "-show_entries", "stream=width,height",
                             "-of", "csv=p=0:s=x", exported.toStdString()});
    const QStringList size = QString::fromStdString(probed.out).trimmed().split('x');
    ASSERT_EQ(size.size(), 2) << probed.out << probed.err;
    const QList<QImage> frames = movieFrames(exported, QSize(size[0].toInt(), size[1].toInt()));
    // Two seconds at 15 frames a second, all of them blue.
    EXPECT_GE(frames.size(), 26);
    EXPECT_LE(frames.size(), 34);
    ASSERT_FALSE(frames.isEmpty());
    const QImage first = frames.first();
    EXPECT_TRUE(near(first.pixel(first.width() / 4, first.height() * 3 / 4), qRgb(0, 0, 255), 50))
        << "the trimmed part was exported";
    const QImage last = frames.last();
    EXPECT_TRUE(near(last.pixel(1, 1), qRgb(255, 255, 255), 30))
        << "the exported frame has no white background: " << std::hex << last.pixel(1, 1);
    EXPECT_TRUE(near(last.pixel(last.width() / 4, last.height() * 3 / 4), qRgb(0, 0, 255), 50));
    app->screenshot("video-editor-exported");
}

} // namespace
