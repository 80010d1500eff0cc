#!/usr/bin/env bash
# Installs the Debian 12 packages that building, testing and running Marovin need.
# Quiet and quick when everything is already there; works as root or through sudo.
set -euo pipefail

packages=(
  cmake g++ make clang libclang-rt-14-dev clang-format
  qt6-base-dev libgl-dev qt6-tools-dev
  doxygen dpkg-dev fakeroot groff-base
  libpugixml-dev libgtest-dev libgmock-dev libbenchmark-dev
  libsqlite3-dev sqlite3
  unixodbc unixodbc-dev tdsodbc odbc-postgresql libsqliteodbc
  postgresql
  fonts-dejavu-core
)

missing=()
for p in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$p")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

if [[ $(id -u) -eq 0 ]]; then sudo=(); else sudo=(sudo); fi
echo "Installing: ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
