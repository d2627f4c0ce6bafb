#include "main/EditCommand.h"

#include "editor/ClipboardOpener.h"
#include "main/CommandLine.h"
#include "main/DesktopApp.h"
#include "main/PlatformSetup.h"
#include "platform/Platform.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QUrl>
#include <QUrlQuery>

#include <cstdio>

int runEditCommand(int argc, char** argv, const QStringList& arguments) {
    std::optional<int> stop;
    QString path;
    {
        // The parser needs an application for --help; the desktop app makes its own later.
        QCoreApplication app(argc, argv);
        QCommandLineParser parser;
        parser.setApplicationDescription(QStringLiteral(
            "Opens an image or a Pictavia project in the editor, a movie in the video editor."));
        parser.addPositionalArgument(
            QStringLiteral("FILE"),
            QStringLiteral("A PNG, JPEG, WebP or HEIC image, a .pictavia project, or an MP4 or MOV movie."));
        stop = CommandLine::parse(parser, arguments, QStringLiteral("edit"), 1);
        if (!stop && parser.positionalArguments().size() != 1)
            stop = CommandLine::usageError(QStringLiteral("name one file to edit"));
        if (!stop) path = QFileInfo(parser.positionalArguments().first()).absoluteFilePath();
        // Checked here, where the caller hears of it, before any Pictavia is started or asked.
        if (!stop) {
            PlatformSetup::installImageServices();
            Result<bool> openable = ClipboardOpener::check(path);
            // A movie is read as far as its length and size, which the video editor needs.
            if (openable && ClipboardOpener::isMovie(path)) {
                const auto& reader = platform::services().media;
                if (const auto info =
                        reader ? reader->info(path)
                               : Result<platform::MediaInfo>(Error{QStringLiteral("Cannot read movies")});
                    !info)
                    openable = info.error();
            }
            if (!openable) {
                std::fprintf(stderr, "pictavia: %s\n", qPrintable(openable.error().message));
                stop = CommandLine::failed;
            }
        }
    }
    if (stop) return *stop;
    QUrl url(QStringLiteral("pictavia://open-file"));
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("path"), QString::fromUtf8(QUrl::toPercentEncoding(path)));
    url.setQuery(query);
    return DesktopApp::run(argc, argv, {url.toString(QUrl::FullyEncoded)});
}
