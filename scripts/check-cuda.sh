#!/usr/bin/env bash
# Builds the library and its tests with the CUDA realisation of the device layer, warnings as errors, and runs what the
# machine allows: without a device, that calls for one end with their code. Without nvcc it says so and does nothing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

nvcc=$(command -v nvcc || ls /usr/local/cuda/bin/nvcc 2>/dev/null || true)
if [ -z "$nvcc" ]; then
    echo "skipped: there is no nvcc"
    exit 0
fi
CUDACXX=$nvcc cmake --preset cuda -DNOX_WARNINGS_AS_ERRORS=ON -DNOX_BUILD_BENCHMARKS=OFF -DNOX_BUILD_EXAMPLES=OFF
cmake --build --preset cuda --target nox_tests
for gpu in 0 1; do NOX_TEST_GPU=$gpu build/cuda/tests/nox_tests --gtest_filter='Device*'; done
