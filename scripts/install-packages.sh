#!/usr/bin/env bash
# Installs the Debian packages that are missing for a job: demo, test (everything that the dev preset builds), docs (the
# reference) or check (what .ci/run needs beside). Asks apt for nothing when nothing is missing. As root or with sudo.
# Usage: scripts/install-packages.sh demo|test|docs|check
set -euo pipefail

build=(g++ cmake ninja-build pkg-config libtbb-dev libopencv-core-dev libopencv-imgproc-dev libeigen3-dev libspdlog-dev)
demo=("${build[@]}" libopencv-imgcodecs-dev liblzf-dev libnanoflann-dev)
case ${1-} in
    demo) wanted=("${demo[@]}") ;;
    test) wanted=("${demo[@]}" libgtest-dev libbenchmark-dev) ;;
    docs) wanted=(doxygen) ;;
    check) wanted=(git clang libclang-rt-dev clang-format clang-tidy dpkg-dev valgrind) ;;
    *)
        echo "usage: install-packages.sh demo|test|docs|check" >&2
        exit 2
        ;;
esac

missing=()
for package in "${wanted[@]}"; do
    status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
    if [[ $status != installed ]]; then missing+=("$package"); fi
done
if ((${#missing[@]} == 0)); then
    echo "all packages for '$1' are installed"
    exit 0
fi

echo "installing: ${missing[*]}"
as_root=()
if ((EUID != 0)); then as_root=(sudo); fi
"${as_root[@]}" apt-get update -q
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}"
