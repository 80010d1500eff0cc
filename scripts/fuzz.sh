#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (folder build-fuzz) and runs them one after the other,
# each from its seed corpus, for a bounded number of runs or seconds each.
#   scripts/fuzz.sh [--runs N | --seconds S] [TARGET...]
# TARGET is marovin_fuzz_document, marovin_fuzz_parser, marovin_fuzz_sqlite_schema,
# marovin_fuzz_diagram or marovin_fuzz_widget; all five by default. With --runs, the diagram and
# widget targets, whose runs each build Qt widgets, are also stopped after 60 seconds each, which
# keeps the short run of the test command to about three minutes. The input of a finding is kept
# under fuzz/findings/<target>/.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
usage() { echo "usage: scripts/fuzz.sh [--runs N | --seconds S] [TARGET...]" >&2; }
limit=(-runs=20000)
gui_limit=(-max_total_time=60)
targets=()
while (($#)); do
  case "$1" in
    --runs) limit=(-runs="$2"); gui_limit=(-max_total_time=60); shift 2 ;;
    --seconds) limit=(-max_total_time="$2"); gui_limit=(); shift 2 ;;
    marovin_fuzz_document|marovin_fuzz_parser|marovin_fuzz_sqlite_schema|marovin_fuzz_diagram|\
    marovin_fuzz_widget)
      targets+=("$1"); shift ;;
    *) usage; exit 2 ;;
  esac
done
((${#targets[@]})) ||
  targets=(marovin_fuzz_document marovin_fuzz_parser marovin_fuzz_sqlite_schema marovin_fuzz_diagram
    marovin_fuzz_widget)

CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMAROVIN_FUZZ=ON \
  -DMAROVIN_GUI=ON -DMAROVIN_TESTS=OFF -DMAROVIN_BENCH=OFF >/dev/null
cmake --build build-fuzz -j"${MAROVIN_JOBS:-$(nproc)}" --target "${targets[@]}" 2>&1 | tail -n 2

export QT_QPA_PLATFORM=offscreen
# Qt's and fontconfig's one-off allocations are not ours to report.
export LSAN_OPTIONS="suppressions=$root/scripts/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The seeds of a target, copied into a folder of this run (the fuzzer adds to it).
seed() {
  local target=$1 corpus="$work/$1/corpus"
  mkdir -p "$corpus"
  if [[ -d fuzz/corpus/$target ]]; then
    cp fuzz/corpus/"$target"/* "$corpus/"
  fi
  case "$target" in
    marovin_fuzz_document)
      find tests/corpus -name '*.xml' -exec cp {} "$corpus/" \; ;;
    marovin_fuzz_parser)
      # The statements the model writes for the corpus documents.
      find tests/corpus -name '*.sql' -exec cp {} "$corpus/" \; ;;
    marovin_fuzz_widget)
      # Every corpus document, with stored proportions before it and a join request after it,
      # in the widget target's sections (separated by the byte 0x1E).
      local xml
      for xml in tests/corpus/*.xml; do
        {
          printf '0.3$%%&0.5$%%&0.8$%%&0.15$%%&0.4\036'
          cat "$xml"
          printf '\036Orders\nCustomerID\nCustomers\nCustomerID\nInner Join'
        } >"$corpus/$(basename "$xml" .xml)"
      done ;;
  esac
}

for target in "${targets[@]}"; do
  seed "$target"
  findings="$root/fuzz/findings/$target"
  mkdir -p "$findings"
  extra=()
  [[ $target == marovin_fuzz_document || $target == marovin_fuzz_parser ||
    $target == marovin_fuzz_sqlite_schema ]] ||
    extra=("${gui_limit[@]}")
  echo "== $target"
  if ! ./build-fuzz/fuzz/"$target" "${limit[@]}" "${extra[@]}" -max_len=16384 -timeout=60 \
      -rss_limit_mb=4096 -print_final_stats=1 -artifact_prefix="$findings/" \
      "$work/$target/corpus" 2>"$work/$target/log"; then
    tail -n 60 "$work/$target/log"
    echo "fuzz: $target found a problem; its input is in $findings/" >&2
    exit 1
  fi
  grep -E '^(#[0-9]+ +DONE|Done |stat::number_of_executed_units)' "$work/$target/log" | tail -n 2 || true
  echo "fuzz: $target: no crash"
done
