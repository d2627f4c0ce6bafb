#!/usr/bin/env bash
# Builds the spoken corpus of bench/captions.sh in DIR:
#   bench/caption_corpus.sh DIR
# The sentences of caption_sentences.txt are spoken by festival (the HTS voice slt and the
# diphone voice kal) and flite (kal16, slt, rms, awb), every other sentence slower, joined
# with pauses into one recording per voice and set: the odd sentences make the tuning set,
# the even ones the judging set. Each recording comes clean and with noise mixed in by sox at
# 10 dB below the speech, and as a 16 kHz copy for the plain pocketsphinx command.
#   DIR/VOICE-SET-clean.wav, -noisy.wav    at the voice's own rate (festival's HTS voice: 32 kHz)
#   DIR/VOICE-SET-clean.16k.wav, ...        the same at 16 kHz, 16 bit
#   DIR/VOICE-SET.txt                       what was said, one sentence a line
set -euo pipefail

dir=$1
here=$(cd "$(dirname "$0")" && pwd)
sentences=$here/caption_sentences.txt
voices=(festival-slt-hts festival-kal flite-kal16 flite-slt flite-rms flite-awb)
mkdir -p "$dir/parts"

# speak VOICE SLOWER TEXTFILE OUT: OUT spoken by VOICE, at its normal pace or 25 % slower.
speak() {
  local voice=$1 slower=$2 text=$3 out=$4 stretch=1.0 rate=1.0
  if [ "$slower" = 1 ]; then stretch=1.25 rate=0.8; fi
  case $voice in
    festival-slt-hts)
      # The HTS engine has its own speed: its rate below 1 is slower.
      text2wave -eval "(voice_cmu_us_slt_arctic_hts)" \
        -eval "(set! hts_engine_params (append hts_engine_params '((\"-r\" $rate))))" "$text" -o "$out" ;;
    festival-kal)
      text2wave -eval "(voice_kal_diphone)" -eval "(Parameter.set 'Duration_Stretch $stretch)" "$text" -o "$out" ;;
    flite-*)
      flite -voice "${voice#flite-}" --setf duration_stretch=$stretch -f "$text" -o "$out" ;;
  esac
}

# rms FILE: the root mean square of its samples.
rms() { sox "$1" -n stat 2>&1 | awk '/RMS +amplitude/ { print $3 }'; }

for voice in "${voices[@]}"; do
  for set in tuning judging; do
    base=$dir/$voice-$set
    [ -f "$base-noisy.16k.wav" ] && continue
    : >"$base.txt"
    parts=() spoken=0 n=0 v=0
    for ((i = 0; i < ${#voices[@]}; i++)); do [ "${voices[$i]}" = "$voice" ] && v=$i; done
    while IFS= read -r line; do
      n=$((n + 1))
      # Odd lines tune, even lines judge.
      if { [ "$set" = tuning ] && [ $((n % 2)) = 0 ]; } || { [ "$set" = judging ] && [ $((n % 2)) = 1 ]; }; then
        continue
      fi
      printf '%s\n' "$line" >>"$base.txt"
      printf '%s\n' "$line" >"$dir/parts/line.txt"
      part=$dir/parts/$voice-$set-$n
      # Which sentences are slower changes from voice to voice.
      speak "$voice" $(((n / 2 + v) % 2)) "$dir/parts/line.txt" "$part.raw.wav" 2>/dev/null
      sox "$part.raw.wav" -c 1 "$part.wav" gain -n -6
      spoken=$(awk -v a="$spoken" -v b="$(soxi -D "$part.wav")" 'BEGIN { print a + b }')
      # Pauses between sentences from 0.5 to 1.4 s, as people leave them.
      rate=$(soxi -r "$part.wav")
      sox -n -r "$rate" -c 1 "$part.pause.wav" trim 0 "0.$((5 + (n * 7) % 10))"
      parts+=("$part.wav" "$part.pause.wav")
    done <"$sentences"
    rate=$(soxi -r "${parts[0]}")
    sox -n -r "$rate" -c 1 "$dir/parts/lead.wav" trim 0 0.6
    sox "$dir/parts/lead.wav" "${parts[@]}" -b 16 "$base-clean.wav"

    # Noise 10 dB below the speech (measured where there is speech), pink for some voices and
    # brown with a mains hum for the others.
    length=$(soxi -D "$base-clean.wav")
    speech=$(awk -v r="$(rms "$base-clean.wav")" -v l="$length" -v s="$spoken" 'BEGIN { print r * sqrt(l / s) }')
    if [ $((v % 2)) = 0 ]; then
      sox -n -r "$rate" -c 1 "$dir/parts/noise.wav" synth "$length" pinknoise
    else
      sox -n -r "$rate" -c 1 "$dir/parts/noise.wav" synth "$length" brownnoise synth "$length" sine mix 50 \
        gain -n -3
    fi
    volume=$(awk -v s="$speech" -v n="$(rms "$dir/parts/noise.wav")" 'BEGIN { print s / n / sqrt(10) }')
    sox -m -v 1 "$base-clean.wav" -v "$volume" "$dir/parts/noise.wav" -b 16 "$base-noisy.wav"

    for kind in clean noisy; do
      sox "$base-$kind.wav" -r 16000 -b 16 "$base-$kind.16k.wav"
    done
  done
done
rm -rf "$dir/parts"
