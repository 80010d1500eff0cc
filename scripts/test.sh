#!/usr/bin/env bash
# Builds and runs every test: the normal build, then the same tests built with
# AddressSanitizer and UndefinedBehaviorSanitizer, then a short run of the fuzz targets.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
"$root/scripts/install-deps.sh"

jobs=${MAROVIN_JOBS:-$(nproc)}
export CTEST_OUTPUT_ON_FAILURE=1
export QT_QPA_PLATFORM=offscreen
# Qt's and fontconfig's one-off allocations are not ours to report.
export LSAN_OPTIONS="suppressions=$root/scripts/lsan.supp:print_suppressions=0"
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"

echo "== build and test"
cmake -S . -B build -G "Unix Makefiles" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$jobs"
ctest --test-dir build -j"$jobs" --timeout 300

echo "== build and test with AddressSanitizer and UndefinedBehaviorSanitizer"
cmake -S . -B build-asan -G "Unix Makefiles" -DCMAKE_BUILD_TYPE=Debug -DMAROVIN_SANITIZE=ON \
  -DMAROVIN_BENCH=OFF >/dev/null
cmake --build build-asan -j"$jobs"
ctest --test-dir build-asan -j"$jobs" --timeout 600

echo "== fuzz (short run)"
"$root/scripts/fuzz.sh" --runs "${MAROVIN_FUZZ_RUNS:-20000}"
