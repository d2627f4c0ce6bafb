#!/usr/bin/env bash
# pictavia-mcp with the resident Pictavia running on a private Xvfb display: first reply
# after starting the bridge, and round trips through it.
#
#   bench/agent.sh [BUILD_DIR] [RUNS]
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
runs=${2:-30}
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d /tmp/pictavia-agent.XXXXXX)
source "$here/desktop.sh"
trap 'stop_started; rm -rf "$work"' EXIT

rm -f "$work/display"
Xvfb -displayfd 4 -screen 0 1280x800x24 -nolisten tcp -noreset 4>"$work/display" 2>"$work/xvfb.log" &
pids+=($!)
wait_for_file "$work/display" 20 || { echo "agent: Xvfb did not start" >&2; exit 1; }
export DISPLAY=":$(head -n1 "$work/display")"
unset WAYLAND_DISPLAY # its own X server, even when started from a Wayland desktop
unset WAYLAND_DISPLAY QT_QPA_PLATFORM

# Pictavia with a home of its own, so its agent socket is this run's.
export HOME=$work/home XDG_CONFIG_HOME=$work/home/.config XDG_DATA_HOME=$work/home/.local/share
export XDG_RUNTIME_DIR=$work/runtime
mkdir -p "$XDG_CONFIG_HOME/pictavia" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
printf 'captureSound = false\n' >"$XDG_CONFIG_HOME/pictavia/pictavia.conf"
"$build/pictavia" --background 2>"$work/pictavia.log" &
pids+=($!)
wait_for_path "$HOME/.local/share/Pictavia/agent.sock" 30 ||
  { echo "agent: pictavia did not serve agents" >&2; cat "$work/pictavia.log" >&2; exit 1; }

"$build/bench/agent_bench" "$build/pictavia-mcp" "$runs"
