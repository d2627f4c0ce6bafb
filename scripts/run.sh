#!/usr/bin/env bash
# Starts Pictavia. Where there is no display, it starts a private virtual one (Xvfb),
# takes one full-screen capture through the whole pipeline, says where the file went,
# and stops the virtual display again.
set -euo pipefail
build=${1:-build}
pictavia="$build/pictavia"

if [ -n "${DISPLAY:-}" ]; then
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
if file=$("$pictavia" capture fullscreen); then
  echo "Captured the virtual display: $file"
else
  exit 1
fi
