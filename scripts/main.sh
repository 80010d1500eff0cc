#!/usr/bin/env bash
# Builds Marovin and starts its main job: the designer on the bundled sample database.
#   scripts/main.sh [designer options...]   (see: build/src/app/designer/marovin-designer --help)
# Without a display (no DISPLAY or WAYLAND_DISPLAY, and no QT_QPA_PLATFORM chosen) the designer
# cannot open a window; it then shows what it would: it loads the example query, writes its SQL
# text to standard output and renders the window to build/designer.png.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
"$root/scripts/install-deps.sh"
cmake -S . -B build -G "Unix Makefiles" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
# Build output goes to standard error, so that standard output carries only what the designer writes.
cmake --build build -j"$(nproc)" --target marovin marovin-designer marovin_sample_db >&2
designer=./build/src/app/designer/marovin-designer
if [[ -z "${DISPLAY:-}" && -z "${WAYLAND_DISPLAY:-}" && -z "${QT_QPA_PLATFORM:-}" && $# -eq 0 ]]; then
  echo "main.sh: no display; rendering the designer on the sample database to build/designer.png" >&2
  exec "$designer" --open examples/customers-freight.xml --print-sql --screenshot build/designer.png
fi
exec "$designer" "$@"
