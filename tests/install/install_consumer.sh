#!/usr/bin/env bash
# Install, then build and run a client with find_package and with pkg-config.
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$CMAKE" --install "$MLR_BINARY_DIR" --prefix "$work/prefix" >/dev/null
"$KRF" sample "$work/sample.krf" >/dev/null

"$CMAKE" -S "$MLR_SOURCE_DIR/tests/install/consumer" -B "$work/cmake-build" \
  -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_CXX_COMPILER="$CXX" >/dev/null
"$CMAKE" --build "$work/cmake-build" >/dev/null
out=$(LD_LIBRARY_PATH="$work/prefix/lib" "$work/cmake-build/consumer" "$work/sample.krf")
echo "find_package client: $out"
[ "$out" = "groups 2 void 0 scaled 10 sample 7" ]

libdir=$(dirname "$(find "$work/prefix" -name movaLegacyRecording.pc)")
flags=$(PKG_CONFIG_PATH="$libdir" pkg-config --cflags --libs movaLegacyRecording)
# shellcheck disable=SC2086
"$CXX" -std=c++17 "$MLR_SOURCE_DIR/tests/install/consumer/consumer.cc" $flags -o "$work/pc-client"
out=$(LD_LIBRARY_PATH="$work/prefix/lib" "$work/pc-client" "$work/sample.krf")
echo "pkg-config client: $out"
[ "$out" = "groups 2 void 0 scaled 10 sample 7" ]
