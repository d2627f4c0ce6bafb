#include "main/CommandLine.h"

#include <cstdio>

namespace CommandLine {

std::optional<int> parse(QCommandLineParser& parser, const QStringList& arguments, const QString& command) {
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Show this help and exit."));
    parser.addOption(help);
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    if (!parser.parse(QStringList{QStringLiteral("pictavia ") + command} + arguments))
        return usageError(parser.errorText() + QStringLiteral(" (see \"pictavia %1 --help\")").arg(command));
    if (parser.isSet(help)) {
        // Qt names the program by its path; the usage line names the command instead.
        QString text = parser.helpText();
        text.replace(0, text.indexOf(u'\n'), QStringLiteral("Usage: pictavia %1 [options]").arg(command));
        std::fputs(qPrintable(text), stdout);
        return ok;
    }
    if (!parser.positionalArguments().isEmpty())
        return usageError(QStringLiteral("unexpected argument \"%1\" (see \"pictavia %2 --help\")")
                              .arg(parser.positionalArguments().first(), command));
    return std::nullopt;
}

int usageError(const QString& message) {
    std::fprintf(stderr, "pictavia: %s\n", qPrintable(message));
    return usage;
}

} // namespace CommandLine
