#!/bin/sh
# Builds the config.json fuzzer and runs it for the given number of seconds (default 60).
# Exits non-zero when the fuzzer finds a crash, a leak or a broken round trip.
set -eu

seconds=${1:-60}
here=$(cd "$(dirname "$0")" && pwd)
build=${FUZZ_BUILD_DIR:-$here/../fuzz-build}

cmake -S "$here" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_CXX_COMPILER=clang++-14 >/dev/null
cmake --build "$build"

# New inputs go to the build folder; the checked-in seeds stay as they are.
mkdir -p "$build/corpus"
"$build/fuzz_configcodec" \
    -max_total_time="$seconds" \
    -timeout=10 \
    -rss_limit_mb=2048 \
    -max_len=65536 \
    -print_final_stats=1 \
    -dict="$here/json.dict" \
    -artifact_prefix="$build/" \
    "$build/corpus" "$here/corpus"
