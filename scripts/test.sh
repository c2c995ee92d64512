#!/usr/bin/env bash
# Builds and runs every test: the layering check, a normal build (with the
# Python module and its pytest suite), a build with AddressSanitizer and
# UndefinedBehaviorSanitizer (clang, with the libFuzzer targets, whose smoke
# runs are part of its tests), and a ThreadSanitizer build of the
# multithreaded parts (the resampler's worker threads and the reader they
# read through), which builds and runs only those two test programs (and
# krf, which the reader tests run).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/deps.sh"
"$root/scripts/check-layering.sh"
jobs=$(nproc)

# The normal build is a Release build (what users build and what the
# benchmarks should measure), so that it stays clean at -O3.
cmake -S "$root" -B "$root/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DMLR_PYTHON=ON
cmake --build "$root/build" -j "$jobs"
ctest --test-dir "$root/build" -j "$jobs" --output-on-failure

# The Windows DLL, cross-built and driven under Wine.
"$root/tests/windows/run_wine_tests.sh" "$root" "$root/build"

cmake -S "$root" -B "$root/build-san" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DMLR_SANITIZE=ON -DMLR_FUZZ=ON -DMLR_BENCH=OFF
cmake --build "$root/build-san" -j "$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir "$root/build-san" -j "$jobs" --output-on-failure
cmake -S "$root" -B "$root/build-tsan" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DMLR_TSAN=ON -DMLR_BENCH=OFF
cmake --build "$root/build-tsan" -j "$jobs" --target test_resampler test_reader krf
for program in test_resampler test_reader; do
  TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 "$root/build-tsan/$program" --gtest_brief=1
done
echo "all tests passed"
