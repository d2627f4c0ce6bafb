#pragma once

#include "platform/NamePrompt.h"

namespace ui {

// A modal dialog with the suggested name selected, and Save and Cancel.
class DialogNamePrompt : public platform::NamePrompt {
public:
    std::optional<QString> askForName(const QString& title, const QString& message,
                                      const QString& defaultName) override;
};

} // namespace ui
