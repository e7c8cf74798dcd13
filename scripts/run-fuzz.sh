#!/bin/sh
# Runs every libFuzzer target (kxb_*_fuzz) of a build for a while.
#
#   scripts/run-fuzz.sh BIN_DIR [SECONDS]
#
# Each target runs SECONDS (default 120) on its own corpus, kept between runs
# in BIN_DIR/../corpus/<name>, and starts from the seed corpus kept in the
# repository (fuzz/corpus/<name>, read only: new inputs go to the build's
# corpus); inputs that crash are written to BIN_DIR/../fuzz-artifacts/<name>-*.
# Exits non-zero if any target reports a finding (crash, failed check, leak,
# timeout) or if there is no target.
#
# To refresh a kept corpus from a run, minimise into it:
#   BIN_DIR/kxb_<name> -merge=1 fuzz/corpus/<name> BIN_DIR/../corpus/<name>
set -u

if [ $# -lt 1 ] || [ $# -gt 2 ]; then
  echo "usage: $0 BIN_DIR [SECONDS]" >&2
  exit 2
fi
bin_dir=$1
seconds=${2:-120}
case $seconds in
  ''|*[!0-9]*) echo "run-fuzz: SECONDS must be a whole number: $seconds" >&2; exit 2 ;;
esac
if [ ! -d "$bin_dir" ]; then
  echo "run-fuzz: no such directory: $bin_dir" >&2
  exit 2
fi
build_dir=$(cd "$bin_dir/.." && pwd)
source_dir=$(cd "$(dirname "$0")/.." && pwd)

found=0
failed=""
for exe in "$bin_dir"/kxb_*_fuzz; do
  [ -f "$exe" ] && [ -x "$exe" ] || continue
  found=1
  name=$(basename "$exe")
  name=${name#kxb_}
  corpus="$build_dir/corpus/$name"
  artifacts="$build_dir/fuzz-artifacts"
  kept="$source_dir/fuzz/corpus/${name%_fuzz}"
  mkdir -p "$corpus" "$artifacts"
  seeds=""
  [ -d "$kept" ] && seeds=$kept
  echo "run-fuzz: $name for ${seconds}s (corpus $corpus${seeds:+, seeds $seeds})"
  # shellcheck disable=SC2086
  if "$exe" -max_total_time="$seconds" -timeout=30 -print_final_stats=1 \
       -artifact_prefix="$artifacts/$name-" "$corpus" $seeds; then
    echo "run-fuzz: $name: no finding"
  else
    echo "run-fuzz: $name: FINDING (see $artifacts/$name-*)" >&2
    failed="$failed $name"
  fi
done

if [ $found -eq 0 ]; then
  echo "run-fuzz: no kxb_*_fuzz executable in $bin_dir" >&2
  exit 1
fi
if [ -n "$failed" ]; then
  echo "run-fuzz: findings in:$failed" >&2
  exit 1
fi
echo "run-fuzz: all targets clean"
