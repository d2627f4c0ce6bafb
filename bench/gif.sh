#!/usr/bin/env bash
# GIF encoding of a screen recording: Pictavia's encoder at each quality against FFmpeg's
# two-pass palette (palettegen, then paletteuse), on the same frames.
#
#   bench/gif.sh [BUILD_DIR]      (default /work/main/build)
#
# Records 10 seconds of a 1280x720 desktop at 10 fps with ffmpeg's x11grab as lossless PNG
# frames (the reference): the benchmark scene under a terminal that scrolls text and a
# window that moves. The frames are stored as a GIF recording stores them (JPEG, quality
# 85), and each encoder makes a GIF of them. Prints each GIF's size, its SSIM against the
# lossless frames, the encoding time, and the size against FFmpeg's.
set -euo pipefail

build=${1:-/work/main/build}
for tool in Xvfb openbox xprop xterm xdotool ffmpeg convert; do
  command -v "$tool" >/dev/null || { echo "gif: $tool is missing (see scripts/deps.sh)" >&2; exit 1; }
done
if [ -f "$build/CMakeCache.txt" ]; then
  cmake --build "$build" --target scene gif_bench >/dev/null || { echo "gif: building failed" >&2; exit 1; }
fi

work=$(mktemp -d /tmp/pictavia-gif-bench.XXXXXX)
source "$(dirname "$0")/desktop.sh"
trap 'stop_started; rm -rf "$work"' EXIT
trap 'exit 130' INT TERM

start_desktop 1280 720 "$build/bench/scene" "$work"

# Motion: a terminal printing file names, and the terminal's window wandering.
xterm -geometry 90x24+60+60 -e bash -c 'while :; do find /usr/share/doc -maxdepth 2; done' &
pids+=($!)
sleep 1.5
terminal=$(xdotool search --class xterm | head -n1)
(
  for step in $(seq 0 99); do
    xdotool windowmove "$terminal" $((60 + step * 4)) $((60 + (step % 20) * 5)) 2>/dev/null || true
    sleep 0.1
  done
) &
mover=$!

mkdir -p "$work/reference" "$work/frames"
ffmpeg -loglevel error -f x11grab -framerate 10 -video_size 1280x720 -i "$DISPLAY" -t 10 \
  "$work/reference/%06d.png"
wait "$mover" 2>/dev/null || true
count=$(ls "$work/reference" | wc -l)
index=0
for frame in "$work/reference"/*.png; do
  convert "$frame" -quality 85 "$work/frames/$(printf 'frame_%06d.jpg' "$index")"
  index=$((index + 1))
done

ssim_of() { # GIF: the mean SSIM of its frames, played at 10 fps, against the reference
  ffmpeg -loglevel error -i "$1" -framerate 10 -i "$work/reference/%06d.png" \
    -lavfi "[0:v]fps=10,format=rgb24[a];[1:v]format=rgb24[b];[a][b]ssim=stats_file=-" -f null - 2>/dev/null |
    awk '{ for (i = 1; i <= NF; i++) if ($i ~ /^All:/) { split($i, v, ":"); sum += v[2]; n++ } }
         END { if (n) printf "%.4f", sum / n; else printf "n/a" }'
}

ms_of() { # command...: wall milliseconds
  local start end
  start=$(date +%s%N)
  "$@" >/dev/null
  end=$(date +%s%N)
  echo $(((end - start) / 1000000))
}

ffmpeg_gif=$work/ffmpeg.gif
ffmpeg_ms=$(ms_of ffmpeg -loglevel error -framerate 10 -i "$work/frames/frame_%06d.jpg" \
  -lavfi "split[a][b];[a]palettegen=stats_mode=diff[p];[b][p]paletteuse=dither=sierra2_4a:diff_mode=rectangle" \
  -y "$ffmpeg_gif")
ffmpeg_bytes=$(stat -c %s "$ffmpeg_gif")

echo "== GIF of $count frames, 1280x720 at 10 fps (a terminal scrolling and moving over the scene) =="
printf '%-22s %12s %8s %10s %12s\n' encoder bytes SSIM "time ms" "vs ffmpeg"
printf '%-22s %12s %8s %10s %12s\n' "ffmpeg two-pass" "$ffmpeg_bytes" "$(ssim_of "$ffmpeg_gif")" "$ffmpeg_ms" "1.00x"
for quality in small balanced sharp; do
  gif=$work/pictavia-$quality.gif
  ms=$("$build/bench/gif_bench" "$work/frames" 10 "$gif" "$quality")
  bytes=$(stat -c %s "$gif")
  printf '%-22s %12s %8s %10s %11.2fx\n' "pictavia $quality" "$bytes" "$(ssim_of "$gif")" "$ms" \
    "$(echo "$bytes / $ffmpeg_bytes" | bc -l)"
done
# The bound of small and balanced: their colours are posterised before any palette, and no
# writer can give back what that took.
for levels in 12 24; do
  mkdir -p "$work/posterised-$levels"
  for frame in "$work/frames"/*.jpg; do
    convert "$frame" -posterize "$levels" "$work/posterised-$levels/$(basename "$frame" .jpg).png"
  done
  bound=$(ffmpeg -loglevel error -framerate 10 -i "$work/posterised-$levels/frame_%06d.png" -framerate 10 \
    -i "$work/reference/%06d.png" -lavfi "[0:v]format=rgb24[a];[1:v]format=rgb24[b];[a][b]ssim=stats_file=-" \
    -f null - 2>/dev/null |
    awk '{ for (i = 1; i <= NF; i++) if ($i ~ /^All:/) { split($i, v, ":"); sum += v[2]; n++ } }
         END { printf "%.4f", sum / n }')
  printf '%-22s %12s %8s\n' "posterised to $levels" "-" "$bound"
done
echo "goal: pictavia balanced at most 0.80x ffmpeg's size at equal or better SSIM"
