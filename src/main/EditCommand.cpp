#include "main/EditCommand.h"

#include "main/CommandLine.h"
#include "main/DesktopApp.h"

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
        parser.setApplicationDescription(
            QStringLiteral("Opens an image or a Pictavia project in the editor."));
        parser.addPositionalArgument(
            QStringLiteral("FILE"),
            QStringLiteral("A PNG, JPEG, WebP or HEIC image, or a .pictavia project."));
        stop = CommandLine::parse(parser, arguments, QStringLiteral("edit"), 1);
        if (!stop && parser.positionalArguments().size() != 1)
            stop = CommandLine::usageError(QStringLiteral("name one file to edit"));
        if (!stop) path = QFileInfo(parser.positionalArguments().first()).absoluteFilePath();
    }
    if (stop) return *stop;
    if (!QFileInfo(path).isFile() || !QFileInfo(path).isReadable()) {
        std::fprintf(stderr, "pictavia: cannot open %s\n", qPrintable(path));
        return CommandLine::failed;
    }
    QUrl url(QStringLiteral("pictavia://open-file"));
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("path"), QString::fromUtf8(QUrl::toPercentEncoding(path)));
    url.setQuery(query);
    return DesktopApp::run(argc, argv, {url.toString(QUrl::FullyEncoded)});
}
