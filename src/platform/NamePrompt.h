#pragma once

#include <QString>

#include <optional>

namespace platform {

// Asks the user for a file name: a dialog, or a question on the terminal.
class NamePrompt {
public:
    virtual ~NamePrompt() = default;
    // The name typed, or none when the user cancelled.
    virtual std::optional<QString> askForName(const QString& title, const QString& message,
                                              const QString& defaultName) = 0;
};

} // namespace platform
