# Sourced by the comparison scripts: where the build and its benchmark data are, and how a
# whole program run is timed with hyperfine.
BUILD=${BUILD:-build}
data="$BUILD/bench-data"
mkdir -p "$data"

# Sets tool to the built benchmark program named $1, or stops when it is not built.
need_tool() {
  tool="$BUILD/bench/$1"
  [ -x "$tool" ] || { echo "missing $tool (build the $1 target)" >&2; exit 1; }
}

# Seconds per run of the command $2 over RUNS runs after one warm-up: "mean" wall time, or "cpu"
# (user + system), which a busy machine inflates far less.
hyperfine_seconds() {
  local json
  json=$(mktemp)
  hyperfine --style none --warmup 1 --runs "${RUNS:-3}" --export-json "$json" "$2" >/dev/null 2>&1
  python3 -c 'import json,sys
r = json.load(open(sys.argv[1]))["results"][0]
print("%.3f" % (r["user"] + r["system"] if sys.argv[2] == "cpu" else r["mean"]))' "$json" "$1"
  rm -f "$json"
}
