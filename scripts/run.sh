#!/usr/bin/env bash
# Starts Pictavia: in the tray, with its hotkeys, until it is quit. Where there is no
# display, it starts a private virtual one (Xvfb) with a window manager, starts Pictavia
# there, asks it for a full-screen capture through a pictavia:// URL, says where the file
# went, and stops everything again.
set -euo pipefail
build=${1:-build}
pictavia="$build/pictavia"

if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
  exec "$pictavia"
fi

tmp=$(mktemp -d)
xvfb_pid=""
cleanup() {
  [ -n "$xvfb_pid" ] && kill "$xvfb_pid" 2>/dev/null && wait "$xvfb_pid" 2>/dev/null
  rm -rf "$tmp"
}
trap cleanup EXIT

Xvfb -displayfd 3 -screen 0 1920x1080x24 -nolisten tcp 3>"$tmp/display" 2>"$tmp/xvfb.log" &
xvfb_pid=$!
for _ in $(seq 100); do
  [ -s "$tmp/display" ] && break
  sleep 0.05
done
[ -s "$tmp/display" ] || { echo "run: the virtual display did not start:" >&2; cat "$tmp/xvfb.log" >&2; exit 1; }
export DISPLAY=":$(head -n1 "$tmp/display")"
echo "No display here, so Pictavia runs on a private virtual display ($DISPLAY)."

xsetroot -solid '#3b5b7a' 2>/dev/null || true
openbox --sm-disable >/dev/null 2>&1 &
wm_pid=$!

# Its own runtime folder, so the URL reaches this instance and no other.
export XDG_RUNTIME_DIR=$tmp/runtime
mkdir -m 700 "$XDG_RUNTIME_DIR"
"$pictavia" --background 2>"$tmp/pictavia.log" &
app_pid=$!
for _ in $(seq 200); do
  [ -S "$XDG_RUNTIME_DIR/pictavia/instance" ] && break
  sleep 0.05
done
[ -S "$XDG_RUNTIME_DIR/pictavia/instance" ] || { echo "run: Pictavia did not start:" >&2; cat "$tmp/pictavia.log" >&2; exit 1; }
echo "Pictavia is running; asking it for pictavia://capture-fullscreen"

history="${XDG_DATA_HOME:-$HOME/.local/share}/Pictavia/History"
mkdir -p "$history"
touch "$tmp/started"
"$pictavia" pictavia://capture-fullscreen
file=""
for _ in $(seq 200); do
  file=$(find "$history" -maxdepth 1 -type f -newer "$tmp/started" | head -n1)
  [ -n "$file" ] && break
  sleep 0.05
done
kill "$app_pid" "$wm_pid" 2>/dev/null || true
wait "$app_pid" "$wm_pid" 2>/dev/null || true
if [ -n "$file" ]; then
  echo "Captured the virtual display: $file"
else
  echo "run: no capture arrived:" >&2
  cat "$tmp/pictavia.log" >&2
  exit 1
fi
