#!/bin/sh
# The batch runner against the same job written in Python (sqlite3,
# decimal, string.Template, a file per group), without the mail step, at
# several sizes: wall time, CPU time (user + system) and peak resident
# memory of each, medians of three runs. On a busy machine compare the CPU
# times; the wall time also holds the reports' fsync.
#
#   scripts/bench-batch.sh [BIN_DIR] [ROWS...]     (default: build/bench/bin,
#                                                  100000 1000000 3000000)
set -eu
cd "$(dirname "$0")/.."
BIN=${1:-build/bench/bin}
[ $# -gt 0 ] && shift
SIZES=${*:-100000 1000000 3000000}
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT

median() { sort -g | sed -n 2p; }
printf 'level = 3\ndestination = file:%s/batch.log\n' "$WORK" > "$WORK/log.cfg"

for rows in $SIZES; do
  sed "s/n < 4000/n < $rows/" examples/data/warehouse.sql > "$WORK/w.sql"
  rm -f "$WORK/kxb.db" "$WORK/py.db"
  "$BIN/kxb" save "$WORK/kxb.db" orders "@$WORK/w.sql" \
    --type amount=Real --type ordered=Date --type paid=Boolean
  /usr/bin/python3 -c "import sqlite3,sys; c=sqlite3.connect(sys.argv[1]); \
c.execute('CREATE TABLE orders AS ' + open(sys.argv[2]).read()); c.commit()" \
    "$WORK/py.db" "$WORK/w.sql"
  for job in kxb python; do
    : > "$WORK/times"
    for run in 1 2 3; do
      rm -rf "$WORK/out"
      if [ $job = kxb ]; then
        /usr/bin/time -f "%e %U %S %M" -o "$WORK/t" "$BIN/kxb-batch" \
          --home examples/home --set "DATASOURCE/warehouse/PATH=$WORK/kxb.db" \
          --set "JOB/OUTPUT=$WORK/out" --set JOB/MAIL_TO= \
          --set "BASE/TEMP=$WORK" --set "BASE/LOGCONFIG_PATH=$WORK/log.cfg" >/dev/null 2>&1
      else
        /usr/bin/time -f "%e %U %S %M" -o "$WORK/t" /usr/bin/python3 \
          bench/batch_python.py "$WORK/py.db" "$WORK/out"
      fi
      cat "$WORK/t" >> "$WORK/times"
    done
    secs=$(cut -d' ' -f1 "$WORK/times" | median)
    cpu=$(awk '{ print $2 + $3 }' "$WORK/times" | median)
    kib=$(cut -d' ' -f4 "$WORK/times" | median)
    printf '%-7s %8s rows  %7.2f s wall  %7.2f s CPU  %6d MB peak\n' \
      "$job" "$rows" "$secs" "$cpu" $((kib / 1024))
    eval "t_$job=$cpu"
  done
  awk -v k="$t_kxb" -v p="$t_python" \
    'BEGIN { printf "        python / kxb-batch (CPU): %.1fx\n", p / k }'
done
