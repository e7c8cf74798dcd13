#!/bin/bash
# Runs every libFuzzer target (kxb_*_fuzz) of a build for a while.
#
#   scripts/run-fuzz.sh BIN_DIR [SECONDS [JOBS]]
#
# Each target runs SECONDS (default 120) on its own corpus, kept between runs
# in BIN_DIR/../corpus/<name>, and starts from the seed corpus kept in the
# repository (fuzz/corpus/<name>, read only: new inputs go to the build's
# corpus); inputs that crash are written to BIN_DIR/../fuzz-artifacts/<name>-*.
# JOBS targets (default: one per processor) run side by side, each logging
# to BIN_DIR/../fuzz-logs/<name>.log; a line per target tells how it ended
# and its final figures (executions, coverage, corpus). Exits non-zero if any
# target reports a finding (crash, failed check, leak, timeout) or if there
# is no target.
#
# To refresh a kept corpus from a run, minimise into it:
#   BIN_DIR/kxb_<name> -merge=1 fuzz/corpus/<name> BIN_DIR/../corpus/<name>
set -u

if [ $# -lt 1 ] || [ $# -gt 3 ]; then
  echo "usage: $0 BIN_DIR [SECONDS [JOBS]]" >&2
  exit 2
fi
bin_dir=$1
seconds=${2:-120}
jobs=${3:-$(nproc)}
for number in "$seconds" "$jobs"; do
  case $number in
    ''|*[!0-9]*|0) echo "run-fuzz: SECONDS and JOBS must be positive whole numbers" >&2; exit 2 ;;
  esac
done
if [ ! -d "$bin_dir" ]; then
  echo "run-fuzz: no such directory: $bin_dir" >&2
  exit 2
fi
build_dir=$(cd "$bin_dir/.." && pwd)
source_dir=$(cd "$(dirname "$0")/.." && pwd)
logs="$build_dir/fuzz-logs"
artifacts="$build_dir/fuzz-artifacts"
mkdir -p "$logs" "$artifacts"

# Runs one target; prints its line and leaves "<name>.failed" on a finding.
run_one() {
  exe=$1
  name=$(basename "$exe")
  name=${name#kxb_}
  corpus="$build_dir/corpus/$name"
  kept="$source_dir/fuzz/corpus/${name%_fuzz}"
  log="$logs/$name.log"
  mkdir -p "$corpus"
  rm -f "$logs/$name.failed"
  seeds=""
  [ -d "$kept" ] && seeds=$kept
  # shellcheck disable=SC2086
  "$exe" -max_total_time="$seconds" -timeout=30 -print_final_stats=1 \
    -artifact_prefix="$artifacts/$name-" "$corpus" $seeds > "$log" 2>&1
  status=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  cov=$(grep -o 'cov: [0-9]*' "$log" | tail -n 1)
  corp=$(grep -o 'corp: [0-9]*/[0-9]*[a-zA-Z]*' "$log" | tail -n 1)
  figures="${runs:-?} runs, ${cov:-cov: ?}, ${corp:-corp: ?}"
  if [ $status -eq 0 ]; then
    echo "run-fuzz: $name: no finding ($figures)"
  else
    echo "run-fuzz: $name: FINDING, see $log and $artifacts/$name-* ($figures)" >&2
    : > "$logs/$name.failed"
  fi
}

targets=""
for exe in "$bin_dir"/kxb_*_fuzz; do
  [ -f "$exe" ] && [ -x "$exe" ] && targets="$targets $exe"
done
if [ -z "$targets" ]; then
  echo "run-fuzz: no kxb_*_fuzz executable in $bin_dir" >&2
  exit 1
fi
echo "run-fuzz: $(echo $targets | wc -w) targets, ${seconds}s each, $jobs at a time"

running=0
for exe in $targets; do
  if [ $running -ge "$jobs" ]; then
    wait -n 2>/dev/null || wait
    running=$((running - 1))
  fi
  run_one "$exe" &
  running=$((running + 1))
done
wait

failed=""
for mark in "$logs"/*.failed; do
  [ -f "$mark" ] || continue
  failed="$failed $(basename "$mark" .failed)"
done
if [ -n "$failed" ]; then
  echo "run-fuzz: findings in:$failed" >&2
  exit 1
fi
echo "run-fuzz: all targets clean"
