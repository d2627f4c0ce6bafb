// What an agent is told at initialize: only what the listed tools do.
#include "agents/MCPInstructions.h"
#include "agents/AgentTools.h"

#include <QRegularExpression>
#include <gtest/gtest.h>

namespace {

QStringList builtInNames() {
    QStringList names;
    for (const AgentTool& tool : AgentTools::builtIn())
        names << tool.name;
    return names;
}

// Tool names the text names outside backticks (inside them are argument names).
QStringList namedTools(const QString& text) {
    QString plain = text;
    plain.remove(QRegularExpression(QStringLiteral("`[^`]*`")));
    QStringList names;
    for (const auto& match :
         QRegularExpression(QStringLiteral("\\b[a-z]+(?:_[a-z]+)+\\b")).globalMatch(plain))
        names << match.captured();
    return names;
}

TEST(MCPInstructionsTest, TheBuiltInToolsAreDescribedAndNothingElse) {
    const QStringList tools = builtInNames();
    const QString text = MCPInstructions::forTools(tools);
    for (const QString& named : namedTools(text))
        EXPECT_TRUE(tools.contains(named)) << named.toStdString();
    const bool records = tools.contains(QStringLiteral("record_screen"));
    EXPECT_EQ(text.contains(QStringLiteral("record")), records) << text.toStdString();
    EXPECT_TRUE(text.startsWith(records
                                    ? "Pictavia is a Linux screenshot and screen-recording app"
                                    : "Pictavia is a Linux screenshot app running on this computer. These "
                                      "tools drive it: capture the screen, a window or an area;"))
        << text.toStdString();
    EXPECT_TRUE(text.contains("search the user's capture history.\n\nHow to use it well:\n- Every capture"));
    EXPECT_TRUE(text.contains("get_status → displays") && text.contains("(0–1)"));
    EXPECT_TRUE(text.endsWith("(editor, Quick Access thumbnail, file manager)."));
}

TEST(MCPInstructionsTest, RecordingIsPromisedOnlyWithItsTools) {
    const QString with = MCPInstructions::forTools(
        QStringList{"take_screenshot", "record_screen", "start_recording", "stop_recording"});
    EXPECT_TRUE(with.startsWith("Pictavia is a Linux screenshot and screen-recording app running on this "
                                "computer. These tools drive it: capture the screen, a window or an area; "
                                "record video or GIFs.\n\n"))
        << with.toStdString();
    EXPECT_TRUE(with.contains("\n- Recording asks the user for permission unless they allowed it. Use "
                              "record_screen for short clips, or start_recording/stop_recording for longer "
                              "ones.\n"))
        << with.toStdString();

    const QString without = MCPInstructions::forTools(QStringList{"take_screenshot", "extract_text"});
    EXPECT_FALSE(without.contains("record")) << without.toStdString();
    EXPECT_FALSE(without.contains("editing tools")) << without.toStdString();
    EXPECT_FALSE(without.contains("show_in_pictavia")) << without.toStdString();
    for (const QString& named : namedTools(without))
        EXPECT_TRUE(named == "take_screenshot" || named == "extract_text") << named.toStdString();

    // Nothing listed: what Pictavia is and what the user controls, no tool at all.
    const QString none = MCPInstructions::forTools(QStringList{});
    EXPECT_TRUE(namedTools(none).isEmpty()) << none.toStdString();
    EXPECT_TRUE(none.startsWith("Pictavia is a Linux screenshot app running on this computer.\n\n"));
}

} // namespace
