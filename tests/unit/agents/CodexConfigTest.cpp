// The line editing of Codex's config.toml: what belongs to Pictavia and what does not.

#include "agents/CodexConfig.h"

#include <gtest/gtest.h>

namespace {

TEST(CodexConfig, FilesWithoutPictaviaComeBackByteForByte) {
    for (const QByteArray& text :
         {QByteArray(""), QByteArray("a = 1"), QByteArray("a = 1\r\n\r\n[x]\r\nb = [\n  2,\n]\n"),
          QByteArray("[mcp_servers.pictaviax]\ncommand = \"y\"\n[[mcp_servers]]\n")}) {
        const CodexConfig::Stripped stripped = CodexConfig::strip(text);
        EXPECT_FALSE(stripped.found) << text.toStdString();
        EXPECT_EQ(CodexConfig::join(stripped.lines), text);
    }
}

TEST(CodexConfig, TablesAreRecognisedAsTomlSpellsThemAndOnlyTheirCommandCounts) {
    const CodexConfig::Stripped stripped = CodexConfig::strip("[ mcp_servers . \"pictavia\" ]  # ours\n"
                                                              "command_timeout = 5\n"
                                                              "command = '/a/pictavia-mcp' # here\n"
                                                              "[mcp_servers.'pictavia'.env]\n"
                                                              "command = \"not this\"\n"
                                                              "[other]\n");
    EXPECT_TRUE(stripped.found);
    EXPECT_EQ(stripped.command, "/a/pictavia-mcp");
    EXPECT_EQ(CodexConfig::join(stripped.lines), "[other]\n");

    EXPECT_EQ(CodexConfig::strip("[mcp_servers.pictavia]\ncommand = \"C:\\\\x\\\"y\\u00e9\"\n").command,
              QString::fromUtf8("C:\\x\"y\u00e9"));
}

TEST(CodexConfig, TheTableGoesAtTheEndAfterOneBlankLine) {
    EXPECT_EQ(CodexConfig::withServer("", "/p/pictavia-mcp"),
              "[mcp_servers.pictavia]\ncommand = \"/p/pictavia-mcp\"\nargs = []\n");
    const QByteArray once = CodexConfig::withServer(
        "[mcp_servers.pictavia]\ncommand = \"old\"\n[x]\ny = 1\n\n\n", "/p/pictavia-mcp");
    EXPECT_EQ(once, "[x]\ny = 1\n\n[mcp_servers.pictavia]\ncommand = \"/p/pictavia-mcp\"\nargs = []\n");
    EXPECT_EQ(CodexConfig::withServer(once, "/p/pictavia-mcp"), once);
    // Windows line ends stay Windows line ends.
    EXPECT_EQ(CodexConfig::withServer("a = 1\r\n", "/p"),
              "a = 1\r\n\r\n[mcp_servers.pictavia]\r\ncommand = \"/p\"\r\nargs = []\r\n");
}

} // namespace
