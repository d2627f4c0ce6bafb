#include "main/CommandLine.h"

#include "main/CommandOutput.h"

#include <QJsonDocument>

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
        CommandOutput::out(text);
        return ok;
    }
    if (parser.positionalArguments().size() > positionals)
        return usageError(QStringLiteral("unexpected argument \"%1\" (see \"pictavia %2 --help\")")
                              .arg(parser.positionalArguments().value(positionals), command));
    return std::nullopt;
}

namespace {
bool inInstance = false;
} // namespace

bool hosted() {
    return inInstance;
}

void setHosted(bool hosted) {
    inInstance = hosted;
}

int usageError(const QString& message) {
    CommandOutput::error(message);
    return usage;
}

QJsonObject rectJson(const QRect& r) {
    return {{QStringLiteral("x"), r.x()},
            {QStringLiteral("y"), r.y()},
            {QStringLiteral("width"), r.width()},
            {QStringLiteral("height"), r.height()}};
}

void printJson(const QJsonArray& array) {
    CommandOutput::outBytes(QJsonDocument(array).toJson(QJsonDocument::Indented));
}

} // namespace CommandLine
