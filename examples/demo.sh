#!/bin/sh
# The demo: the library's typical path, end to end. The batch runner
# (kxb-batch) starts the library from the sample installation in
# examples/home, reads its job from the effective options, totals the
# orders of a "kxd://" data source per region with exact decimals, renders
# one report per region from a template on the thread pool, and mails them
# through msmtp to a real SMTP server that this script starts on 127.0.0.1
# and stops afterwards. Usage: demo.sh BIN_DIR
set -eu
bin=$(cd "$1" && pwd)
bin_arg=$1
here=$(cd "$(dirname "$0")/.." && pwd)
home="$here/examples/home"
warehouse=$(cd "$bin/../examples" && pwd)/warehouse.db
work=$(mktemp -d "${TMPDIR:-/tmp}/kxb-demo.XXXXXX")
sink=""
cleanup() {
  if [ -n "$sink" ]; then kill "$sink" 2>/dev/null || true; wait "$sink" || true; fi
  rm -rf "$work"
}
trap cleanup EXIT

/usr/bin/python3 "$here/examples/smtp-sink.py" "$work/inbox" "$work/port" 300 &
sink=$!
tries=0
until [ -s "$work/port" ]; do
  tries=$((tries + 1))
  if [ $tries -gt 200 ]; then echo "demo: the SMTP server did not start" >&2; exit 1; fi
  sleep 0.05
done
SMTP_PORT=$(cat "$work/port")
export SMTP_PORT

# What the operator passes on the command line: where this machine keeps the
# warehouse, and where the reports and scratch files go.
set -- --set "DATASOURCE/warehouse/PATH=$warehouse" \
       --set "JOB/OUTPUT=$work/reports" --set "BASE/TEMP=$work"

echo "== 1. The job's settings: the effective options and where each came from"
echo "   (abridged: the job's keys and a few of the library's)"
printf '\n$ kxb options --home examples/home --file batch.cfg --set ... --origin\n'
"$bin/kxb" options --home "$home" --file batch.cfg "$@" --origin 2>/dev/null |
  grep -E '^(JOB/|DATASOURCE/|BASE/(TEMP|SHARED_OUTPUT_PATH|LOGCONFIG_PATH|MESSAGE_PATH|DATE_FORMAT)=)' |
  sed "s|$here/||g; s|$work|\$WORK|g"

echo
echo "== 2. The job: start up, read the rows, total, render, write, mail"
printf '\n$ kxb-batch --home examples/home --set ...\n'
"$bin/kxb-batch" --home "$home" "$@" 2>&1 |
  grep -E '\[KX\.Batch\]' | sed "s|$here/||g; s|$work|\$WORK|g"

echo
echo "== 3. One report, as written (atomically) to JOB/OUTPUT"
printf '\n$ ls $WORK/reports\n'
ls "$work/reports"
printf '\n$ cat $WORK/reports/Z_rich.txt\n'
cat "$work/reports/Z_rich.txt"

echo
echo "== 4. The mail, as the SMTP server received it"
mail=$(ls "$work/inbox"/*.eml | head -1)
/usr/bin/python3 - "$mail" <<'PY'
import email, email.policy, sys
with open(sys.argv[1], "rb") as raw:
    msg = email.message_from_binary_file(raw, policy=email.policy.default)
for name in ("From", "To", "Subject", "Content-Type"):
    print("%s: %s" % (name, msg[name]))
for number, part in enumerate(msg.iter_parts(), 1):
    name = part.get_filename()
    body = part.get_content()
    size = len(body)
    print("\npart %d: %s%s, %d %s" % (number, part.get_content_type(),
          ' "%s"' % name if name else "", size,
          "bytes" if isinstance(body, bytes) else "characters"))
    if not name:
        print("  " + body.strip().replace("\r\n", "\n").replace("\n", "\n  "))
PY

echo
echo "More of the library, one kxb command at a time: examples/tour.sh $bin_arg"
