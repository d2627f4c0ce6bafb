#!/usr/bin/env bash
# Times the interactive paths (hotkey or command to the selection overlay, URL to file) of
# the resident Pictavia and of other screenshot tools, on an Xvfb desktop with openbox.
#
#   bench/interactive.sh [BUILD_DIR]      RUNS=15 by default
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d /tmp/pictavia-interactive.XXXXXX)
source "$here/desktop.sh"
trap 'stop_started; rm -rf "$work"' EXIT
start_desktop 1920 1080 "$build/bench/scene" "$work" || { echo "interactive: no desktop" >&2; exit 1; }

if command -v dbus-daemon >/dev/null; then
  dbus-daemon --session --nofork --nopidfile --print-address=5 5>"$work/bus" 2>/dev/null &
  pids+=($!)
  wait_for_file "$work/bus" 10
  export DBUS_SESSION_BUS_ADDRESS=$(head -n1 "$work/bus")
fi

# Pictavia with its own settings and data; F8 because openbox keeps Print for itself.
use_private_home "$work"
printf 'copyToClipboard = false\ncaptureSound = false\nshowQuickAccess = false\nshowMagnifier = true\n[Hotkeys]\narea = F8\n' \
  >"$XDG_CONFIG_HOME/pictavia/pictavia.conf"
"$build/pictavia" --background 2>"$work/pictavia.log" &
pids+=($!)
wait_for_path "$XDG_RUNTIME_DIR/pictavia/instance" 20 || { echo "interactive: pictavia did not start" >&2; cat "$work/pictavia.log" >&2; exit 1; }

PICTAVIA="$build/pictavia" HISTORY="$XDG_DATA_HOME/Pictavia/History" python3 "$here/interactive.py"
