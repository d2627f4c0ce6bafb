#!/usr/bin/env bash
# Every benchmark, side by side with the programs people would use instead.
# Usage: bench/run.sh [BUILD_DIR]
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)

echo "== Full-screen capture to PNG, against other screenshot tools =="
bash "$here/capture.sh" "$build"

echo
echo "== Interactive capture: hotkey or command to overlay, URL to file =="
bash "$here/interactive.sh" "$build"

echo
echo "== PNG encoding of one frame =="
"$build/bench/png_encode_bench" --benchmark_min_time=0.5

echo
echo "== Text recognition: Pictavia's Tesseract engine against the tesseract command =="
"$build/bench/ocr_bench"

echo
echo "== Sensitive-data scanning of screenshots: planted items found, false hits =="
"$build/bench/scanner_bench"

echo
echo "== Editor: redrawing a scene of 50 annotations, and flattening it to PNG =="
"$build/bench/editor_render_bench" --benchmark_min_time=0.5s

echo
echo "== Video editor: composing one 1080p studio frame (median of 5) =="
"$build/bench/studio_render_bench" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true

echo
echo "== History index: 100,000 captures loaded, searched, saved; memory held =="
"$build/bench/history_bench"

echo
echo "== AI agents: pictavia-mcp's first reply and round trips, with Pictavia running =="
bash "$here/agent.sh" "$build"

echo
echo "== GIF encoding of a screen recording, against FFmpeg's two-pass palette =="
bash "$here/gif.sh" "$build"

echo
echo "== Screen recording, against ffmpeg's x11grab =="
bash "$here/record.sh" "$build"

echo
echo "== Screenshots on Wayland (headless sway), against grim =="
# 77: this machine cannot run a headless Wayland session, which the script has said.
bash "$here/wayland_capture.sh" "$build" || [ $? -eq 77 ]

echo
echo "== Screen recording on Wayland (headless sway), against wf-recorder =="
# 77: this machine cannot run a headless Wayland session, which the script has said.
bash "$here/wayland_record.sh" "$build" || [ $? -eq 77 ]

echo
echo "== Drawing the camera into a 60 s 1080p recording, against real time and ffmpeg's overlay =="
bash "$here/webcam_burn_in.sh" "$build"

echo
echo "== Exporting a 60 s 1080p studio recording in the studio look, against real time and ffmpeg's plain re-encode =="
bash "$here/video_export.sh" "$build"

echo
echo "== What tracking clicks, keys and the pointer adds to a recording =="
bash "$here/tracking.sh" "$build"

echo
echo "== Scrolling capture: time and rows doubled or lost, 3, 10 and 30 screens =="
bash "$here/scrolling.sh" "$build"

echo
echo "== Captions: speech recognition against the plain pocketsphinx command, and voice cleaning =="
bash "$here/captions.sh" "$build"

echo
echo "== Voice cleaning: denoisers by word error rate on noisy speech; levelling a quiet voice =="
bash "$here/voice_cleaning.sh" "$build"
