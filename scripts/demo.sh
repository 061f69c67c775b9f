#!/usr/bin/env bash
# Installs what is missing, builds the library and the examples, and runs them on a real laser scan, a real depth
# frame and a real landscape. The pictures stand in out/ afterwards. From any folder, as root or with sudo.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

step() { printf '\n== %s\n' "$*"; }

step "packages"
scripts/install-packages.sh demo

step "build"
cmake --preset release -B build/demo -DNOX_BUILD_TESTS=OFF -DNOX_BUILD_BENCHMARKS=OFF -DNOX_BUILD_EXAMPLES=ON
cmake --build build/demo

step "the scan"
# From the examples of a Debian package (BSD-3-Clause), which is unpacked beside the build and never installed.
data=build/demo-data
scan=$data/usr/share/doc/python3-pcl/examples/pcldata/tutorials/table_scene_lms400.pcd
if [[ ! -f $scan ]]; then
    mkdir -p "$data" && rm -f "$data"/*.deb
    download=(apt-get download -q)
    as_root=(sudo)
    if ((EUID == 0)); then
        as_root=()
        download+=(-o APT::Sandbox::User=root)  # apt's own user may not write into this folder
    fi
    if ! apt-cache show python3-pcl >/dev/null 2>&1; then "${as_root[@]}" apt-get update -q; fi
    (cd "$data" && "${download[@]}" python3-pcl)
    dpkg-deb -x "$data"/python3-pcl_*.deb "$data"
fi
echo "$scan"

mkdir -p out
step "point cloud -> range image -> point cloud"
build/demo/examples/scan_to_range_image "$scan" out

step "the table levelled"
build/demo/examples/level_table "$scan" out

step "four strips of the scan merged"
build/demo/examples/merge_strips "$scan" out

step "depth frame -> coloured point cloud"
build/demo/examples/depth_frame_to_cloud examples/data/objects_depth.png examples/data/objects_color.png out

step "landscape -> gray pictures -> landscape"
build/demo/examples/terrain_to_gray examples/data/terrain.png out

step "regions -> shapes in space -> regions"
build/demo/examples/region_to_shape examples/data/terrain.png out

step "the program in the README"
build/demo/examples/minimal

step "done: pictures (PNG) and point clouds (PLY) in $PWD/out"
ls -lh out
