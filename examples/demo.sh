#!/bin/sh
# The demo: the kxb program on a few jobs that show the library working.
# Usage: demo.sh BIN_DIR
set -eu
bin=$1
here=$(cd "$(dirname "$0")/.." && pwd)
export KAXEL_ERROR_LOCATION="$here/share/msg"
kxb="$bin/kxb"

step() { printf '\n$ kxb %s\n' "$*"; "$kxb" "$@"; }

step uuid
step case upper "Grüße aus Straßburg"
step case lower "ΣΊΣΥΦΟΣ"
step wide "a€𝄞"
step msg "Base Services" 29 "demo buffer"
step msg --locale fr "Base Services" 29 "tampon de démonstration"
step msg "Base Services" 99999
