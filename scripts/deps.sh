#!/usr/bin/env bash
# Installs, with apt-get and by package name, what building and testing need,
# and only what is missing. `deps.sh coverage` also installs what
# scripts/coverage.sh needs.
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
# llvm-profdata and llvm-cov, for scripts/coverage.sh only.
[ "${1:-}" != coverage ] || packages+=(llvm)
sudo_cmd=()
[ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
export DEBIAN_FRONTEND=noninteractive

# Prints the packages among its arguments that are not installed.
missing_of() {
  local p
  for p in "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || echo "$p"
  done
}

mapfile -t missing < <(missing_of "${packages[@]}")
if ((${#missing[@]})); then
  echo "installing: ${missing[*]}"
  "${sudo_cmd[@]}" apt-get update -qq
  "${sudo_cmd[@]}" apt-get install -y -qq "${missing[@]}"
fi

# The Windows DLL and its tests under Wine (tests/windows/run_wine_tests.sh):
# optional, the test command skips them with a message when these cannot be
# installed.
windows=(
  g++-mingw-w64-x86-64-posix   # cross compiler for movaLegacyRecording.dll
  wine wine64 wine64-tools      # regsvr32, cscript and widl (the type library)
  libwine-dev                   # oaidl.idl and friends for widl
)
mapfile -t missing < <(missing_of "${windows[@]}")
if ((${#missing[@]})); then
  echo "installing: ${missing[*]}"
  { "${sudo_cmd[@]}" apt-get update -qq &&
    "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"; } ||
    echo "deps: could not install ${missing[*]}; the Windows tests will be skipped"
fi
