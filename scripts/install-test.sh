#!/bin/sh
# Installs a build tree into a scratch prefix and builds a small program
# against the installed copy twice: with CMake's find_package(kxb) and with
# pkg-config. Usage: install-test.sh BUILD_DIR
set -eu
build=$(cd "$1" && pwd)
work="$build/install-test"
rm -rf "$work"
mkdir -p "$work/src"
cmake --install "$build" --prefix "$work/prefix" >/dev/null

cat > "$work/src/main.cpp" <<'CPP'
#include <kxb.h>
int main() { const char* error; if (kxbInitialize(KXB_HOST, &error) != 0) return 2;
  int rc = kxbStringFormat("%s-%d", "kxb", 3).compare("kxb-3"); kxbShutdown(); return rc; }
CPP
cat > "$work/src/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(kxb_consumer CXX)
set(CMAKE_CXX_STANDARD 20)
find_package(kxb REQUIRED)
add_executable(consumer main.cpp)
target_link_libraries(consumer PRIVATE kxb::kxb)
# The library finds its companions beside the path it is initialised with.
target_compile_definitions(consumer PRIVATE KXB_HOST="${KXB_COMPANION_DIR}/consumer")
CMAKE

cmake -S "$work/src" -B "$work/cmake-build" -G Ninja \
  -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/cmake-build" >/dev/null
LD_LIBRARY_PATH="$work/prefix/lib" "$work/cmake-build/consumer"

export PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig"
companiondir=$(pkg-config --variable=companiondir kxb)
# shellcheck disable=SC2046
g++ -std=c++20 "$work/src/main.cpp" -o "$work/pkgconfig-consumer" \
  -DKXB_HOST="\"$companiondir/consumer\"" $(pkg-config --cflags --libs kxb)
LD_LIBRARY_PATH="$work/prefix/lib" "$work/pkgconfig-consumer"
echo "install-test: find_package(kxb) and pkg-config kxb both work" \
  "(companiondir=$companiondir)"
