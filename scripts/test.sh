#!/usr/bin/env bash
# Installs what is missing, builds with warnings as errors and runs the tests, programs outside the tree that use the
# installed library among them. From any folder, as root or with sudo.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/install-packages.sh test
cmake --preset dev
cmake --build --preset dev
ctest --preset dev
