// A studio recording made for real (Xvfb, clicks and moves by xdotool, `pictavia record`)
// opened in the video editor's model and exported with the zoom and the studio look: the
// exported frames zoom toward the clicked place and show the drawn pointer where its track says.

#include "MovieFrames.h"
#include "TestWindow.h"
#include "XServer.h"

#include "platform/Platform.h"
#include "platform/media/FfmpegMediaReader.h"
#include "platform/media/FfmpegMovieExporter.h"
#include "video/StudioLayout.h"
#include "video/VideoEditorModel.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using namespace testsupport;

bool reddish(QRgb pixel) {
    return qRed(pixel) > 180 && qGreen(pixel) < 90 && qBlue(pixel) < 90;
}

TEST(StudioExportTest, TheExportZoomsTowardTheClickAndDrawsThePointerOnItsTrack) {
    QTemporaryDir home;
    ASSERT_TRUE(home.isValid());
    auto server = XServer::start({.width = 800, .height = 600, .windowManager = true});
    QDir().mkpath(home.path() + "/config/pictavia");
    {
        QFile conf(home.path() + "/config/pictavia/pictavia.conf");
        ASSERT_TRUE(conf.open(QIODevice::WriteOnly));
        conf.write("copyToClipboard = false\ncaptureSound = false\nrecFPS = 15\nrecStudio = true\n"
                   "recShowClicks = true\nrecShowCursor = true\nrecSystemAudio = false\n");
    }
    const std::string dir = home.path().toStdString();
    const Environment environment{{"XDG_CONFIG_HOME", dir + "/config"},
                                  {"XDG_DATA_HOME", dir + "/data"},
                                  {"XDG_RUNTIME_DIR", dir},
                                  {"HOME", dir}};
    // Red, green, blue and white quarters of 200×150 each.
    const TestWindow window = openTestWindow(*server, {.size = {400, 300}, .position = QPoint(100, 100)});
    const QRect area = clientRect(*server, window.id);
    const auto xdotool = [&](const std::vector<std::string>& args) {
        ASSERT_EQ(server->run("xdotool", args).exitCode, 0);
    };
    const auto at = [&](int x, int y) {
        return std::vector<std::string>{"mousemove", std::to_string(area.x() + x),
                                        std::to_string(area.y() + y)};
    };
    xdotool(at(300, 225));
    const std::string rect = QStringLiteral("%1,%2,%3,%4")
                                 .arg(area.x())
                                 .arg(area.y())
                                 .arg(area.width())
                                 .arg(area.height())
                                 .toStdString();
    ChildProcess& recording = server->startProcess(
        PICTAVIA_BIN, {"record", "area", "--rect", rect, "--duration", "5"}, environment);
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    auto click = at(100, 75); // the middle of the red quarter
    click.insert(click.end(), {"click", "1"});
    xdotool(click);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    xdotool(at(300, 225)); // back to the white quarter, to rest there
    const auto line = recording.readLine(std::chrono::seconds(60));
    ASSERT_TRUE(line);
    EXPECT_EQ(recording.stop(), 0);
    const QString movie = QString::fromStdString(*line);

    auto reader = std::make_unique<platform::media::FfmpegMediaReader>();
    platform::media::FfmpegMediaReader& frames = *reader;
    platform::Services services;
    services.media = std::move(reader);
    services.movieExporter = std::make_unique<platform::media::FfmpegMovieExporter>();
    platform::install(std::move(services));

    VideoEditorModel model(movie, false);
    ASSERT_TRUE(model.loadError().isEmpty()) << model.loadError().toStdString();
    ASSERT_EQ(model.clicks().size(), 1);
    ASSERT_TRUE(model.style().drawPointer) << "a studio recording draws its pointer";
    ASSERT_EQ(model.zoomTrack().keyframes.size(), 1);
    model.setZoomEnabled(true);
    StudioStyle style = model.style();
    style.background = BackgroundStyle::Ocean;
    style.followPointer = false;
    style.pointerSmoothing = 0;
    model.setStyle(style);
    auto exported = model.exportFile(std::nullopt);
    exported.waitForFinished();
    ASSERT_TRUE(exported.result()) << exported.result().error().message.toStdString();
    const QString file = *exported.result();
    const auto info = frames.info(file);
    ASSERT_TRUE(info);
    const QSize video = model.videoSize();
    EXPECT_GT(info->size.width(), video.width()) << "the background's padding frames the recording";
    const QList<QImage> pictures = movieFrames(file, info->size);
    ASSERT_GT(pictures.size(), 60);
    const auto frameAt = [&](double seconds) {
        return pictures.at(std::min<int>(std::lround(seconds * 15), int(pictures.size()) - 1));
    };
    const QRect card = StudioLayout::card(style, video, info->size);

    // Fully zoomed in: the card shows the clicked red quarter and little else.
    const ZoomKeyframe zoom = model.zoomTrack().keyframes.first();
    const QImage zoomed = frameAt(zoom.time + ZoomTrack::ramp + zoom.hold / 2);
    int red = 0;
    const QRect inside =
        card.adjusted(card.width() / 10, card.height() / 10, -card.width() / 10, -card.height() / 10);
    for (int y = inside.top(); y <= inside.bottom(); y += 4)
        for (int x = inside.left(); x <= inside.right(); x += 4)
            red += reddish(zoomed.pixel(x, y)) ? 1 : 0;
    const int samples = ((inside.height() + 3) / 4) * ((inside.width() + 3) / 4);
    EXPECT_GT(red, samples * 8 / 10) << "the zoom is not aimed at the red quarter";
    // Zoomed out again at the end: a quarter of it is red.
    const QImage after = pictures.last();
    EXPECT_FALSE(reddish(after.pixel(card.center() + QPoint(card.width() / 4, card.height() / 4))));

    // At rest on the white quarter, the drawn pointer's dark outline lies just below and right
    // of where the track puts it, and nothing dark lies above and left of it.
    const QPointF tip =
        StudioLayout::pictureToFrame(QRectF(QPointF(0, 0), QSizeF(video)), card)
            .map(QPointF(300.0 * video.width() / area.width(), 225.0 * video.height() / area.height()));
    const QImage resting = pictures.last();
    const auto darkIn = [&](QRect box) {
        int dark = 0;
        for (int y = box.top(); y <= box.bottom(); ++y)
            for (int x = box.left(); x <= box.right(); ++x)
                dark += qGray(resting.pixel(x, y)) < 80 ? 1 : 0;
        return dark;
    };
    const QPoint p = tip.toPoint();
    EXPECT_GT(darkIn(QRect(p.x() - 1, p.y() - 1, 12, 16)), 8) << "no pointer at " << p.x() << "," << p.y();
    EXPECT_EQ(darkIn(QRect(p.x() - 14, p.y() - 14, 10, 10)), 0);
    QFile::remove(file);
}

} // namespace
