#!/usr/bin/env bash
# Checks that every C++ file stands as clang-format 14 leaves it; with --fix, formats them.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
format=$(command -v clang-format-14 || command -v clang-format)
mode=(--dry-run -Werror)
if [[ ${1-} == --fix ]]; then mode=(-i); fi
git ls-files -z --cached --others --exclude-standard '*.h' '*.cpp' '*.cu' '*.cuh' | xargs -0 -r "$format" "${mode[@]}"
