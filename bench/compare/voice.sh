#!/usr/bin/env bash
# Times the heaviest voice treatment (enhance with the radio preset, gate, leveller, ten bands)
# on a 10-minute 48 kHz mono file against SoX running the equivalent chain (a high-pass, thirteen
# peaking equalisers and a compander) on the same file. Both sides are whole program runs that
# decode the same WAV and discard the result (SoX writes to -n), from a warm page cache. Both are
# single-threaded, so the figures are processor time (user + system, from hyperfine), which a busy
# machine inflates far less than wall time.
set -euo pipefail

. "$(dirname "$0")/common.bash"
need_tool bench_voice_file
speech="$data/speech-10min-48k-mono.wav"

if [ ! -s "$speech" ]; then
  sox -n -r 48000 -c 1 -b 16 "$speech.part.wav" synth 600 sine 180 pinknoise mix \
    tremolo 3 90 vol 0.6 && mv "$speech.part.wav" "$speech"
fi

# The treatment's sections in SoX terms: width as Q (our 2Q halved), gains in dB.
sox_chain="highpass 70 0.707q equalizer 130 0.7q 3.5 equalizer 320 0.9q -2 equalizer 3200 0.8q 3"
for band in "31.5 3" "63 -2" "125 2" "250 -1" "500 1.5" "1000 -2" "2000 2.5" "4000 -3" \
  "8000 4" "16000 -4"; do
  set -- $band
  sox_chain="$sox_chain equalizer $1 0.75q $2"
done
sox_chain="$sox_chain compand 0.005,0.18 6:-70,-70,-22,-22,0,-16.5 4 -90 0.005"

cat "$speech" >/dev/null # warm the page cache for both sides
ours=$(hyperfine_seconds cpu "$tool $speech")
theirs=$(hyperfine_seconds cpu "sox $speech -n $sox_chain")
python3 -c 'import sys; t=float(sys.argv[1]); s=float(sys.argv[2]); print("voice treatment 10 min 48 kHz mono: tapewright %.3f s, sox %.3f s, ratio %.2f" % (t, s, t / s))' "$ours" "$theirs"
