#!/usr/bin/env bash
# Builds Marovin and runs its main job on the bundled example.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
"$root/scripts/install-deps.sh"
cmake -S . -B build -G "Unix Makefiles" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target marovin
exec ./build/src/app/marovin render examples/customers-freight.xml
