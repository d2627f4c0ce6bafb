#include "platform/qt/TerminalPresenters.h"

#include <cstdio>
#include <iostream>
#include <string>
#include <unistd.h>

namespace platform::qt {

void StderrToasts::show(const QString& text, double) {
    std::fprintf(stderr, "%s\n", qPrintable(text));
}

std::optional<QString> TerminalNamePrompt::askForName(const QString& title, const QString& message,
                                                      const QString& defaultName) {
    if (!isatty(STDIN_FILENO)) return defaultName;
    std::fprintf(stderr, "%s. %s\nName [%s] (Enter keeps it, - cancels): ", qPrintable(title),
                 qPrintable(message), qPrintable(defaultName));
    std::string line;
    if (!std::getline(std::cin, line)) return std::nullopt;
    const QString answer = QString::fromStdString(line).trimmed();
    if (answer == u"-") return std::nullopt;
    return answer.isEmpty() ? defaultName : answer;
}

} // namespace platform::qt
