#!/usr/bin/env bash
# Screen recording on a headless sway session: Pictavia (through wlroots' screencopy, and
# through the desktop's screen-cast portal and its PipeWire stream) against wf-recorder
# (screencopy too, libx264), each recording the whole output for the same time while it
# shows the capture benchmark's scene.
#
#   bench/wayland_record.sh [BUILD_DIR]      (default /work/main/build)
#
# Environment: SECONDS_RECORDED (default 20), OUTPUT (the session's output as WxH@SCALE,
# default 1920x1080@1).
# The script runs itself again inside tests/helpers' wayland_session. Prints per recorder
# the CPU seconds per recorded second, the frames written against the frames asked for (30 a
# second; wf-recorder -D writes the compositor's pictures as they come, at the output's refresh rate), the
# bytes per second and the SSIM of the middle frame against grim's picture of the output,
# then Pictavia's ratios to wf-recorder. A recorder that cannot record here says why in
# its row.
set -euo pipefail

build=$(realpath "${1:-/work/main/build}")
seconds=${SECONDS_RECORDED:-20}
output=${OUTPUT:-1920x1080@1}
fps=30

source "$(dirname "$(realpath "$0")")/wayland_session.sh"
if [ -z "${PICTAVIA_BENCH_SESSION:-}" ]; then
  for tool in wf-recorder grim ffmpeg ffprobe bc; do
    command -v "$tool" >/dev/null || { echo "wayland_record: $tool is missing (see scripts/deps.sh)" >&2; exit 1; }
  done
  echo "== $output, headless sway, $fps fps for $seconds s =="
  run_in_wayland_session wayland_record "$build" "$output" "$(realpath "$0")" SECONDS_RECORDED="$seconds"
fi

# Inside the session: its own home, so Pictavia's settings and history are the session's.
work=$(mktemp -d "$XDG_RUNTIME_DIR/bench.XXXXXX")
scene_pid=""
cleanup() {
  [ -z "$scene_pid" ] || { kill "$scene_pid" 2>/dev/null || true; wait "$scene_pid" 2>/dev/null || true; }
  rm -rf "$work"
}
trap cleanup EXIT

mkdir -p "$XDG_CONFIG_HOME/pictavia"
printf 'copyToClipboard = false\ncaptureSound = false\nrecFPS = %s\nrecMaxResolution = native\nrecShowClicks = false\n' \
  "$fps" >"$XDG_CONFIG_HOME/pictavia/pictavia.conf"

start_scene wayland_record "$build" "$work"
sleep 1
grim "$work/reference.png"

cpu_of() { # command...: the CPU seconds of the command and its children, in $work/time
  /usr/bin/time -f '%U %S' -o "$work/time" "$@" >"$work/out" 2>"$work/err" || true
  tail -n1 "$work/time" | awk '{ printf "%.2f", $1 + $2 }'
}

frames_of() { ffprobe -v error -count_frames -select_streams v:0 -show_entries stream=nb_read_frames -of csv=p=0 "$1"; }

ssim_of() { # movie: the SSIM of its middle frame (its first where it has none so late) against grim's picture
  rm -f "$work/middle.png"
  ffmpeg -v error -ss "$((seconds / 2))" -i "$1" -frames:v 1 -y "$work/middle.png" || true
  [ -s "$work/middle.png" ] || ffmpeg -v error -i "$1" -frames:v 1 -y "$work/middle.png"
  # In RGB, as bench/record.sh compares: the pictures as shown, not two conversions to YUV.
  ffmpeg -i "$work/middle.png" -i "$work/reference.png" -lavfi "[0:v]format=gbrp[a];[1:v]format=gbrp[b];[a][b]ssim" \
    -f null - 2>&1 |
    grep -o 'All:[0-9.]*' | cut -d: -f2 || echo "-"
}

declare -A cpu_per_second bytes_per_second ssim_value frames_written
row() { # name movie cpu
  frames_written[$1]=$(frames_of "$2")
  cpu_per_second[$1]=$(echo "$3 / $seconds" | bc -l)
  bytes_per_second[$1]=$(($(stat -c %s "$2") / seconds))
  ssim_value[$1]=$(ssim_of "$2")
  printf '%-28s %10.3f %8s/%-6s %12s %8s\n' "$1" "${cpu_per_second[$1]}" "${frames_written[$1]}" \
    "$((seconds * fps))" "${bytes_per_second[$1]}" "${ssim_value[$1]}"
}

printf '%-28s %10s %15s %12s %8s\n' recorder "CPU s/s" frames "bytes/s" SSIM
record_pictavia() { # name environment...
  local name=$1
  shift
  cpu=$(cpu_of env "$@" "$build/pictavia" record fullscreen --duration "$seconds" --no-audio)
  movie=$(tail -n1 "$work/out")
  if [ -f "$movie" ]; then
    row "$name" "$movie" "$cpu"
  else
    printf '%-28s %s\n' "$name" "cannot record here: $(head -n1 "$work/err")"
  fi
}
record_pictavia pictavia
record_pictavia "pictavia (portal)" PICTAVIA_NO_SCREENCOPY=1
# wf-recorder finishes its file on SIGINT once its next picture comes, so it is given -D
# (pictures all the time, not only when the screen changes, which a still screen would never
# send); Matroska keeps what was written should it be killed 10 s later all the same.
record_wf() { # name options...
  local name=$1
  shift
  cpu=$(cpu_of timeout -s INT -k 10 "$seconds" wf-recorder "$@" -c libx264 -f "$work/$name.mkv")
  if [ -s "$work/$name.mkv" ]; then row "$name" "$work/$name.mkv" "$cpu"; else printf '%-28s %s\n' "$name" "failed: $(tail -n1 "$work/err")"; fi
}
record_wf "wf-recorder -D" -D
record_wf "wf-recorder -D fps=$fps" -D -F "fps=$fps"

if [ -n "${cpu_per_second[pictavia]:-}" ] && [ -n "${cpu_per_second[wf-recorder -D fps=$fps]:-}" ]; then
  peer="wf-recorder -D fps=$fps"
  printf 'pictavia / %s: CPU %.2fx, bytes %.2fx, SSIM %s vs %s, frames %s of %s\n' "$peer" \
    "$(echo "${cpu_per_second[pictavia]} / ${cpu_per_second[$peer]}" | bc -l)" \
    "$(echo "${bytes_per_second[pictavia]} / ${bytes_per_second[$peer]}" | bc -l)" \
    "${ssim_value[pictavia]}" "${ssim_value[$peer]}" "${frames_written[pictavia]}" "$((seconds * fps))"
fi
echo "goal: CPU at most wf-recorder's at equal or better SSIM, no frame dropped"
