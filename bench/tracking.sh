#!/usr/bin/env bash
# What watching the user costs a recording: `pictavia record` of a 1920x1080 desktop with
# clicks, keystrokes and the studio pointer track on, against the same recording with all
# of them off, while a script moves the pointer, clicks and types throughout. Prints the CPU
# seconds per recorded second of each and the difference as a share of one core (goal:
# under 2 %). Both runs see the same scripted input, interleaved, RUNS times each (median).
#
#   bench/tracking.sh [BUILD_DIR]      (default /work/main/build)
#
# Environment: SECONDS_RECORDED (default 20), RUNS (default 3).
set -euo pipefail

build=${1:-/work/main/build}
seconds=${SECONDS_RECORDED:-20}
runs=${RUNS:-3}
for tool in Xvfb openbox xprop xdotool; do
  command -v "$tool" >/dev/null || { echo "tracking: $tool is missing (see scripts/deps.sh)" >&2; exit 1; }
done
if [ -f "$build/CMakeCache.txt" ]; then
  cmake --build "$build" --target scene pictavia >/dev/null || { echo "tracking: building failed" >&2; exit 1; }
fi

work=$(mktemp -d /tmp/pictavia-tracking-bench.XXXXXX)
source "$(dirname "$0")/desktop.sh"
trap 'stop_started; rm -rf "$work"' EXIT
trap 'exit 130' INT TERM
use_private_home "$work"
start_desktop 1920 1080 "$build/bench/scene" "$work"

configure() { # on|off
  local flag=false
  [ "$1" = on ] && flag=true
  printf 'copyToClipboard = false\ncaptureSound = false\nrecFPS = 30\nrecSystemAudio = false\nrecMic = false\n' \
    >"$XDG_CONFIG_HOME/pictavia/pictavia.conf"
  printf 'recShowClicks = %s\nrecShowKeystrokes = %s\nrecStudio = %s\n' "$flag" "$flag" "$flag" \
    >>"$XDG_CONFIG_HOME/pictavia/pictavia.conf"
}

user() { # moves, clicks on the desktop's empty corner and types, until killed
  while :; do
    for x in $(seq 200 40 1700); do xdotool mousemove "$x" $((300 + x % 400)) 2>/dev/null || exit 0; sleep 0.03; done
    xdotool mousemove 1880 1040 click 1 key --delay 80 a b c Return 2>/dev/null || exit 0
  done
}

once() { # on|off: CPU seconds per recorded second
  configure "$1"
  user &
  local mover=$!
  /usr/bin/time -f '%U %S' -o "$work/time" "$build/pictavia" record fullscreen --duration "$seconds" \
    >"$work/out" 2>"$work/err" || { kill $mover; echo "tracking: recording failed: $(cat "$work/err")" >&2; exit 1; }
  kill $mover 2>/dev/null || true
  wait $mover 2>/dev/null || true
  awk -v s="$seconds" '{ printf "%.4f", ($1 + $2) / s }' "$work/time"
}

median() { sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }

on=() off=()
for _ in $(seq "$runs"); do
  off+=("$(once off)")
  on+=("$(once on)")
done
off_median=$(printf '%s\n' "${off[@]}" | median)
on_median=$(printf '%s\n' "${on[@]}" | median)
printf 'tracking (1920x1080, 30 fps, %s s, median of %s)\n' "$seconds" "$runs"
printf '%-34s %10s\n' "recording" "CPU s/s"
printf '%-34s %10.4f   (%s)\n' "clicks, keys, pointer track off" "$off_median" "${off[*]}"
printf '%-34s %10.4f   (%s)\n' "clicks, keys, pointer track on" "$on_median" "${on[*]}"
printf '%-34s %9.2f %%  of one core (goal < 2 %%)\n' "tracking adds" "$(echo "($on_median - $off_median) * 100" | bc -l)"
