#pragma once

#include "agents/AgentAccess.h"

#include <QWidget>

class QLabel;

namespace ui {

// A floating request from an AI agent, above other windows in the top right corner: what
// the agent wants and the buttons to answer. Prompts come one at a time; the next waits
// until this one is answered. Closing the panel declines.
class AgentPromptPanel : public QWidget {
    Q_OBJECT
public:
    static constexpr auto windowTitle = "Pictavia · AI agent request";

    // Queues the prompt; `answer` is called exactly once.
    static void ask(const AgentAccess::Prompt& prompt, std::function<void(AgentAccess::Answer)> answer);

protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    AgentPromptPanel(const AgentAccess::Prompt& prompt, std::function<void(AgentAccess::Answer)> answer);
    void finish(AgentAccess::Answer answer);
    static void showNextIfIdle();

    std::function<void(AgentAccess::Answer)> m_answer;
};

// A short notice near the top of the screen when an agent acts ("Claude took a
// screenshot"), gone after a few seconds.
namespace AgentNotice {
void show(const QString& text);
}

} // namespace ui
