#!/usr/bin/env bash
# All the proofs of docs/trust.md but the mutants (scripts/mutate.py), within 30 minutes on two cores: the tests as they
# ship, under the sanitizers with both compilers, under valgrind, the fuzzers, and images beyond 2^31 bytes.
# Usage: scripts/check.sh [seconds for each fuzzer, 120 by default]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
step() { printf '\n=== %4d s: %s\n' "$SECONDS" "$*"; }

step "packages"
scripts/install-packages.sh test
scripts/install-packages.sh check

step "faults, fill bytes, threads, and all other tests"
cmake --preset release -DNOX_BUILD_BENCHMARKS=OFF -DNOX_BUILD_EXAMPLES=OFF
cmake --build --preset release
cmake --build --preset release --target nox_large
ctest --preset release

step "address, undefined behaviour, leaks: g++"
cmake --preset asan
cmake --build --preset asan
ctest --preset asan

step "address, undefined behaviour, leaks: clang++"  # in the fuzzers' build
cmake --preset fuzz
cmake --build build/fuzz
ctest --preset fuzz

step "threads under the thread sanitizer"
scripts/tsan.sh

step "fuzzers"
scripts/fuzz.sh "${1-120}"

step "tests under valgrind"  # in plain memory: inside the pool it would see no bounds
cmake --preset release -B build/valgrind -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS="-O2 -g -DNOX_SYSTEM_ALLOCATOR" \
    -DNOX_BUILD_BENCHMARKS=OFF -DNOX_BUILD_EXAMPLES=OFF
cmake --build build/valgrind --target nox_tests
# valgrind's NaN are others than the processor's and compare otherwise, and it never flushes to zero
unlike='RangeToCloud.EveryWidth*:RangeToCloud.ManyTasks*:RangeToImageOf/5.StretchesEveryWidth*:'
unlike+='Retype.EveryValue*:Retype.BothStorage*:Device.PointsCountFully*'
valgrind --error-exitcode=9 --leak-check=full --show-leak-kinds=definite --errors-for-leak-kinds=definite --quiet \
    build/valgrind/tests/nox_tests --gtest_brief=1 --gtest_filter="-$unlike"

step "images of more than 2^31 bytes"
build/release/tests/nox_large

step "all passed"
