#!/usr/bin/env bash
# Installs into a scratch prefix and imports movalegacy from there, with the
# build tree out of the way, then opens the sample recording.
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$CMAKE" --install "$MLR_BINARY_DIR" --prefix "$work/prefix" >/dev/null
"$KRF" sample "$work/sample.krf" >/dev/null
cd "$work"
out=$(env -u PYTHONPATH PYTHONPATH="$work/prefix/$MLR_PYTHON_INSTALL_DIR" PYTHONNOUSERSITE=1 \
  "$PYTHON" -c '
import sys, movalegacy
assert movalegacy.__file__.startswith(sys.argv[1]), movalegacy.__file__
with movalegacy.open("sample.krf") as rec:
    t, x = rec.groups[0].read(scaled=False)
    print(rec.title, len(rec.groups), x.shape)
' "$work/prefix")
echo "installed module: $out"
[ "$out" = "sample 2 (2200, 3)" ]
