#!/bin/sh
# A tour of the kxb program: the library at work on text, configuration,
# start-up, exact decimals, dates, identifiers and catalogue messages, one
# command at a time. Usage: tour.sh BIN_DIR
set -eu
bin=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")/.." && pwd)
export KAXEL_ERROR_LOCATION="$here/share/msg"
kxb="$bin/kxb"
work=$(mktemp -d "${TMPDIR:-/tmp}/kxb-demo.XXXXXX")
trap 'rm -rf "$work"' EXIT

step() { printf '\n$ kxb %s\n' "$*"; "$kxb" "$@"; }

echo "== text: UTF-8 strings, full case mapping, UTF-16 at the boundary"
step case upper "Grüße aus Straßburg"
step wide "a€𝄞"
step uuid

echo
echo "== configuration: a job's settings file, edited in place"
cat > "$work/job.cfg" <<'CFG'
# nightly invoice run
JOB/NAME=invoices
JOB/CURRENCY=EUR

# rates in force since January
RATES/VAT=0.19
CFG
step config set "$work/job.cfg" JOB/BATCH 500
step config get "$work/job.cfg" rates/vat
step config list "$work/job.cfg"
printf '
$ cat job.cfg   (comments and blank lines kept)
'
cat "$work/job.cfg"

echo
echo "== start-up: the sample installation in examples/home, as a host sees it"
printf '\n$ kxb options --home examples/home --origin APP/REPORTS SITE/NAME BASE/AUTH_SERVER_LOC\n'
"$kxb" options --home "$here/examples/home" --origin APP/REPORTS SITE/NAME \
  BASE/AUTH_SERVER_LOC 2>/dev/null
printf '\n$ kxb options --home examples/home --set APP/NAME=payroll APP/REPORTS\n'
"$kxb" options --home "$here/examples/home" --set APP/NAME=payroll APP/REPORTS \
  2>/dev/null
step overlay set "$work/job.cfg" "$work/local.cfg" JOB/BATCH 50 --comment "smaller batches here"
step overlay list "$work/job.cfg" "$work/local.cfg"

echo
echo "== exact decimals: 52 significant digits, no binary rounding"
step decimal "0.1 + 0.2"
step decimal "round(1234.565 * (1 + 0.19), 2)"
step decimal "1/3"
step decimal "sqrt(2)"

echo
echo "== dates: parsing in the configured order, ISO 8601 out"
step date "03/07/2024 9:05 PM"
step date "7.3.2024" --order dmy --iso --zone 1:00

echo
echo "== identifiers: a data source and its parts"
step uri "kxd://warehouse/sales(ODBC)/2024/q1/orders"
step attrs "user=batch;mode=nightly;dry run"

echo
echo "== catalogue messages, in two locales"
step msg "Base Services" 29 "the invoice buffer"
step msg --locale fr "Base Services" 29 "le tampon des factures"
step msg "Base Services" 99999
