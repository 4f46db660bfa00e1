#!/bin/sh
# Installs what is needed, builds Corvane twice (plain, and with AddressSanitizer +
# UndefinedBehaviorSanitizer), runs every test in both builds, checks formatting and fuzzes the
# configuration reader for a minute.
set -eu
cd "$(dirname "$0")/.."

./scripts/bootstrap.sh
./scripts/check-format.sh

jobs=$(nproc)

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCORVANE_BUILD_BENCH=ON
cmake --build build
ctest --test-dir build --output-on-failure --timeout 600

cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCORVANE_SANITIZE=ON
cmake --build build-asan
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
LSAN_OPTIONS=suppressions="$PWD/scripts/lsan.supp" \
    ctest --test-dir build-asan --output-on-failure --timeout 900 -j "$jobs"

./fuzz/run.sh 60

echo "all tests passed"
