#pragma once

// What `pictavia --help` prints: answered by the launcher before any library is loaded,
// and by the application after an unknown command.
inline constexpr const char* usageText = R"(Usage: pictavia [COMMAND] [options]
       pictavia [--background] [--trust-any-agent] [pictavia://COMMAND?ITEMS ...]

Screenshots of an area, a window or a whole display, named, saved, copied
and kept in a searchable history.

Without a command, Pictavia starts in the tray with its global hotkeys
(Print: area, Shift+Print: full screen, Ctrl+Print: window, Alt+Print:
all-in-one; change them under [Hotkeys] in ~/.config/pictavia/pictavia.conf).
When it is already running, the arguments go to the running instance:
  pictavia pictavia://capture-fullscreen
  pictavia "pictavia://capture-area?x=0&y=0&width=640&height=480&copy"
                 (&copy: to the clipboard only; a rectangle must lie on the display)
  --background   start without the greeting
  --trust-any-agent
                 let any program of this user use the AI agent socket, not only
                 the pictavia-mcp beside pictavia (for development; the same as
                 PICTAVIA_TRUST_ANY_AGENT=1)
  --backend x11|wayland
                 the display server to work with, before or after any command;
                 without it, Wayland where WAYLAND_DISPLAY is set (unless
                 XDG_SESSION_TYPE=x11), else X11. Under Wayland, full-screen and
                 area captures go through the desktop's screenshot portal; window
                 captures, recordings, scrolling captures and global hotkeys are not
                 available there yet

URL commands: capture-area (capture), capture-window (window),
capture-fullscreen (fullscreen), capture-previous (previous), all-in-one,
capture-text, scrolling-capture (scroll), open-file (open) ?path=,
open-clipboard (clipboard), history, settings (preferences).

Commands:
  capture fullscreen|area|window|scrolling
                                   take one capture (see "pictavia capture --help")
  record fullscreen|area|window    record a movie or a GIF until Ctrl+C or --duration
                                   (see "pictavia record --help")
  video export MOVIE               a recording trimmed, in a studio look, resized or as
                                   a GIF, kept as a new capture (see "pictavia video
                                   export --help")
  video captions MOVIE             the transcript of a recording's speech, or with
                                   --srt FILE its subtitles (see "pictavia video
                                   captions --help")
  displays                         list the displays and their numbers
  windows                          list the windows on screen and their numbers
  text FILE                        the text of an image (--lines, --words, --codes,
                                   --find PHRASE for where a phrase is)
  scan FILE                        the sensitive data visible in an image
  edit FILE                        open an image or a .pictavia project in the editor
  history search QUERY             captures holding every word, newest first (--kind,
                                   --json); history keep|unkeep|delete NAME
  history export --pdf|--zip|--styled DEST NAMES...
                                   captures from the history as one PDF, one ZIP or
                                   styled copies in a folder
  agents status|connect|disconnect [CLIENT]
                                   Pictavia's MCP server in AI clients (Claude, Codex,
                                   Cursor, VS Code, Windsurf; see "pictavia agents --help")
  help                             show this help
)";
