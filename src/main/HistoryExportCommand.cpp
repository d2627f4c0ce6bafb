#include "main/HistoryExportCommand.h"

#include "capture/HistoryManager.h"
#include "editor/PresetStore.h"
#include "history/HistoryBatch.h"
#include "main/CommandLine.h"
#include "main/PlatformSetup.h"
#include "platform/Platform.h"
#include "platform/qt/TerminalPresenters.h"

#include <QDir>
#include <QFileInfo>

#include <climits>

#include <cstdio>

namespace {

const QString command = QStringLiteral("history export");

// A capture in the history folder by its file name, or any file by its path.
std::optional<QString> resolve(const QString& name) {
    const QString inHistory = QDir(HistoryManager::directory()).filePath(name);
    if (!QFileInfo(name).isAbsolute() && QFileInfo(inHistory).isFile()) return inHistory;
    if (QFileInfo(name).isFile()) return QFileInfo(name).absoluteFilePath();
    std::fprintf(stderr, "pictavia: no capture \"%s\" in %s, and no such file\n", qPrintable(name),
                 qPrintable(HistoryManager::directory()));
    return std::nullopt;
}

void reportSkipped(int written, qsizetype total) {
    if (written < total)
        std::fprintf(stderr, "pictavia: skipped %lld file(s) that are not images\n",
                     static_cast<long long>(total - written));
}

} // namespace

int runHistoryExportCommand(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Exports captures together: one PDF page per image, one ZIP archive holding a folder\n"
                       "\"Pictavia captures\", or beautified copies (\"NAME styled.EXT\") in a folder.\n"
                       "NAMES are file names in the history folder or paths."));
    const QCommandLineOption pdf(QStringLiteral("pdf"), QStringLiteral("Write a PDF to FILE."),
                                 QStringLiteral("FILE"));
    const QCommandLineOption zip(QStringLiteral("zip"), QStringLiteral("Write a ZIP archive to FILE."),
                                 QStringLiteral("FILE"));
    const QCommandLineOption styled(
        QStringLiteral("styled"), QStringLiteral("Write beautified copies into FOLDER (made when missing)."),
        QStringLiteral("FOLDER"));
    const QCommandLineOption preset(
        QStringLiteral("preset"),
        QStringLiteral("The beautify preset for --styled (default: the active one)."),
        QStringLiteral("NAME"));
    parser.addOptions({pdf, zip, styled, preset});
    parser.addPositionalArgument(QStringLiteral("NAMES"), QStringLiteral("The captures, in page order."),
                                 QStringLiteral("NAMES..."));
    if (const auto code = CommandLine::parse(parser, arguments, command, INT_MAX)) return *code;

    const int chosen = int(parser.isSet(pdf)) + int(parser.isSet(zip)) + int(parser.isSet(styled));
    if (chosen != 1)
        return CommandLine::usageError(QStringLiteral(
            "choose one of --pdf, --zip or --styled (see \"pictavia history export --help\")"));
    if (parser.positionalArguments().isEmpty())
        return CommandLine::usageError(QStringLiteral("name the captures to export"));
    QStringList files;
    for (const QString& name : parser.positionalArguments()) {
        const auto path = resolve(name);
        if (!path) return CommandLine::failed;
        files << *path;
    }

    PlatformSetup::installImageServices();
    platform::Services presenters;
    presenters.toasts = std::make_unique<platform::qt::StderrToasts>();
    platform::install(std::move(presenters));

    if (parser.isSet(pdf)) {
        const QString destination = parser.value(pdf);
        const int pages = HistoryBatch::writePDF(files, destination);
        if (pages == 0) {
            std::fprintf(stderr, "pictavia: Could not write the PDF %s\n", qPrintable(destination));
            return CommandLine::failed;
        }
        reportSkipped(pages, files.size());
        std::printf("Saved %d pages to %s\n", pages, qPrintable(destination));
    } else if (parser.isSet(zip)) {
        const QString destination = parser.value(zip);
        if (!HistoryBatch::zip(files, destination)) {
            std::fprintf(stderr, "pictavia: Could not create the archive %s\n", qPrintable(destination));
            return CommandLine::failed;
        }
        std::printf("Saved %lld files to %s\n", static_cast<long long>(files.size()),
                    qPrintable(destination));
    } else {
        std::optional<BeautifyPreset> style;
        if (parser.isSet(preset)) {
            style = PresetStore::shared().findByName(parser.value(preset));
            if (!style) {
                std::fprintf(stderr, "pictavia: no beautify preset named \"%s\"\n",
                             qPrintable(parser.value(preset)));
                return CommandLine::failed;
            }
        }
        const QString folder = parser.value(styled);
        if (!QDir().mkpath(folder)) {
            std::fprintf(stderr, "pictavia: cannot make the folder %s\n", qPrintable(folder));
            return CommandLine::failed;
        }
        const int count = HistoryBatch::beautifyAndExport(files, folder, style);
        reportSkipped(count, files.size());
        std::printf("Exported %d styled %s\n", count, count == 1 ? "image" : "images");
        if (count == 0) return CommandLine::failed;
    }
    return CommandLine::ok;
}
