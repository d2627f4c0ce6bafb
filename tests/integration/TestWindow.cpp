#include "TestWindow.h"

#include <QRegularExpression>
#include <QString>

#include <stdexcept>

namespace testsupport {

TestWindow openTestWindow(XServer& server, const TestWindowOptions& options) {
    std::vector<std::string> args{
        "--title",   options.title,
        "--pattern", options.pattern,
        "--size",    std::to_string(options.size.width()) + "x" + std::to_string(options.size.height())};
    if (options.position) {
        args.insert(args.end(), {"--pos", std::to_string(options.position->x()) + "," +
                                              std::to_string(options.position->y())});
    }
    if (!options.windowClass.empty()) args.insert(args.end(), {"--class", options.windowClass});
    if (options.above) args.emplace_back("--above");
    if (options.below) args.emplace_back("--below");
    if (options.counter) args.emplace_back("--counter");
    if (options.reportPresses) args.emplace_back("--report-presses");
    if (!options.text.empty()) {
        args.emplace_back("--text");
        args.push_back(options.text);
    }

    ChildProcess& process = server.startProcess(TEST_WINDOW_BIN, args);
    const std::optional<std::string> line = process.readLine(30s);
    if (!line) throw std::runtime_error("test_window did not show its window within 30 s");
    return TestWindow{&process, static_cast<uint32_t>(std::stoul(*line)), options.pattern};
}

QRect clientRect(XServer& server, uint32_t windowId) {
    const ProcessOutput info = server.run("xwininfo", {"-id", std::to_string(windowId)});
    const QString text = QString::fromStdString(info.out);
    auto field = [&](const char* name) {
        const QRegularExpressionMatch match =
            QRegularExpression(QString::fromLatin1(name) + QStringLiteral(":\\s+(-?\\d+)")).match(text);
        if (!match.hasMatch())
            throw std::runtime_error("xwininfo printed no " + std::string(name) + ": " + info.err);
        return match.captured(1).toInt();
    };
    return QRect(field("Absolute upper-left X"), field("Absolute upper-left Y"), field("Width"),
                 field("Height"));
}

std::optional<int> frameNumber(const QImage& image, const QRect& client) {
    int number = 0;
    for (int bit = 0; bit < 8; ++bit) {
        const QPoint centre(client.x() + client.width() * (2 * bit + 1) / 16, client.center().y());
        if (!image.rect().contains(centre)) return std::nullopt;
        const int level = qGray(image.pixel(centre));
        if (level > 64 && level < 192) return std::nullopt;
        number = number * 2 + (level >= 192 ? 1 : 0);
    }
    return number;
}

} // namespace testsupport
