#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

#include <optional>

// Codex keeps its MCP servers in ~/.codex/config.toml as [mcp_servers.NAME] tables. The
// file is edited line by line rather than parsed and re-serialised, so that everything
// outside Pictavia's own table (comments, layout, other servers) stays exactly as it was.
// Works on bytes: only ASCII is ever looked at, and no line is ever re-encoded.
namespace CodexConfig {

struct Stripped {
    QByteArrayList lines;           // every line outside Pictavia's tables, in order, each with its line end
    std::optional<QString> command; // what [mcp_servers.pictavia] runs, when it says
    bool found = false;             // whether there was a [mcp_servers.pictavia] table
};

// Removes [mcp_servers.pictavia] and its sub-tables ([mcp_servers.pictavia.env] and the
// like) with every line in them, up to the next table of anyone else; only comments
// directly above that table stay, as its own.
Stripped strip(const QByteArray& text);

// The stripped lines joined back into a file.
QByteArray join(const QByteArrayList& lines);

// The table that runs `helperPath` with no arguments.
QByteArray table(const QString& helperPath);

// `text` without any Pictavia table, followed by the one for `helperPath`.
QByteArray withServer(const QByteArray& text, const QString& helperPath);

} // namespace CodexConfig
