#!/usr/bin/env bash
# Installs a finished build into a temporary folder and lets a program outside the tree use it: through the CMake
# package and through pkg-config, with every compiler at hand, without the library's own flags.
# Usage: scripts/check-consumer.sh <build folder>
set -euo pipefail
build=$(cd "${1:?usage: check-consumer.sh <build folder>}" && pwd)
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cp -r "$root/tests/consumer" "$work/source"
cmake --install "$build" --prefix "$work/built" >"$work/install.log"
mv "$work/built" "$work/installed"  # an installed tree may be moved

compilers=(g++)
if command -v clang++ >/dev/null; then compilers+=(clang++); fi
for compiler in "${compilers[@]}"; do
    echo "== find_package, $compiler"
    cmake -G Ninja -S "$work/source" -B "$work/cmake-$compiler" -DCMAKE_CXX_COMPILER="$compiler" \
        -DCMAKE_PREFIX_PATH="$work/installed" -DCMAKE_CXX_FLAGS="-Wall -Wextra -Wpedantic -Werror" >"$work/cmake.log"
    cmake --build "$work/cmake-$compiler" >>"$work/cmake.log" || { cat "$work/cmake.log"; exit 1; }
    "$work/cmake-$compiler/consumer"

    echo "== pkg-config, $compiler"
    package=$(dirname "$(find "$work/installed" -name Nox3DDataConvert.pc)")
    # shellcheck disable=SC2046  # the flags are words
    "$compiler" -std=c++17 "$work/source/consumer.cpp" -o "$work/consumer-$compiler" \
        $(PKG_CONFIG_PATH="$package" pkg-config --cflags --libs Nox3DDataConvert)
    LD_LIBRARY_PATH=$(dirname "$package") "$work/consumer-$compiler"
done
