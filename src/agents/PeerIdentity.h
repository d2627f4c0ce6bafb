#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// Who is on the other end of a trusted agent connection: the bridge's process, the
// program that started it, and the desktop application it runs under (an AI client such
// as Claude, Cursor or VS Code), as far as the process tree tells.
struct PeerIdentity {
    qint32 helperPID = 0;
    std::optional<QString> hostAppName;  // the application's Name, e.g. "Cursor"
    std::optional<QString> hostBundleID; // its desktop entry id, e.g. "cursor"
    std::optional<QString> hostAppPath;  // its executable
    std::optional<QString> launcherName; // the bridge's parent's executable name, e.g. "node"

    // Where the process tree and the installed applications are read.
    struct Sources {
        QString procRoot = QStringLiteral("/proc");
        // Folders of .desktop files, most important first.
        QStringList applicationDirs;
        // $XDG_DATA_HOME/applications, then $XDG_DATA_DIRS/applications (defaults
        // ~/.local/share and /usr/local/share:/usr/share).
        static Sources system();
    };

    // At most this many processes are looked at, from the bridge's parent upwards.
    static constexpr int maxDepth = 12;

    static PeerIdentity resolve(qint32 helperPID);
    static PeerIdentity resolve(qint32 helperPID, const Sources& sources);
};

// The program an Exec line of a desktop entry runs: its first word, unquoted, after an
// `env` and its NAME=VALUE words. Empty when there is none.
QString desktopEntryProgram(const QString& exec);
