#!/usr/bin/env bash
# Screen recording: Pictavia's recorder against ffmpeg's x11grab with libx264 at the same
# bit rate (presets ultrafast and veryfast) and SimpleScreenRecorder where it is installed,
# each recording the same moving desktop.
#
#   bench/record.sh [BUILD_DIR]      (default /work/main/build)
#
# Environment: SECONDS_RECORDED (default 20), SIZES (default "1920x1080 3840x2160"),
# REFERENCE_SECONDS (default 10; raw frames, 83 MB a second at 1920x1080, four times that
# at 3840x2160, are kept on disk meanwhile).
# The desktop: the benchmark scene under a terminal that scrolls text and wanders. Prints
# per recorder the CPU seconds per recorded second, the frames written against the frames
# asked for (30 a second), and the bytes per second of the file.
# Quality: the live recordings cannot be compared (the scene moves on between them), so a
# lossless recording of the same desktop is encoded by each (Pictavia's movie writer through
# bench/movie_encode_bench, ffmpeg's libx264 presets at the same bit rate) and each result is
# compared with it by SSIM, with the CPU seconds the encoding took per second of movie. The
# encoder settings were tuned on this scene at 1920x1080; the terminal-only scene printed
# after it (a plain desktop under the scrolling terminal, no wallpaper) was not looked at
# while tuning.
set -euo pipefail

build=${1:-/work/main/build}
seconds=${SECONDS_RECORDED:-20}
reference_seconds=${REFERENCE_SECONDS:-10}
sizes=${SIZES:-"1920x1080 3840x2160"}
fps=30
for tool in Xvfb openbox xprop xterm xdotool ffmpeg ffprobe; do
  command -v "$tool" >/dev/null || { echo "record: $tool is missing (see scripts/deps.sh)" >&2; exit 1; }
done
if [ -f "$build/CMakeCache.txt" ]; then
  cmake --build "$build" --target scene pictavia movie_encode_bench >/dev/null ||
    { echo "record: building failed" >&2; exit 1; }
fi

work=$(mktemp -d /tmp/pictavia-record-bench.XXXXXX)
source "$(dirname "$0")/desktop.sh"
trap 'stop_started; rm -rf "$work"' EXIT
trap 'exit 130' INT TERM
use_private_home "$work"
printf 'copyToClipboard = false\ncaptureSound = false\nrecFPS = %s\nrecMaxResolution = native\n' "$fps" \
  >"$XDG_CONFIG_HOME/pictavia/pictavia.conf"

cpu_of() { # command...: prints "CPU_SECONDS" of the command and its children
  /usr/bin/time -f '%U %S' -o "$work/time" "$@" >"$work/out" 2>"$work/err" || true
  awk '{ printf "%.2f", $1 + $2 }' "$work/time"
}

frames_of() { ffprobe -v error -count_frames -select_streams v:0 -show_entries stream=nb_read_frames -of csv=p=0 "$1"; }

row() { # name file cpu
  local frames bytes
  frames=$(frames_of "$2")
  bytes=$(stat -c %s "$2")
  printf '%-24s %10.3f %8s/%-6s %12s\n' "$1" "$(echo "$3 / $seconds" | bc -l)" "$frames" "$((seconds * fps))" \
    "$((bytes / seconds))"
  live_cpu[$1]=$3
}

# No wallpaper: the X server's own background under the terminal.
printf '#!/bin/sh\necho ready >"$2"\nexec sleep infinity\n' >"$work/plain-desktop"
chmod +x "$work/plain-desktop"

ssr_settings() { # WIDTH HEIGHT: SimpleScreenRecorder's settings for the whole screen, no sound
  printf '[input]\naudio_enabled=false\nvideo_area=screen\nvideo_area_screen=0\nvideo_frame_rate=%s\n' "$fps"
  printf 'video_x=0\nvideo_y=0\nvideo_w=%s\nvideo_h=%s\nvideo_record_cursor=true\nvideo_scale=false\n' "$1" "$2"
  printf '[output]\nadd_timestamp=false\ncontainer=mkv\nfile=%s\nvideo_codec=h264\n' "$work/ssr.mkv"
  printf 'video_allow_frame_skipping=true\nseparate_files=false\n'
}

start_moving_desktop() { # WIDTH HEIGHT SCENE_BIN
  stop_started
  start_desktop "$1" "$2" "$3" "$work"
  xterm -geometry 100x30+80+80 -e bash -c 'while :; do find /usr/share/doc -maxdepth 2; done' &
  pids+=($!)
  sleep 1.5
  terminal=$(xdotool search --class xterm | head -n1)
  (while :; do for x in $(seq 80 8 600); do xdotool windowmove "$terminal" "$x" 80 2>/dev/null || exit 0; sleep 0.05; done; done) &
  pids+=($!)
}

