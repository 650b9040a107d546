#!/bin/sh
# Installs what the build and the tests need (when run as root on Debian), then
# builds and runs every test: a release build, a build under AddressSanitizer
# and UndefinedBehaviorSanitizer, the multi-threaded tests under
# ThreadSanitizer, and a short run of every fuzz target.
set -eu
cd "$(dirname "$0")/.."
jobs=$(nproc 2>/dev/null || echo 2)

if [ "$(id -u)" = 0 ] && command -v apt-get >/dev/null; then
    export DEBIAN_FRONTEND=noninteractive
    apt-get update
    apt-get install -y --no-install-recommends \
        build-essential cmake libgtest-dev clang libclang-rt-14-dev \
        libfreetype-dev zlib1g-dev fonts-dejavu-core xvfb libx11-dev libxtst-dev
fi
# The editor's tests want an X server: one of their own, ended on exit.
Xvfb :97 -screen 0 1920x1080x24 >/dev/null 2>&1 & xvfb=$!
trap 'kill $xvfb' EXIT
export DISPLAY=:97

build() {  # build DIR [cmake options...]
    dir=$1; shift
    cmake -S . -B "$dir" -DLATHEMOOR_BENCH=OFF "$@" >/dev/null
    cmake --build "$dir" -j"$jobs"
}

echo "== release build and tests"
build build-test -DCMAKE_BUILD_TYPE=Release
(cd build-test && ctest --output-on-failure -j"$jobs")

echo "== AddressSanitizer and UndefinedBehaviorSanitizer"
build build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DLATHEMOOR_SANITIZE=address,undefined
(cd build-asan && UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
    ASAN_OPTIONS=detect_leaks=1 ctest --output-on-failure -j"$jobs")

echo "== ThreadSanitizer: the tests where the audio and main threads meet"
cmake -S . -B build-tsan -DLATHEMOOR_BENCH=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DLATHEMOOR_SANITIZE=thread >/dev/null
cmake --build build-tsan -j"$jobs" --target plugin_tests
TSAN_OPTIONS=halt_on_error=1 build-tsan/tests/plugin_tests --gtest_filter='Threads*'

echo "== fuzzing"
fuzz/run.sh

echo "all tests passed"
