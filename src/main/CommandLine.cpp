#include "main/CommandLine.h"

#include <QJsonDocument>

#include <cstdio>

namespace CommandLine {

std::optional<int> parse(QCommandLineParser& parser, const QStringList& arguments, const QString& command,
                         int positionals) {
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Show this help and exit."));
    parser.addOption(help);
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    if (!parser.parse(QStringList{QStringLiteral("pictavia ") + command} + arguments))
        return usageError(parser.errorText() + QStringLiteral(" (see \"pictavia %1 --help\")").arg(command));
    if (parser.isSet(help)) {
        // Qt names the program by its path; the usage line names the command instead.
        QString text = parser.helpText();
        const qsizetype end = text.indexOf(u'\n');
        const QString operands = text.left(end).section(QStringLiteral("[options]"), 1);
        text.replace(0, end, QStringLiteral("Usage: pictavia %1 [options]").arg(command) + operands);
        std::fputs(qPrintable(text), stdout);
        return ok;
    }
    if (parser.positionalArguments().size() > positionals)
        return usageError(QStringLiteral("unexpected argument \"%1\" (see \"pictavia %2 --help\")")
                              .arg(parser.positionalArguments().value(positionals), command));
    return std::nullopt;
}

int usageError(const QString& message) {
    std::fprintf(stderr, "pictavia: %s\n", qPrintable(message));
    return usage;
}

QJsonObject rectJson(const QRect& r) {
    return {{QStringLiteral("x"), r.x()},
            {QStringLiteral("y"), r.y()},
            {QStringLiteral("width"), r.width()},
            {QStringLiteral("height"), r.height()}};
}

void printJson(const QJsonArray& array) {
    std::fputs(QJsonDocument(array).toJson(QJsonDocument::Indented).constData(), stdout);
}

} // namespace CommandLine
