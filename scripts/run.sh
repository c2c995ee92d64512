#!/usr/bin/env bash
# Builds the library and krf, then runs the main job.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/deps.sh"
cmake -S "$root" -B "$root/build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$root/build" -j "$(nproc)" --target krf
"$root/build/tools/krf/krf" version
"$root/build/tools/krf/krf" smoke
