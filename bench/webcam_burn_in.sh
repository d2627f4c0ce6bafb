#!/usr/bin/env bash
# Drawing the camera into a recording, against the movie's length and against ffmpeg's own
# overlay filter doing the same job (a round mask, the picture mirrored, the sound copied,
# x264 at the same preset).
#
#   bench/webcam_burn_in.sh [BUILD_DIR]      (default /work/main/build)
#
# webcam_burn_in_bench makes a 60 s 1920x1080 30 fps screen movie with sound and a 60 s
# camera movie, times Pictavia's burn-in and prints it; ffmpeg then draws the same camera
# movie into the same screen movie at one fixed place (easier than Pictavia's moving one).
set -euo pipefail

build=${1:-/work/main/build}
command -v ffmpeg >/dev/null || { echo "webcam_burn_in: ffmpeg is missing (see scripts/deps.sh)" >&2; exit 1; }
if [ -f "$build/CMakeCache.txt" ]; then
  cmake --build "$build" --target webcam_burn_in_bench >/dev/null ||
    { echo "webcam_burn_in: building failed" >&2; exit 1; }
fi

work=$(mktemp -d /tmp/pictavia-webcam-bench.XXXXXX)
trap 'rm -rf "$work"' EXIT
trap 'exit 130' INT TERM

QT_QPA_PLATFORM=offscreen "$build/bench/webcam_burn_in_bench" --movies "$work"

start=$(date +%s.%N)
ffmpeg -v error -y -i "$work/screen.mov" -i "$work/camera.mov" -filter_complex \
  "[1:v]crop=480:480,hflip,scale=192:192,format=yuva420p,geq=lum='p(X,Y)':a='if(lte(hypot(X-96,Y-96),96),255,0)'[cam];[0:v][cam]overlay=96:756:format=auto[v]" \
  -map "[v]" -map 0:a -c:v libx264 -preset ultrafast -c:a copy "$work/ffmpeg.mov"
end=$(date +%s.%N)
awk -v s="$start" -v e="$end" 'BEGIN {
  t = e - s
  printf "ffmpeg overlay filter, same job at a fixed place: %.1f s, %.2fx real time (%.0f frames/s)\n", t, 60 / t, 1800 / t
}'
