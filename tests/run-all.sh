#!/bin/sh
# Installs what the build and the tests need (when run as root on Debian), then
# builds and runs every test: a release build, a build under AddressSanitizer
# and UndefinedBehaviorSanitizer, and the multi-threaded tests under
# ThreadSanitizer.
set -eu
cd "$(dirname "$0")/.."
jobs=$(nproc 2>/dev/null || echo 2)

if [ "$(id -u)" = 0 ] && command -v apt-get >/dev/null; then
    export DEBIAN_FRONTEND=noninteractive
    apt-get update
    apt-get install -y --no-install-recommends \
        build-essential cmake libgtest-dev
fi

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

echo "all tests passed"
