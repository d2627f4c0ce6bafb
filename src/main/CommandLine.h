#pragma once

#include <QCommandLineParser>
#include <QJsonArray>
#include <QJsonObject>
#include <QRect>
#include <QString>
#include <QStringList>

#include <optional>

// Shared conventions of the pictavia commands: exit codes, --help, usage errors.
namespace CommandLine {

inline constexpr int ok = 0;
inline constexpr int failed = 1; // the command ran and could not do what was asked
inline constexpr int usage = 2;  // the command line itself was wrong

// Parses `arguments` (without the program and command names), allowing up to
// `positionals` operands. Returns an exit code when the command should stop here: after
// printing --help, or on a wrong option.
std::optional<int> parse(QCommandLineParser& parser, const QStringList& arguments, const QString& command,
                         int positionals = 0);

// Whether commands run inside the resident app for another process, which has its
// services, history and presenters installed already.
bool hosted();
void setHosted(bool hosted);

// Prints "pictavia: <message>" and a hint, and returns `usage`.
int usageError(const QString& message);

// The JSON output of the listing commands: rectangles as {x, y, width, height}, arrays
// indented on stdout.
QJsonObject rectJson(const QRect& rect);
void printJson(const QJsonArray& array);

} // namespace CommandLine
