#!/usr/bin/env bash
# Scrolling captures of pages 3, 10 and 30 screens long: the time each takes, how much of it
# went to measuring and stitching, and the result against the page rendered whole (PSNR, rows
# that differ, rows doubled or lost).
#
#   bench/scrolling.sh [BUILD_DIR]      (default: ./build)
#
# Two sets of pages, kept apart: the tuning set, a Qt page with a fixed header and footer
# (tests/helpers/scroll_page, the page the stitching was developed on), and the judging set,
# pages it was never tried on: Chromium showing prose in a serif font under a sticky header,
# compared with Chromium's own full-page rendering at the same width.
set -euo pipefail

build=$(cd "${1:-build}" && pwd)
for tool in Xvfb openbox xdotool xwininfo chromium; do
  command -v "$tool" >/dev/null || { echo "scrolling: $tool is missing (see scripts/deps.sh)" >&2; exit 1; }
done
cmake --build "$build" --target pictavia scroll_page scroll_compare >/dev/null

work=$(mktemp -d /tmp/pictavia-scrolling-bench.XXXXXX)
pids=()
cleanup() {
  for ((i = ${#pids[@]} - 1; i >= 0; i--)); do kill "${pids[i]}" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

export HOME=$work/home XDG_CONFIG_HOME=$work/home/config XDG_DATA_HOME=$work/home/data XDG_RUNTIME_DIR=$work
mkdir -p "$XDG_CONFIG_HOME/pictavia"
printf 'copyToClipboard = false\ncaptureSound = false\nshowQuickAccess = false\n' >"$XDG_CONFIG_HOME/pictavia/pictavia.conf"

exec 3<> <(:)
Xvfb -displayfd 3 -screen 0 1280x1000x24 -nolisten tcp >/dev/null 2>&1 &
pids+=($!)
read -r -u 3 number
export DISPLAY=:$number QT_QPA_PLATFORM=xcb
unset WAYLAND_DISPLAY # its own X server, even when started from a Wayland desktop
openbox >/dev/null 2>&1 &
pids+=($!)
sleep 1

# Runs one capture of the root rectangle $1 and compares it with $2, ignoring $3 columns at
# the right; prints one table row labelled $4.
capture() {
  local rect=$1 reference=$2 ignored=$3 label=$4 start end out timing
  start=$(date +%s%N)
  out=$(QT_LOGGING_RULES="pictavia.scrolling.debug=true" "$build/pictavia" capture scrolling --rect "$rect" 2>"$work/log")
  end=$(date +%s%N)
  timing=$(grep -o '[0-9]* frames.*' "$work/log" || echo "no timing")
  printf '%-28s %6.1f s   %-62s %s\n' "$label" "$(echo "($end - $start) / 1000000000" | bc -l)" "$timing" \
    "$("$build/bench/scroll_compare" "$out" "$reference" "$ignored")"
}

client_rect() { # the window's client area as X,Y,W,H
  xwininfo -id "$1" | awk '/Absolute upper-left X/{x=$4} /Absolute upper-left Y/{y=$4} /Width:/{w=$2} /Height:/{h=$2} END{print x","y","w","h}'
}

echo "== tuning set: Qt page, 520x420 window, fixed header and footer, scroll bar (ignored: 20 columns) =="
for screens in 3 10 30; do
  lines=$(((screens * 348 - 16) / 22))
  "$build/tests/scroll_page" --lines "$lines" --render "$work/qt-$screens.png"
  "$build/tests/scroll_page" --lines "$lines" --pos 40,40 >"$work/id" &
  pids+=($!)
  for _ in $(seq 50); do [ -s "$work/id" ] && break; sleep 0.1; done
  sleep 0.5
  capture "$(client_rect "$(cat "$work/id")")" "$work/qt-$screens.png" 20 "qt page, $screens screens"
  kill "${pids[-1]}"; unset 'pids[-1]'
  rm -f "$work/id"
done

echo "== judging set: Chromium, prose in a serif font under a sticky header, 700x600 window =="
page() { # $1 blocks of prose, 120 pixels each, under a 56-pixel sticky header
  python3 - "$1" <<'PY'
import sys, random
random.seed(11)
words = ("the of and to in is was that for on as with by at from his her which this are be an "
         "harbour lantern meridian quiet copper orchard velvet signal river ledger summit").split()
out = ['<!doctype html><html><head><meta charset=utf-8><style>'
       'html,body{margin:0;background:#fff;font:17px/22px "Liberation Serif",serif;color:#222}'
       'html{scrollbar-width:none}::-webkit-scrollbar{display:none}'
       'header{position:sticky;top:0;height:56px;background:#7a1f2b;color:#fff;font:bold 22px/56px sans-serif;padding-left:16px}'
       'section{height:120px;overflow:hidden;box-sizing:border-box;padding:8px 16px}'
       'h2{font:bold 18px/24px sans-serif;margin:0 0 4px}</style></head><body><header>Sticky header</header>']
for k in range(int(sys.argv[1])):
    text = " ".join(random.choice(words) for _ in range(random.randint(20, 60)))
    out.append(f'<section><h2>Section {k + 1}</h2><p style="margin:0">{text}.</p></section>')
print("".join(out) + "</body></html>")
PY
}
flags=(--no-sandbox --test-type --disable-gpu --force-device-scale-factor=1 --no-first-run
  --no-default-browser-check --password-store=basic)
for screens in 3 10 30; do
  blocks=$(((screens * 600 - 56) / 120))
  height=$((56 + blocks * 120))
  page "$blocks" >"$work/page-$screens.html"
  chromium "${flags[@]}" --user-data-dir="$work/headless" --headless --hide-scrollbars --window-size=700,$height \
    --screenshot="$work/chromium-$screens.png" "file://$work/page-$screens.html" >/dev/null 2>&1
  chromium "${flags[@]}" --user-data-dir="$work/window-$screens" --window-position=40,40 --window-size=700,600 \
    --app="file://$work/page-$screens.html" >/dev/null 2>&1 &
  pids+=($!)
  window=""
  for _ in $(seq 100); do
    window=$(xdotool search --onlyvisible --class chromium 2>/dev/null | tail -1 || true)
    [ -n "$window" ] && [ "$(xwininfo -id "$window" | awk '/Width:/{print $2}')" = 700 ] && break
    sleep 0.2
  done
  sleep 2
  capture "$(client_rect "$window")" "$work/chromium-$screens.png" 0 "chromium prose, $screens screens"
  kill "${pids[-1]}"; unset 'pids[-1]'
  sleep 1
done