declare -A cpu_per_second ssim_of live_cpu
quality() { # WIDTH HEIGHT BITRATE LABEL: encodes a lossless recording of the desktop shown now
  local ref="$work/reference.bgra" raw frames cpu movie_seconds
  # Raw frames, so that taking them keeps up and every encoder reads the same bytes.
  ffmpeg -loglevel error -f x11grab -framerate "$fps" -video_size "$1x$2" -i "$DISPLAY" -t "$reference_seconds" \
    -f rawvideo -pix_fmt bgra -y "$ref"
  raw=(-f rawvideo -pix_fmt bgra -video_size "$1x$2" -framerate "$fps" -i "$ref")
  frames=$(($(stat -c %s "$ref") / ($1 * $2 * 4)))
  movie_seconds=$(echo "$frames / $fps" | bc -l)
  echo "-- quality on $4: the same $frames frames encoded by each at $3 bit/s --"
  printf '%-24s %10s %10s %12s\n' encoder "CPU s/s" SSIM "bytes/s"
  # SSIM of the pictures as shown, in RGB: compared in YUV, the reference would be converted
  # by ffmpeg's own scaler, and every encoder that converts its frames otherwise (ours uses
  # libyuv) would be charged for the difference between two conversions, not for its coding.
  encoded() { # name file cpu
    local ssim
    ssim=$(ffmpeg -i "$2" "${raw[@]}" -lavfi "[0:v]format=gbrp[a];[1:v]format=gbrp[b];[a][b]ssim" -f null - 2>&1 |
      grep -o 'All:[0-9.]*' | cut -d: -f2)
    printf '%-24s %10.3f %10s %12.0f\n' "$1" "$(echo "$3 / $movie_seconds" | bc -l)" "$ssim" \
      "$(echo "$(stat -c %s "$2") / $movie_seconds" | bc -l)"
    cpu_per_second[$1]=$(echo "$3 / $movie_seconds" | bc -l)
    ssim_of[$1]=$ssim
  }
  cpu=$(cpu_of sh -c "'$build/bench/movie_encode_bench' $1 $2 $fps '$work/pictavia-encoded.mov' <'$ref'")
  encoded pictavia "$work/pictavia-encoded.mov" "$cpu"
  for preset in ultrafast veryfast; do
    cpu=$(cpu_of ffmpeg -loglevel error "${raw[@]}" -c:v libx264 -preset "$preset" -b:v "$3" -bf 0 -pix_fmt yuv420p \
      -y "$work/ffmpeg-encoded-$preset.mov")
    encoded "ffmpeg $preset" "$work/ffmpeg-encoded-$preset.mov" "$cpu"
  done
  # Like for like: a recording has a key frame every 2 seconds (seeking, and the fragments a
  # crash leaves), where ffmpeg's default is every 250 frames.
  cpu=$(cpu_of ffmpeg -loglevel error "${raw[@]}" -c:v libx264 -preset veryfast -g $((2 * fps)) -b:v "$3" -bf 0 \
    -pix_fmt yuv420p -y "$work/ffmpeg-encoded-keyframes.mov")
  encoded "ffmpeg veryfast -g $((2 * fps))" "$work/ffmpeg-encoded-keyframes.mov" "$cpu"
  local like="ffmpeg veryfast -g $((2 * fps))"
  printf 'pictavia / %s: CPU %.2fx, SSIM %s against %s\n' "$like" \
    "$(echo "${cpu_per_second[pictavia]} / ${cpu_per_second[$like]}" | bc -l)" "${ssim_of[pictavia]}" "${ssim_of[$like]}"
  rm -f "$ref"
}

for size in $sizes; do
  width=${size%x*}
  height=${size#*x}
  start_moving_desktop "$width" "$height" "$build/bench/scene"

  bitrate=$(awk -v w="$width" -v h="$height" -v f="$fps" 'BEGIN { r = w * h * f * 0.09; if (r < 1500000) r = 1500000; if (r > 60000000) r = 60000000; printf "%d", r }')
  echo "== $size at $fps fps for $seconds s, $bitrate bit/s =="
  printf '%-24s %10s %15s %12s\n' recorder "CPU s/s" "frames" "bytes/s"
  cpu=$(cpu_of "$build/pictavia" record fullscreen --duration "$seconds")
  row pictavia "$(tail -n1 "$work/out")" "$cpu"
  if command -v simplescreenrecorder >/dev/null; then
    # Driven through its standard input, with its own H.264 settings (constant quality, not a
    # bit rate: it has no bit rate for H.264), the picture only.
    ssr_settings "$width" "$height" >"$work/ssr.conf"
    cpu=$( (sleep 2; echo record-start; sleep "$seconds"; echo record-save; sleep 2; echo quit) |
      cpu_of simplescreenrecorder --no-systray --start-hidden --settingsfile="$work/ssr.conf")
    row "simplescreenrecorder" "$work/ssr.mkv" "$cpu"
  fi
  for preset in ultrafast veryfast; do
    cpu=$(cpu_of ffmpeg -loglevel error -f x11grab -framerate "$fps" -video_size "$size" -i "$DISPLAY" -t "$seconds" \
      -c:v libx264 -preset "$preset" -b:v "$bitrate" -bf 0 -pix_fmt yuv420p -y "$work/ffmpeg-$preset.mov")
    row "ffmpeg x11grab $preset" "$work/ffmpeg-$preset.mov" "$cpu"
  done
  printf 'pictavia / ffmpeg x11grab: CPU %.2fx ultrafast, %.2fx veryfast\n' \
    "$(echo "${live_cpu[pictavia]} / ${live_cpu[ffmpeg x11grab ultrafast]}" | bc -l)" \
    "$(echo "${live_cpu[pictavia]} / ${live_cpu[ffmpeg x11grab veryfast]}" | bc -l)"
  quality "$width" "$height" "$bitrate" "the wallpaper scene (tuning)"
  start_moving_desktop "$width" "$height" "$work/plain-desktop"
  quality "$width" "$height" "$bitrate" "the terminal alone (judging)"
done
echo "goal: no frame dropped at 1920x1080, CPU at most 0.7x ffmpeg's at equal or better SSIM"
