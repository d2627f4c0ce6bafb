#!/usr/bin/env bash
# Captions: Pictavia's speech recogniser against the plain pocketsphinx_continuous command on
# the same spoken corpus (bench/caption_corpus.sh: 40 everyday and on-screen sentences, six
# festival and flite voices, two speeds, clean and with noise at 10 dB SNR): the word error
# rate and the processor time per second of sound of each, per voice and overall, and the
# noisy speech's word error rate before and after voice cleaning.
#
#   bench/captions.sh [BUILD_DIR] [--all]     (default /work/main/build)
#
# Without --all only the judging set is measured (about ten minutes); --all adds the tuning
# set that the recogniser's settings were chosen on. CAPTIONS_CORPUS=DIR keeps the corpus
# there and reuses it on the next run.
set -euo pipefail

build=$(cd "${1:-/work/main/build}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
sets=judging
[ "${2:-}" = --all ] && sets=tuning,judging
for tool in text2wave flite sox soxi pocketsphinx_continuous python3; do
  command -v "$tool" >/dev/null || { echo "captions: $tool is missing (see scripts/deps.sh)" >&2; exit 1; }
done
if [ -f "$build/CMakeCache.txt" ]; then
  cmake --build "$build" --target caption_bench >/dev/null || { echo "captions: building failed" >&2; exit 1; }
fi

if [ -n "${CAPTIONS_CORPUS:-}" ]; then
  corpus=$CAPTIONS_CORPUS
  mkdir -p "$corpus"
else
  corpus=$(mktemp -d /tmp/pictavia-captions-bench.XXXXXX)
  trap 'rm -rf "$corpus"' EXIT
fi
trap 'exit 130' INT TERM
bash "$here/caption_corpus.sh" "$corpus"
python3 "$here/caption_score.py" "$build" "$corpus" --sets "$sets"
