#!/usr/bin/env bash
# Times the peak envelope of a 1-hour take and of a 1-hour MP3 against `ffmpeg -f null` decoding
# the same files. The files are made once under $BUILD/bench-data and read once before timing,
# so both sides run from a warm page cache.
set -euo pipefail

. "$(dirname "$0")/common.bash"
need_tool bench_waveform_file
take="$data/take-1h.caf"
music="$data/music-1h.mp3"

if [ ! -s "$take" ]; then
  "$tool" --make-take "$take.part" 3600 && mv "$take.part" "$take"
fi
if [ ! -s "$music" ]; then
  ffmpeg -nostdin -y -v error -f lavfi -i "sine=frequency=220:sample_rate=44100:duration=3600" \
    -f lavfi -i "anoisesrc=color=pink:sample_rate=44100:amplitude=0.2:duration=3600" \
    -filter_complex "[0][1]amix=inputs=2,aformat=channel_layouts=stereo" \
    -c:a libmp3lame -b:a 192k -f mp3 "$music.part" && mv "$music.part" "$music"
fi

compare() { # label file
  cat "$2" >/dev/null # warm the page cache for both sides
  local ours theirs
  ours=$(hyperfine_seconds mean "$tool $2")
  theirs=$(hyperfine_seconds mean "ffmpeg -nostdin -v error -i $2 -f null -")
  python3 -c 'import sys; t=float(sys.argv[2]); f=float(sys.argv[3]); print("%s: tapewright %.3f s, ffmpeg %.3f s, ratio %.2f" % (sys.argv[1], t, f, t / f))' "$1" "$ours" "$theirs"
}

compare "waveform CAF 1h" "$take"
compare "waveform MP3 1h" "$music"
