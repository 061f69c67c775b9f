#!/usr/bin/env bash
# Compiles every public header alone, as a program without the library's own flags would: g++ and clang++, C++17 and
# C++20, no warnings. Needs a configured build folder (default build/dev), which knows where the other libraries are.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
flags=$(PKG_CONFIG_PATH="${1:-build/dev}" pkg-config --cflags Nox3DDataConvert | sed 's/-I/-isystem /g')

compile() {
    # shellcheck disable=SC2086  # the flags are words
    echo "#include <${3#include/}>" |
        "$1" "-std=$2" -fsyntax-only -Wall -Wextra -Wpedantic -Wshadow -Werror -Iinclude $flags -x c++ - ||
        { echo "$3 does not compile alone ($1, $2)"; return 1; }
}
export -f compile
export flags

# shellcheck disable=SC2016  # the inner shell expands its arguments
for compiler in g++ clang++; do
    for standard in c++17 c++20; do
        printf "$compiler $standard %s\n" include/*.h
    done
done | xargs -P "$(nproc)" -L 1 bash -c 'compile "$0" "$1" "$2"'
echo "every public header compiles alone"
