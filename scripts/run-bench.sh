#!/bin/sh
# Runs every Google Benchmark program (kxb_*_bench) of a build.
#
#   scripts/run-bench.sh BIN_DIR [extra benchmark flags...]
#
# Each program runs each of its benchmarks for at least 0.2 s. Use a Release
# build (the "bench" preset) for figures worth comparing. Exits non-zero if a
# program fails or if there is none.
set -u

if [ $# -lt 1 ]; then
  echo "usage: $0 BIN_DIR [benchmark flags...]" >&2
  exit 2
fi
bin_dir=$1
shift
if [ ! -d "$bin_dir" ]; then
  echo "run-bench: no such directory: $bin_dir" >&2
  exit 2
fi

found=0
failed=""
for exe in "$bin_dir"/kxb_*_bench; do
  [ -f "$exe" ] && [ -x "$exe" ] || continue
  found=1
  echo "run-bench: $(basename "$exe")"
  # benchmark 1.7 takes the minimum time as plain seconds (no "s" suffix).
  if ! "$exe" --benchmark_min_time=0.2 "$@"; then
    failed="$failed $(basename "$exe")"
  fi
done

if [ $found -eq 0 ]; then
  echo "run-bench: no kxb_*_bench executable in $bin_dir" >&2
  exit 1
fi
if [ -n "$failed" ]; then
  echo "run-bench: failed:$failed" >&2
  exit 1
fi
