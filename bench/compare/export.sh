#!/usr/bin/env bash
# Times the M4A export of a one-hour programme (voice takes cut into clips with pauses, a music bed
# with a fade in and out) against the ffmpeg tool encoding the same mix, rendered once to a float
# WAV by our own offline render, with the same encoder and bitrate (AAC-LC, 160 kb/s stereo).
# Inputs are made once under $BUILD/bench-data/export-programme-1h. The two sides run alternately, RUNS
# times each from a warm page cache; the best time of each is compared, as the machine may be
# busy with other work. The loudness-normalised export of the same programme (render to a
# temporary file while measuring, then gain, limiter and encoder) is timed against ours too.
set -euo pipefail

. "$(dirname "$0")/common.bash"
need_tool bench_export
data="$data/export-programme-1h"
mkdir -p "$data"

if [ ! -s "$data/take-11.caf" ]; then
  "$tool" takes "$data" 60
fi
if [ ! -s "$data/music.wav" ]; then
  # A chord in each channel under a slow tremolo, CD format (so the render resamples it).
  sox -n -r 44100 -c 2 -b 16 "$data/music.part.wav" synth 3600 sine 220 sine 329.6 \
    synth 3600 sine mix 277.2 sine mix 415.3 tremolo 0.5 40 vol 0.4 &&
    mv "$data/music.part.wav" "$data/music.wav"
fi
if [ ! -s "$data/mix.wav" ]; then
  "$tool" premix "$data" "$data/mix.part.wav" && mv "$data/mix.part.wav" "$data/mix.wav"
fi

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
cat "$data"/*.caf "$data/music.wav" "$data/mix.wav" >/dev/null # warm the page cache for both

# Seconds the command takes: wall time, or with MEASURE=cpu its user and system time (steadier
# when other work shares the machine).
elapsed() {
  python3 - "${MEASURE:-wall}" "$@" <<'PY'
import resource, subprocess, sys, time
start = time.monotonic()
subprocess.run(sys.argv[2:], check=True)
wall = time.monotonic() - start
usage = resource.getrusage(resource.RUSAGE_CHILDREN)
print("%.3f" % (usage.ru_utime + usage.ru_stime if sys.argv[1] == "cpu" else wall))
PY
}

runs=${RUNS:-2}
ours=() theirs=() normalised=()
for ((i = 0; i < runs; i++)); do
  ours+=("$(elapsed "$tool" export "$data" "$out/tapewright.m4a")")
  theirs+=("$(elapsed ffmpeg -nostdin -v error -y -i "$data/mix.wav" -c:a aac -b:a 160k "$out/ffmpeg.m4a")")
  normalised+=("$(elapsed "$tool" export "$data" "$out/normalised.m4a" -16)")
done
python3 -c 'import sys
n = len(sys.argv) // 3
t, f, m = (min(map(float, sys.argv[1 + k * n:1 + (k + 1) * n])) for k in range(3))
print("export 1h: tapewright %.3f s, ffmpeg %.3f s, ratio %.2f" % (t, f, t / f))
print("export 1h at -16 LUFS: normalised %.3f s, plain %.3f s, ratio %.2f" % (m, t, m / t))' \
  "${ours[@]}" "${theirs[@]}" "${normalised[@]}"
for f in tapewright normalised; do
  ffmpeg -nostdin -nostats -i "$out/$f.m4a" -af ebur128=peak=true -f null - 2>&1 |
    awk -v f="$f" '/I:/ { i = $2 } /Peak:/ { p = $2 } END { print "export 1h " f ": " i " LUFS, true peak " p " dBTP" }'
done
