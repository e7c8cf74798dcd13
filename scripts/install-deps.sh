#!/bin/sh
# Installs the Debian packages the build needs, once: when everything is
# present it says so and does nothing. Runs as root without a terminal (CI)
# or through sudo for a user.
set -eu

# libsqlite3-dev is the row store under row sets; msmtp and python3-aiosmtpd
# are the real mail program and SMTP server the e-mail tests deliver through.
# The last line's packages are benchmark-only yardsticks, and the benchmarks
# build without them: libintelrdfpmath-dev and libboost-dev for the decimal
# arithmetic, liburiparser-dev and libglib2.0-dev (GUri) for URIs, libinih-dev
# and libglib2.0-dev (GKeyFile) for configuration files and the thread pool,
# libtbb-dev (oneTBB) for the thread pool.
PACKAGES="cmake ninja-build g++ pkg-config ccache clang libclang-rt-14-dev \
libutf8proc-dev libspdlog-dev libfmt-dev googletest libgtest-dev \
libbenchmark-dev libmimalloc-dev libsqlite3-dev msmtp python3-aiosmtpd \
libintelrdfpmath-dev libboost-dev liburiparser-dev libglib2.0-dev libinih-dev libtbb-dev"

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
