#!/bin/sh
# Builds every libFuzzer target with clang (AddressSanitizer and UBSan on)
# and runs each for a while: FUZZ_SECONDS (default 20). Corpora grow in
# build-fuzz/ and are not kept in the repository; a target's seed files, if
# any, stand in fuzz/corpus/ under its name without "_fuzz".
set -eu
cd "$(dirname "$0")/.."
seconds=${FUZZ_SECONDS:-20}
out=build-fuzz
mkdir -p "$out"
flags="-std=c++17 -g -O1 -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=all -I."

# target name, then its sources
build() {
    name=$1; shift
    clang++ $flags "$@" -o "$out/$name" -ldl -lpthread
}
build wav_fuzz fuzz/wav_fuzz.cpp tools/host/wav.cpp tools/host/host.cpp -DLATHEMOOR_BUILT_PLUGIN='""'
build png_fuzz fuzz/png_fuzz.cpp toolkit/png.cpp
build ini_fuzz fuzz/ini_fuzz.cpp store/settings.cpp
# The plug-in's shell, store and toolkit, with the DSP built once at the plain level.
plugin_sources="shell/*.cpp store/*.cpp toolkit/*.cpp"
engine_sources=$(ls engine/*.cpp | grep -v '/dispatch\.cpp$')
build state_fuzz fuzz/state_fuzz.cpp $plugin_sources $engine_sources -DENGINE_LEVEL=1
build patch_fuzz fuzz/patch_fuzz.cpp $plugin_sources

for target in "$out"/*_fuzz; do
    corpus="$out/$(basename "$target").corpus"
    mkdir -p "$corpus"
    seeds="fuzz/corpus/$(basename "$target" _fuzz)"
    [ -d "$seeds" ] || seeds=
    echo "== $(basename "$target") for ${seconds}s"
    "$target" -max_total_time="$seconds" -print_final_stats=0 "$corpus" $seeds 2>&1 | tail -n 2
done
