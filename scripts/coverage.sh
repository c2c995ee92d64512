#!/usr/bin/env bash
# Line coverage of the library by the test suite: a clang build with
# source-based coverage in build-cov/, every ctest test run once, and a
# per-file report of the library's own sources (tests, test helpers,
# benchmarks and fuzz targets are left out of the count).
#
#   scripts/coverage.sh [REPORT]   # REPORT defaults to build-cov/coverage.txt
#
# The last line of the report is the total; compare it before and after a
# change to the tests to see that nothing the tests reached was lost.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="$root/build-cov"
report="${1:-$build/coverage.txt}"
jobs=$(nproc)
"$root/scripts/deps.sh" coverage
# A compiler cache's base directory would make the recorded source paths
# relative, and a header reached as both build-cov/../x.h and x.h would be
# counted twice; the coverage build records absolute paths.
unset CCACHE_BASEDIR

flags="-fprofile-instr-generate -fcoverage-mapping"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" \
  -DCMAKE_EXE_LINKER_FLAGS="$flags" -DCMAKE_SHARED_LINKER_FLAGS="$flags" \
  -DMLR_BENCH=OFF >/dev/null
cmake --build "$build" -j "$jobs"

rm -rf "$build/profiles"
mkdir -p "$build/profiles"
LLVM_PROFILE_FILE="$build/profiles/%p-%m.profraw" \
  ctest --test-dir "$build" -j "$jobs" --output-on-failure >/dev/null
llvm-profdata merge -sparse -o "$build/coverage.profdata" "$build"/profiles/*.profraw

# Every executable and shared object of the build carries coverage mapping.
objects=()
while IFS= read -r file; do
  objects+=(-object "$file")
done < <(find "$build" -type f \( -perm -u+x -o -name '*.so*' \) ! -name '*.sh' \
  ! -path '*/CMakeFiles/*' ! -path '*/profiles/*' | sort)

llvm-cov report "${objects[1]}" "${objects[@]:2}" -instr-profile="$build/coverage.profdata" \
  -ignore-filename-regex='(^/usr/|/(tests|testing|bench|fuzz|_deps)/)' \
  >"$report"
tail -n 1 "$report"
