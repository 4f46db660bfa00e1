#!/bin/sh
# Installs what is needed, builds Corvane and starts it.
set -eu
cd "$(dirname "$0")/.."

./scripts/bootstrap.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build --target corvane
exec ./build/src/app/corvane
