#!/usr/bin/env bash
# Runs clang-tidy (.clang-tidy) over the sources of the libraries and their headers; findings are errors. Needs a
# configured build folder (default build/dev) with compile commands.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build=${1:-build/dev}
tidy=$(command -v clang-tidy-14 || command -v clang-tidy)
sed -n "s|^ *\"file\": \"$PWD/\(.*\)\".*|\1|p" "$build/compile_commands.json" |
    grep -vE '^(tests|benchmarks|examples|build)/' | sort -u | xargs -P "$(nproc)" -n 1 "$tidy" -p "$build" --quiet
