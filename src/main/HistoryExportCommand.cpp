#include "main/HistoryExportCommand.h"

#include "capture/HistoryManager.h"
#include "editor/PresetStore.h"
#include "history/HistoryBatch.h"
#include "main/CommandLine.h"
#include "main/CommandOutput.h"
#include "main/PlatformSetup.h"
#include "platform/Platform.h"
#include "platform/qt/TerminalPresenters.h"

#include <QDir>
#include <QFileInfo>

#include <climits>

namespace {

const QString command = QStringLiteral("history export");

// A capture in the history folder by its file name, or any file by its path.
std::optional<QString> resolve(const QString& name) {
    const QString inHistory = QDir(HistoryManager::directory()).filePath(name);
    if (!QFileInfo(name).isAbsolute() && QFileInfo(inHistory).isFile()) return inHistory;
    if (QFileInfo(name).isFile()) return QFileInfo(name).absoluteFilePath();
    CommandOutput::error(
        QStringLiteral("no capture \"%1\" in %2, and no such file").arg(name, HistoryManager::directory()));
    return std::nullopt;
}

void reportSkipped(int written, qsizetype total) {
    if (written < total)
        CommandOutput::error(QStringLiteral("skipped %1 file(s) that are not images").arg(total - written));
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
        QStringLiteral("styled"),
        QStringLiteral("Write beautified copies into FOLDER (made when missing) and print\n"
                       "their paths."),
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

    if (!CommandLine::hosted()) {
        PlatformSetup::installImageServices();
        platform::Services presenters;
        presenters.toasts = std::make_unique<platform::qt::StderrToasts>();
        platform::install(std::move(presenters));
    }

    if (parser.isSet(pdf)) {
        const QString destination = parser.value(pdf);
        const int pages = HistoryBatch::writePDF(files, destination);
        if (pages == 0) {
            CommandOutput::error(QStringLiteral("Could not write the PDF %1").arg(destination));
            return CommandLine::failed;
        }
        reportSkipped(pages, files.size());
        CommandOutput::out(QStringLiteral("Saved %1 pages to %2\n").arg(pages).arg(destination));
    } else if (parser.isSet(zip)) {
        const QString destination = parser.value(zip);
        if (!HistoryBatch::zip(files, destination)) {
            CommandOutput::error(QStringLiteral("Could not create the archive %1").arg(destination));
            return CommandLine::failed;
        }
        CommandOutput::out(QStringLiteral("Saved %1 files to %2\n").arg(files.size()).arg(destination));
    } else {
        std::optional<BeautifyPreset> style;
        if (parser.isSet(preset)) {
            style = PresetStore::shared().findByName(parser.value(preset));
            if (!style) {
                CommandOutput::error(
                    QStringLiteral("no beautify preset named \"%1\"").arg(parser.value(preset)));
                return CommandLine::failed;
            }
        }
        const QString folder = parser.value(styled);
        if (!QDir().mkpath(folder)) {
            CommandOutput::error(QStringLiteral("cannot make the folder %1").arg(folder));
            return CommandLine::failed;
        }
        const QStringList written = HistoryBatch::beautifyAndExport(files, folder, style);
        reportSkipped(int(written.size()), files.size());
        for (const QString& path : written)
            CommandOutput::out(path + u'\n');
        if (written.isEmpty()) return CommandLine::failed;
    }
    return CommandLine::ok;
}
