#!/usr/bin/env bash
# Exporting a 60 s 1920x1080 30 fps studio recording in the studio look (background, zoom
# toward the clicks, the drawn pointer, click ripples) against real time and against ffmpeg
# trimming and re-encoding the same file plainly at the same x264 settings; each the median of
# three runs. Then the quality of a plain export and of ffmpeg's, as SSIM against the source.
#
#   bench/video_export.sh [BUILD_DIR]      (default /work/main/build)
set -euo pipefail

build=$(cd "${1:-/work/main/build}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
command -v ffmpeg >/dev/null || { echo "video_export: ffmpeg is missing (see scripts/deps.sh)" >&2; exit 1; }
if [ -f "$build/CMakeCache.txt" ]; then
  cmake --build "$build" --target pictavia video_export_bench >/dev/null ||
    { echo "video_export: building failed" >&2; exit 1; }
fi
source "$here/desktop.sh"

work=$(mktemp -d /tmp/pictavia-video-export-bench.XXXXXX)
trap 'rm -rf "$work"' EXIT
trap 'exit 130' INT TERM
use_private_home "$work"
printf 'captureSound = false\ncopyToClipboard = false\nautoSaveToDisk = false\nshowQuickAccess = false\n' \
  >"$XDG_CONFIG_HOME/pictavia/pictavia.conf"
unset DISPLAY

QT_QPA_PLATFORM=offscreen "$build/bench/video_export_bench" "$work"
movie=$work/studio.mov
from=1 to=59
length=$((to - from))

# ffmpeg gets the encoder settings the export uses.
encoding=$(dirname "$here")/src/platform/media/FfmpegEncoding.h
preset=$(sed -n 's/.*exportX264Preset = "\(.*\)";/\1/p' "$encoding")
crf=$(sed -n 's/.*exportX264Crf = "\(.*\)";/\1/p' "$encoding")

seconds_of() { # command...: "WALL CPU", the seconds it took on the clock and on the processors
  local TIMEFORMAT='%R %U %S'
  { time "$@" >/dev/null 2>&1; } 2>&1 | awk '{ printf "%.2f %.2f\n", $1, $2 + $3 }'
}
median() { printf '%s\n' "$@" | sort -g | sed -n 2p; } # of three "WALL CPU" lines, by the clock

export_studio() {
  local file
  # At 1080p, as ffmpeg writes it: the background's padding fits the frame into the same size.
  file=$("$build/pictavia" video export "$movie" --trim "$from,$to" --studio studio --resolution 1080p)
  rm -f "$file"
}
ffmpeg_plain() {
  # The source's pictures as they are, as the export writes them (no frames repeated to fill a
  # constant rate), so both are compared with the source picture for picture.
  ffmpeg -v error -y -ss "$from" -to "$to" -i "$movie" -fps_mode passthrough -c:v libx264 -preset "$preset" -crf "$crf" \
    -profile:v high -g 150 -c:a aac -b:a 160k "$work/ffmpeg.mp4"
}

ours=() theirs=()
for run in 1 2 3; do
  ours+=("$(seconds_of export_studio)")
  theirs+=("$(seconds_of ffmpeg_plain)")
done
read -r ours ours_cpu <<<"$(median "${ours[@]}")"
read -r theirs theirs_cpu <<<"$(median "${theirs[@]}")"
awk -v o="$ours" -v oc="$ours_cpu" -v t="$theirs" -v tc="$theirs_cpu" -v l="$length" -v p="$preset" -v c="$crf" \
  -v n="$(nproc)" 'BEGIN {
  printf "x264 %s, CRF %s; %d s of the recording exported, median of 3, %d processors\n", p, c, l, n
  printf "pictavia video export --studio studio (1080p): %.1f s, %.2fx real time (%.1f s of processor time)\n", o, l / o, oc
  printf "ffmpeg plain trim and re-encode:       %.1f s, %.2fx real time (%.1f s of processor time)\n", t, l / t, tc
  printf "studio export / ffmpeg plain:          %.2f\n", o / t
}'

# Quality: what a plain export and ffmpeg's keep of the source.
ssim() { # file: SSIM of its pictures against the source's over the same range
  ffmpeg -hide_banner -nostats -ss "$from" -to "$to" -i "$movie" -i "$1" \
    -lavfi "[0:v]setpts=PTS-STARTPTS[source];[1:v]setpts=PTS-STARTPTS[copy];[copy][source]ssim" -f null - 2>&1 |
    sed -n 's/.*All:\([0-9.]*\).*/\1/p'
}
plain=$("$build/pictavia" video export "$movie" --trim "$from,$to" --studio none)
printf 'SSIM against the source: pictavia plain export %s (%d kB), ffmpeg %s (%d kB)\n' \
  "$(ssim "$plain")" $(($(stat -c %s "$plain") / 1024)) "$(ssim "$work/ffmpeg.mp4")" \
  $(($(stat -c %s "$work/ffmpeg.mp4") / 1024))
