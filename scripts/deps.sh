#!/usr/bin/env bash
# Installs, with apt-get and by package name, what building and testing need,
# and only what is missing.
set -euo pipefail
packages=(
  g++ clang libclang-rt-14-dev cmake ninja-build pkg-config   # compilers, fuzzer runtime, build
  googletest libgtest-dev libgmock-dev                        # tests
  libbenchmark-dev                                            # benchmarks
  libcli11-dev nlohmann-json3-dev                             # krf: options, JSON output
  python3 python3-olefile python3-gi gir1.2-gsf-1 libgsf-bin  # interoperability oracles
  pybind11-dev python3-dev python3-numpy python3-pytest        # the Python module, its tests
  python3-pandas                                              # movalegacy to_dataframe (optional)
)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "installing: ${missing[*]}"
  sudo_cmd=()
  [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
  export DEBIAN_FRONTEND=noninteractive
  "${sudo_cmd[@]}" apt-get update -qq
  "${sudo_cmd[@]}" apt-get install -y -qq "${missing[@]}"
fi
