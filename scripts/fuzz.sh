#!/usr/bin/env bash
# Runs the two fuzzers side by side for that many seconds, from the committed inputs (tests/fuzz/corpus). What they find
# beside a finding stays in build/fuzz/corpus; a finding makes the script fail and lies in build/fuzz.
# Usage: scripts/fuzz.sh [seconds, 120 by default]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
export ASAN_OPTIONS=detect_leaks=1:strict_init_order=1:detect_stack_use_after_return=1:allocator_may_return_null=1:max_allocation_size_mb=256
export UBSAN_OPTIONS=print_stacktrace=1 NOX_TEST_EFFICIENCY=${NOX_TEST_EFFICIENCY-1}
declare -A runs
for fuzzer in ImagesFuzzer ShapesFuzzer; do
    mkdir -p "build/fuzz/corpus/$fuzzer"
    build/fuzz/tests/$fuzzer "build/fuzz/corpus/$fuzzer" "tests/fuzz/corpus/$fuzzer" -max_total_time="${1-120}" \
        -max_len=512 -timeout=10 -rss_limit_mb=2048 -malloc_limit_mb=100000 -artifact_prefix=build/fuzz/ \
        -entropic=0 -print_final_stats=1 -print_funcs=0 >"build/fuzz/$fuzzer.log" 2>&1 &
    runs[$fuzzer]=$!
done
failed=0
for fuzzer in "${!runs[@]}"; do
    echo "$fuzzer:"
    wait "${runs[$fuzzer]}" || failed=1
    grep -vE '^#[0-9]+\s+(NEW|REDUCE|pulse)|^"' "build/fuzz/$fuzzer.log"
done
exit $failed
