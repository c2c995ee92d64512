#!/usr/bin/env bash
# Builds the library and krf, then runs the main job: writes the bundled
# sample recording (two channel groups at different rates, analog and event
# channels, every collection) and shows what it holds with `krf info`.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/deps.sh"
cmake -S "$root" -B "$root/build" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$root/build" -j "$(nproc)" --target krf
krf="$root/build/tools/krf/krf"
"$krf" version
"$krf" sample "$root/build/sample.krf"
"$krf" info "$root/build/sample.krf"
