#!/bin/sh
# Installs the Debian packages the build needs, once: when everything is
# present it says so and does nothing. Runs as root without a terminal (CI)
# or through sudo for a user.
set -eu

# libintelrdfpmath-dev and libboost-dev serve only the decimal comparison
# benchmark (bench/decimal_compare_bench.cpp), which builds without them.
PACKAGES="cmake ninja-build g++ pkg-config ccache clang libclang-rt-14-dev \
libutf8proc-dev libspdlog-dev libfmt-dev googletest libgtest-dev \
libbenchmark-dev libmimalloc-dev libintelrdfpmath-dev libboost-dev"

missing=""
for p in $PACKAGES; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing="$missing $p"
  fi
done

if [ -z "$missing" ]; then
  exit 0
fi

echo "install-deps: installing:$missing"
SUDO=""
if [ "$(id -u)" -ne 0 ]; then
  SUDO="sudo"
fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq </dev/null
# shellcheck disable=SC2086
$SUDO apt-get install -y -qq --no-install-recommends $missing </dev/null
