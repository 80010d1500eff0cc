#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for a bounded number of runs,
# seeded with the query-document corpus of the tests.
#   scripts/fuzz.sh [--runs N | --seconds S]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
limit=(-runs=20000)
case "${1:-}" in
  --runs) limit=(-runs="$2") ;;
  --seconds) limit=(-max_total_time="$2") ;;
  "") ;;
  *) echo "usage: scripts/fuzz.sh [--runs N | --seconds S]" >&2; exit 2 ;;
esac
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMAROVIN_FUZZ=ON \
  -DMAROVIN_GUI=OFF -DMAROVIN_TESTS=OFF -DMAROVIN_BENCH=OFF >/dev/null
cmake --build build-fuzz -j"$(nproc)" --target marovin_fuzz_document 2>&1 | tail -n 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/corpus"
find tests/corpus -name '*.xml' -exec cp {} "$work/corpus/" \; 2>/dev/null || true
./build-fuzz/fuzz/marovin_fuzz_document "${limit[@]}" -max_len=16384 -print_final_stats=0 \
  -artifact_prefix="$work/" "$work/corpus" 2>"$work/log" || { tail -n 60 "$work/log"; exit 1; }
grep -E '^(#[0-9]+ +DONE|Done )' "$work/log" | tail -n 1 || true
echo "fuzz: no crash"
