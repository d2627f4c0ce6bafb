#include "main/ListCommand.h"

#include "app/Prefs.h"
#include "capture/ScreenCaptureService.h"
#include "main/CommandLine.h"
#include "main/PlatformSetup.h"
#include "platform/Platform.h"

#include <QJsonArray>
#include <QJsonObject>

#include <cstdio>

namespace {

// Parses the options shared by both listings; returns an exit code when it should stop.
std::optional<int> prepare(const QStringList& arguments, const QString& command, const QString& description,
                           bool* json) {
    QCommandLineParser parser;
    parser.setApplicationDescription(description);
    parser.addOption({QStringLiteral("json"), QStringLiteral("Print JSON instead of a table.")});
    if (const auto code = CommandLine::parse(parser, arguments, command)) return code;
    *json = parser.isSet(QStringLiteral("json"));
    Prefs::registerDefaults();
    if (const auto installed = PlatformSetup::install(PlatformSetup::Presentation::Terminal); !installed) {
        std::fprintf(stderr, "pictavia: %s\n", qPrintable(installed.error().message));
        return CommandLine::failed;
    }
    return std::nullopt;
}

} // namespace

int runDisplaysCommand(const QStringList& arguments) {
    bool json = false;
    if (const auto code =
            prepare(arguments, QStringLiteral("displays"),
                    QStringLiteral("Lists the displays: number, name, geometry in pixels, scale."), &json))
        return *code;
    QJsonArray array;
    for (const auto& d : ScreenCaptureService::shared().displays()) {
        if (json) {
            array.append(QJsonObject{{QStringLiteral("id"), static_cast<qint64>(d.id)},
                                     {QStringLiteral("name"), d.name},
                                     {QStringLiteral("frame"), CommandLine::rectJson(d.geometry)},
                                     {QStringLiteral("scale"), d.scale},
                                     {QStringLiteral("primary"), d.primary}});
        } else {
            std::printf("%-10u %-10s %dx%d+%d+%d  scale %g%s\n", d.id, qPrintable(d.name), d.geometry.width(),
                        d.geometry.height(), d.geometry.x(), d.geometry.y(), d.scale,
                        d.primary ? "  primary" : "");
        }
    }
    if (json) CommandLine::printJson(array);
    return CommandLine::ok;
}

int runWindowsCommand(const QStringList& arguments) {
    bool json = false;
    if (const auto code = prepare(arguments, QStringLiteral("windows"),
                                  QStringLiteral("Lists the windows on screen, front to back: number, "
                                                 "application, title."),
                                  &json))
        return *code;
    if (const auto missing = PlatformSetup::notAvailable(PlatformSetup::Flow::windowList)) {
        std::fprintf(stderr, "pictavia: %s\n", qPrintable(*missing));
        return CommandLine::failed;
    }
    QJsonArray array;
    for (const auto& w : platform::services().screen->windows()) {
        if (json) {
            array.append(QJsonObject{{QStringLiteral("id"), static_cast<qint64>(w.id)},
                                     {QStringLiteral("pid"), w.pid},
                                     {QStringLiteral("app"), w.ownerName},
                                     {QStringLiteral("title"), w.title},
                                     {QStringLiteral("layer"), w.layer},
                                     {QStringLiteral("frame"), CommandLine::rectJson(w.frame)}});
        } else {
            std::printf("%-10u %-16s %s\n", w.id, qPrintable(w.ownerName), qPrintable(w.title));
        }
    }
    if (json) CommandLine::printJson(array);
    return CommandLine::ok;
}
