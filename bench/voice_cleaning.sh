#!/usr/bin/env bash
# Which denoiser cleans a recorded voice best, by what the recogniser makes of it: sentences
# spoken by festival's HTS voice and by flite, mixed with pink noise, brown noise and mains hum
# at 10 dB SNR, cleaned by each candidate, and read back with the plain
# pocketsphinx_continuous command. Prints the word error rate (and the SNR against the clean
# speech) per candidate, noisy and cleaned: FFmpeg's afftdn at three settings, SpeexDSP's
# noise suppressor at three strengths and WebRTC's (what the voice isolator uses) at three levels,
# both through voice_cleaning_bench. Then the levelling of a quiet speech movie: the 90th percentile of its speech
# blocks' RMS and its peak, before and after, and the time it took.
#   bench/voice_cleaning.sh [BUILD_DIR]
set -euo pipefail
build=$(realpath "${1:-build}")
cleaner="$build/bench/voice_cleaning_bench"
leveler="$build/bench/voice_leveling_bench"
for tool in text2wave flite sox ffmpeg pocketsphinx_continuous python3 "$cleaner" "$leveler"; do
    command -v "$tool" >/dev/null || { echo "voice_cleaning.sh: $tool is missing" >&2; exit 1; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

sentences=(
    "open the settings window and save the file"
    "click the red button at the top of the page"
    "the meeting starts at nine in the morning"
    "please send me the report before friday"
    "select the text and copy it to the clipboard"
    "we will record a short video of the screen"
    "the weather today is cold and windy"
    "scroll down to the bottom of the list"
    "this program takes a picture of the whole display"
    "turn off the sound and close the door"
)

# Mono 48 kHz float: what the recorder's sound and the isolator work with.
to_raw() { sox "$1" -t f32 -r 48000 -c 1 "$2"; }
from_raw() { sox -t f32 -r 48000 -c 1 "$1" "$2"; }
rms() { sox -t f32 -r 48000 -c 1 "$1" -n stat 2>&1 | awk '/RMS +amplitude/ {print $3}'; }

i=0
for text in "${sentences[@]}"; do
    echo "$text" >"$work/s$i.txt"
    text2wave -eval "(voice_cmu_us_slt_arctic_hts)" "$work/s$i.txt" -o "$work/hts$i.wav"
    flite -voice slt -f "$work/s$i.txt" -o "$work/flite$i.wav"
    for voice in hts flite; do
        # Half a second of noise before and after, as a recording has around its speech.
        sox "$work/$voice$i.wav" -r 48000 -c 1 -b 32 -e float "$work/padded.wav" pad 0.5 0.5 gain -n -10
        to_raw "$work/padded.wav" "$work/$voice$i.clean.f32"
        speech=$(rms "$work/$voice$i.clean.f32")
        length=$(soxi -D "$work/padded.wav")
        for noise in pink brown hum; do
            if [ "$noise" = hum ]; then
                sox -n -r 48000 -c 1 -b 32 -e float "$work/n1.wav" synth "$length" sine 50
                sox -n -r 48000 -c 1 -b 32 -e float "$work/n2.wav" synth "$length" sine 150
                sox -n -r 48000 -c 1 -b 32 -e float "$work/n3.wav" synth "$length" sine 250
                sox -m -v 0.4 "$work/n1.wav" -v 0.2 "$work/n2.wav" -v 0.1 "$work/n3.wav" "$work/noise.wav"
            else
                sox -n -r 48000 -c 1 -b 32 -e float "$work/noise.wav" synth "$length" "${noise}noise" vol 0.3
            fi
            to_raw "$work/noise.wav" "$work/noise.f32"
            level=$(rms "$work/noise.f32")
            # Noise 10 dB below the speech.
            factor=$(python3 -c "print($speech / $level / 10 ** 0.5)")
            sox -m -v 1 -t f32 -r 48000 -c 1 "$work/$voice$i.clean.f32" -v "$factor" -t f32 -r 48000 -c 1 \
                "$work/noise.f32" -t f32 "$work/$voice$i.$noise.noisy.f32"
        done
    done
    i=$((i + 1))
done

clean() { # candidate input output
    case "$1" in
    noisy) cp "$2" "$3" ;;
    speex-*) "$cleaner" speex "-${1#speex-}" <"$2" >"$3" ;;
    webrtc-*) "$cleaner" webrtc "${1#webrtc-}" <"$2" >"$3" ;;
    # FFmpeg's afftdn lags by 1200 samples (25 ms): taken out, so that the SNR compares like
    # with like.
    afftdn*)
        local filter=afftdn
        [ "$1" = afftdn-tracking ] && filter="afftdn=tn=1"
        [ "$1" = afftdn-strong ] && filter="afftdn=nr=20:nf=-40:tn=1"
        ffmpeg -v error -y -f f32le -ar 48000 -ac 1 -i "$2" \
            -af "$filter,atrim=start_sample=1200,apad=pad_len=1200" -f f32le "$3"
        ;;
    esac
}

