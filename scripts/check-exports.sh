#!/usr/bin/env bash
# Compares what the shared libraries of a build folder (default build/dev) export with the list in
# tests/exported-symbols.txt: a line for each symbol, the library before it. With --write it writes the list anew.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
list=tests/exported-symbols.txt
write=false
if [ "${1:-}" = --write ]; then write=true; shift; fi
build=${1:-build/dev}

# Without the addresses, and without the names of inline namespaces, which differ between versions of oneTBB and
# libstdc++. A constructor has several symbols with one name.
exported() {
    find "$build" -maxdepth 2 -name 'libNox*.so' | while read -r library; do
        name=$(basename "$library" .so)
        nm -DC --defined-only "$library" | cut -d' ' -f3- |
            sed -E "s/tbb::detail::d[0-9]+::/tbb::/g; s/\[abi:[a-z0-9]+\]//g; s/^/${name#lib} /"
    done | LC_ALL=C sort -u
}

if $write; then
    exported >"$list"
elif difference=$(diff --unchanged-line-format= --old-line-format='missing: %L' --new-line-format='extra: %L' \
    "$list" <(exported)); then
    echo "the $(wc -l <"$list") symbols of $list are exported and nothing else"
else
    echo "$difference"
    echo "not as $list says; where it is meant to change: $0 --write $build"
    exit 1
fi
