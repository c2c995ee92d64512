#!/usr/bin/env bash
# Subsystem code is written against the Windows API names only: it includes
# no operating-system header and never tests _WIN32. Only C++ standard headers
# may be included with angle brackets there; everything else comes through
# "platform/...".
set -uo pipefail
cd "$(dirname "$0")/.."
status=0
for dir in model reader api resampler save server; do
  [ -d "$dir" ] || continue
  hits=$(grep -rnE --include='*.h' --include='*.cc' --include='*.c' \
    -e '^[[:space:]]*#[[:space:]]*include[[:space:]]*<[^>]*(\.h|/)[^>]*>' \
    -e '(^|[^A-Za-z0-9_])_WIN32' "$dir")
  if [ -n "$hits" ]; then
    echo "layering: $dir/ must not include operating-system headers or test _WIN32:"
    echo "$hits"
    status=1
  fi
done
exit $status
