#!/usr/bin/env bash
# Runs the tests under the thread sanitizer, on a oneTBB that is instrumented too: built once, from the source of
# Debian's own package, into build/tsan-tbb. Nothing is suppressed.
# Usage: scripts/tsan.sh [gtest filter]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
tbb=$PWD/build/tsan-tbb

if [[ ! -e $tbb/installed/lib/libtbb.so ]]; then
    # The archives that this machine already knows, asked for sources instead, in lists of their own.
    mkdir -p "$tbb/lists/partial" "$tbb/parts"
    for list in /etc/apt/sources.list.d/debian.sources /etc/apt/sources.list; do
        if [[ -f $list ]]; then sed 's/^Types: deb$/Types: deb-src/; s/^deb /deb-src /' "$list" >"$tbb/parts/${list##*/}"; fi
    done
    apt=(apt-get -q -o APT::Sandbox::User=root -o Dir::State::Lists="$tbb/lists" -o Dir::Etc::SourceParts="$tbb/parts"
        -o Dir::Etc::SourceList=/dev/null -o Dir::Cache="$tbb")
    if [[ -f $tbb/parts/sources.list ]]; then mv "$tbb/parts/sources.list" "$tbb/parts/own.list"; fi
    "${apt[@]}" update
    (cd "$tbb" && rm -rf onetbb-*/ && "${apt[@]}" source onetbb)
    cmake -G Ninja -S "$tbb"/onetbb-*/ -B "$tbb/built" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DCMAKE_INSTALL_LIBDIR=lib -DTBB_TEST=OFF -DTBB_SANITIZE=thread -DTBBMALLOC_BUILD=OFF -DTBB_STRICT=OFF
    cmake --build "$tbb/built"
    cmake --install "$tbb/built" --prefix "$tbb/installed"
fi
cmake --preset tsan -DTBB_DIR="$tbb/installed/lib/cmake/TBB"
cmake --build --preset tsan
export LD_LIBRARY_PATH="$tbb/installed/lib" TSAN_OPTIONS=exitcode=66:history_size=4:allocator_may_return_null=1
build/tsan/tests/nox_trust --gtest_filter="${1-Threads.*}"
build/tsan/tests/nox_tests --gtest_filter="${1-*}"
