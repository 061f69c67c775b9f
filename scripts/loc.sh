#!/usr/bin/env bash
# Prints the lines of code (neither empty nor a pure // comment) of the tracked sources, those of the tests, and how the
# tests compare with the whole and with what they test.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

lines() { xargs -r -d '\n' cat | grep -cvE '^[[:space:]]*(//.*)?$' || true; }
sources() { git ls-files | grep -E '\.(c|cc|cpp|cu|cuh|h|hpp|inl|py)$'; }

all=$(sources | lines)
tests=$(sources | grep -E '^tests/' | lines)
awk -v all="$all" -v tests="$tests" 'BEGIN {
    printf "all lines          %6d\ntest lines         %6d\n", all, tests
    if (all > tests) printf "tests / all        %6.1f %%\ntests / the others %6.1f %%\n", 100 * tests / all, 100 * tests / (all - tests)
}'
