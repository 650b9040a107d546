#!/bin/sh
# Builds the libFuzzer targets with clang (AddressSanitizer and UBSan on, see
# fuzz/CMakeLists.txt) and runs each in turn for a while.
#   fuzz/run.sh [SECONDS [TARGET...]]
# SECONDS per target (default FUZZ_SECONDS, else 20); the targets named, or
# all of them.
# Corpora grow in build-fuzz/ and are not kept in the repository; a target's
# seed files, if any, stand in fuzz/corpus/ under its name without "_fuzz".
set -eu
cd "$(dirname "$0")/.."
seconds=${1:-${FUZZ_SECONDS:-20}}
out=build-fuzz
CC=clang CXX=clang++ cmake -S . -B "$out" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DLATHEMOOR_FUZZ=ON -DLATHEMOOR_TESTS=OFF -DLATHEMOOR_BENCH=OFF \
    -DLATHEMOOR_SANITIZE=address,undefined >/dev/null
targets="wav_fuzz png_fuzz ini_fuzz ui_fuzz state_fuzz patch_fuzz sample_import_fuzz bank_fuzz"
[ $# -gt 1 ] && shift && targets="$*"
cmake --build "$out" -j"$(nproc 2>/dev/null || echo 2)" --target $targets

for name in $targets; do
    target="$out/fuzz/$name"
    corpus="$out/$name.corpus"
    mkdir -p "$corpus"
    seeds="fuzz/corpus/${name%_fuzz}"
    quiet=
    # The parser's messages on standard error would drown the fuzzer's own.
    [ "$name" = ui_fuzz ] && seeds=resources quiet=-close_fd_mask=2
    [ -d "$seeds" ] || seeds=
    echo "== $name for ${seconds}s"
    log="$out/$name.log"
    if ! UBSAN_OPTIONS=halt_on_error=1 "$target" -max_total_time="$seconds" \
            -print_final_stats=0 $quiet "$corpus" $seeds >"$log" 2>&1; then
        tail -n 40 "$log"
        echo "$name found a fault; the input is saved in $(pwd)"
        exit 1
    fi
    tail -n 1 "$log"
done