recognise() { # raw file -> words
    from_raw "$1" "$work/in.wav"
    sox "$work/in.wav" -r 16000 -b 16 "$work/in16.wav"
    pocketsphinx_continuous -infile "$work/in16.wav" 2>/dev/null | tr '\n' ' '
}

candidates=(noisy afftdn afftdn-tracking afftdn-strong speex-15 speex-25 speex-35 webrtc-0 webrtc-1 webrtc-2)
: >"$work/results"
for candidate in "${candidates[@]}"; do
    for file in "$work"/*.noisy.f32; do
        base=${file%.noisy.f32}
        voice_index=$(basename "$base" | sed 's/\..*//')
        index=${voice_index//[a-z]/}
        voice=${voice_index//[0-9]/}
        noise=${base##*.}
        clean "$candidate" "$file" "$work/out.f32"
        heard=$(recognise "$work/out.f32")
        printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\n' "$candidate" "$voice" "$noise" "$(cat "$work/s$index.txt")" \
            "$heard" "$work/$voice_index.clean.f32" "$work/out.f32" >>"$work/results.tmp"
        # The SNR needs the cleaned samples while they are there.
        python3 - "$work/$voice_index.clean.f32" "$work/out.f32" >>"$work/snr" <<'EOF'
import array, math, sys
ref, out = array.array('f'), array.array('f')
ref.frombytes(open(sys.argv[1], 'rb').read()); out.frombytes(open(sys.argv[2], 'rb').read())
n = min(len(ref), len(out))
signal = sum(ref[i] * ref[i] for i in range(n))
error = sum((out[i] - ref[i]) ** 2 for i in range(n)) or 1e-12
print(10 * math.log10(signal / error))
EOF
    done
done
paste "$work/results.tmp" "$work/snr" >"$work/results"

python3 - "$work/results" <<'EOF'
import collections, sys
def distance(a, b):
    row = list(range(len(b) + 1))
    for i, x in enumerate(a, 1):
        prev, row[0] = row[0], i
        for j, y in enumerate(b, 1):
            prev, row[j] = row[j], min(row[j] + 1, row[j - 1] + 1, prev + (x != y))
    return row[-1]
errors, words, snr, count = collections.Counter(), collections.Counter(), collections.Counter(), collections.Counter()
order = []
for line in open(sys.argv[1]):
    candidate, voice, noise, truth, heard, _, _, db = line.rstrip('\n').split('\t')
    if candidate not in order: order.append(candidate)
    for key in [(candidate, 'all'), (candidate, voice), (candidate, noise)]:
        errors[key] += distance(truth.split(), heard.split())
        words[key] += len(truth.split())
        snr[key] += float(db)
        count[key] += 1
groups = ['all', 'hts', 'flite', 'pink', 'brown', 'hum']
print('word error rate, noisy speech at 10 dB SNR (%d files per candidate)' % count[(order[0], 'all')])
print('%-16s' % 'candidate' + ''.join('%8s' % g for g in groups) + '   SNR dB')
for c in order:
    print('%-16s' % c + ''.join('%7.1f%%' % (100 * errors[(c, g)] / words[(c, g)]) for g in groups)
          + '%9.1f' % (snr[(c, 'all')] / count[(c, 'all')]))
EOF

# Levelling: a quiet sentence (speech near -36 dBFS) in a movie, levelled as a recording is.
sox "$work/hts0.wav" -r 48000 -c 1 "$work/quiet.wav" pad 0.5 0.5 gain -n -30
ffmpeg -v error -y -f lavfi -i testsrc=size=640x360:rate=30 -i "$work/quiet.wav" -shortest \
    -c:v libx264 -preset ultrafast -c:a aac -b:a 192k "$work/quiet.mov"
cp "$work/quiet.mov" "$work/quiet-clean.mov"
echo
echo "levelling a quiet speech movie (target p90 speech RMS 0.125, peaks under 0.99)"
"$leveler" "$work/quiet.mov"
echo "with the voice cleaned first"
"$leveler" "$work/quiet-clean.mov" --clean
