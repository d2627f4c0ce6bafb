#pragma once

#include "platform/NamePrompt.h"
#include "platform/ToastPresenter.h"

namespace platform::qt {

// Messages as lines on stderr: for the command line and runs without a display.
class StderrToasts : public ToastPresenter {
public:
    void show(const QString& text, double seconds) override;
};

// Asks on the terminal when there is one; otherwise takes the suggested name.
class TerminalNamePrompt : public NamePrompt {
public:
    std::optional<QString> askForName(const QString& title, const QString& message,
                                      const QString& defaultName) override;
};

} // namespace platform::qt
