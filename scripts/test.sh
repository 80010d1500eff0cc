#!/usr/bin/env bash
# Builds and runs every test: the normal build, its install, packages, example host and API
# reference, then the same tests built with AddressSanitizer and UndefinedBehaviorSanitizer,
# then a short run of the fuzz targets.
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

logs=$(mktemp -d)
trap 'rm -rf "$logs"' EXIT
# Runs ctest, keeping its summary line for the closing count.
run_ctest() {
  local dir=$1 log=$2
  shift 2
  ctest --test-dir "$dir" -j"$jobs" "$@" 2>&1 | tee "$log"
  return "${PIPESTATUS[0]}"
}
# "<failed> <total>" from a ctest log.
ctest_counts() {
  sed -nE 's/.* ([0-9]+) tests? failed out of ([0-9]+).*/\1 \2/p' "$1" | tail -n 1
}

echo "== build and test"
cmake -S . -B build -G "Unix Makefiles" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$jobs"
run_ctest build "$logs/plain" --timeout 300

echo "== install, Debian packages, example host, API reference"
"$root/scripts/check-install.sh" build
cmake --build build --target api-docs

echo "== build and test with AddressSanitizer and UndefinedBehaviorSanitizer"
cmake -S . -B build-asan -G "Unix Makefiles" -DCMAKE_BUILD_TYPE=Debug -DMAROVIN_SANITIZE=ON \
  -DMAROVIN_BENCH=OFF >/dev/null
cmake --build build-asan -j"$jobs"
run_ctest build-asan "$logs/asan" --timeout 600

echo "== fuzz (short run)"
"$root/scripts/fuzz.sh" --runs "${MAROVIN_FUZZ_RUNS:-20000}"

read -r failed_plain total_plain < <(ctest_counts "$logs/plain")
read -r failed_asan total_asan < <(ctest_counts "$logs/asan")
failed=$((failed_plain + failed_asan))
echo "tests: $((total_plain + total_asan - failed)) passed, $failed failed"
