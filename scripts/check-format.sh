#!/bin/sh
# Fails when a tracked C++ or Objective-C++ file differs from what clang-format makes of it.
set -eu
cd "$(dirname "$0")/.."
files=$(git ls-files '*.cpp' '*.h' '*.mm')
[ -z "$files" ] && exit 0
# shellcheck disable=SC2086
clang-format --dry-run -Werror $files
echo "format: ok"
