#!/usr/bin/env bash
# Checks what a host receives from a build (default: build): the install below a temporary
# prefix, the example host and the install checks built against it with find_package(Marovin)
# and run offscreen, the symbols and sonames of the shared libraries, the Debian packages cpack
# makes of the build (their names, dependencies and contents, resolvable by apt, and runnable
# unpacked), and, as root, their installation with apt followed by their removal.
#   scripts/check-install.sh [BUILD-DIR]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
version=$(sed -nE 's/^CMAKE_PROJECT_VERSION:STATIC=(.*)/\1/p' "$build/CMakeCache.txt")
libdir=$(sed -nE 's/^CMAKE_INSTALL_LIBDIR:PATH=(.*)/\1/p' "$build/CMakeCache.txt")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export QT_QPA_PLATFORM=offscreen
# The checks run the installed programs, not the sanitizer builds: no leak reports from Qt.
export ASAN_OPTIONS=detect_leaks=0
# Catalogue caches of the checks stay in the temporary folder.
export MAROVIN_CACHE_DIR="$work/cache"

fail() { echo "check-install: $*" >&2; exit 1; }
step() { echo "-- $*"; }

prefix="$work/prefix"
step "install below $prefix"
cmake --install "$build" --prefix "$prefix" >/dev/null
for f in bin/marovin bin/marovin-designer include/marovin/cSQLQuery.h include/marovin/Version.h \
  "$libdir/cmake/Marovin/MarovinConfig.cmake" share/marovin/northwind.sqlite \
  share/man/man1/marovin.1 share/man/man1/marovin-designer.1; do
  [[ -e "$prefix/$f" ]] || fail "$f is not installed"
done
[[ "$("$prefix/bin/marovin" --version)" == "marovin $version" ]] || fail "marovin --version"
[[ "$("$prefix/bin/marovin-designer" --version 2>/dev/null)" == *"$version"* ]] \
  || fail "marovin-designer --version"

step "sonames and exported symbols"
for lib in model db widgets; do
  so="$prefix/$libdir/libmarovin-$lib.so.$version"
  [[ -f "$so" ]] || fail "libmarovin-$lib.so.$version is not installed"
  soname=$(objdump -p "$so" | awk '$1 == "SONAME" { print $2 }')
  [[ "$soname" == "libmarovin-$lib.so.0" ]] || fail "libmarovin-$lib has the soname '$soname'"
  nm -DC --defined-only "$so" | awk '{ $1 = ""; $2 = ""; print }' >"$work/$lib.symbols"
done
grep -q 'marovin::cSQLQuery::strSQL' "$work/model.symbols" || fail "cSQLQuery::strSQL not exported"
grep -q 'marovin::cDbConnection::GetListOfTables' "$work/db.symbols" \
  || fail "cDbConnection::GetListOfTables not exported"
grep -q 'marovin::uscMarovin::staticMetaObject' "$work/widgets.symbols" \
  || fail "uscMarovin's meta-object not exported"
# What the layers keep to themselves stays out of the libraries' interface.
for hidden in marovin::SqliteSession marovin::OdbcSession marovin::TableListModel \
  marovin::TableCatalogue marovin::SelectedItemsModel marovin::DiagramView marovin::JoinRouter; do
  if grep -q "$hidden::" "$work"/*.symbols; then fail "$hidden is exported"; fi
done

step "build the install checks and the example host against the install"
for project in tests/install examples/host; do
  cmake -S "$root/$project" -B "$work/build-$(basename "$project")" \
    -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
  cmake --build "$work/build-$(basename "$project")" -j"${MAROVIN_JOBS:-$(nproc)}" >/dev/null
done
sample="$prefix/share/marovin/northwind.sqlite"
"$work/build-install/model-and-db" "$sample" >/dev/null
# Qt's plugin folder below the prefix, as Debian's Qt has it below /usr.
plugins=$(dirname "$(find "$prefix" -path '*/plugins/designer' -type d)")
QT_PLUGIN_PATH="$plugins" "$work/build-install/designer-plugin-check"
query="$work/query.xml"
"$work/build-host/marovin-host" "$sample" "$query" --check >/dev/null
grep -q '<TABLE issubquery="False">' "$query" || fail "the example host saved no table"
# Opened again, the host shows the saved query and saves it once more after the next edit.
"$work/build-host/marovin-host" "$sample" "$query" --check >/dev/null
[[ $(grep -c '<TABLE issubquery="False">' "$query") -eq 2 ]] || fail "the saved query was not reloaded"

step "Debian packages"
debs="$work/debs"
(cd "$build" && cpack -G DEB -B "$debs" >"$work/cpack.log" 2>&1) || { cat "$work/cpack.log"; fail "cpack"; }
shopt -s nullglob
packages=("$debs"/*.deb)
[[ ${#packages[@]} -eq 3 ]] || fail "cpack made ${#packages[@]} packages"
declare -A deb
for p in "${packages[@]}"; do deb[$(dpkg-deb -f "$p" Package)]=$p; done
for name in libmarovin0 libmarovin-dev marovin-tools; do
  [[ -n "${deb[$name]:-}" ]] || fail "no package $name"
  [[ "$(dpkg-deb -f "${deb[$name]}" Version)" == "$version" ]] || fail "$name has another version"
done
depends() { dpkg-deb -f "${deb[$1]}" Depends; }
for need in libqt6widgets6 libodbc libsqlite3 libpugixml tdsodbc; do
  depends libmarovin0 | grep -q "$need" || fail "libmarovin0 does not depend on $need"
done
depends libmarovin-dev | grep -q "libmarovin0 (= $version)" || fail "libmarovin-dev depends"
depends marovin-tools | grep -q "libmarovin0 (= $version)" || fail "marovin-tools depends"
dpkg-deb -c "${deb[libmarovin-dev]}" | grep -q "qt6/plugins/designer/libmarovin_designer_plugin.so" \
  || fail "libmarovin-dev lacks the Designer plugin"
apt-get install --simulate -qq "${packages[@]}" >/dev/null || fail "apt cannot resolve the packages"

unpacked="$work/unpacked"
for p in "${packages[@]}"; do dpkg-deb -x "$p" "$unpacked"; done
[[ "$("$unpacked/usr/bin/marovin" --version)" == "marovin $version" ]] || fail "unpacked marovin"
QT_PLUGIN_PATH="$unpacked/usr/${plugins#"$prefix/"}" "$work/build-install/designer-plugin-check" \
  >/dev/null

if [[ $(id -u) -eq 0 && "${MAROVIN_SKIP_APT_INSTALL:-0}" != 1 ]]; then
  step "apt install of the packages"
  installed_before=$(dpkg-query -W -f='${Status}' libmarovin0 2>/dev/null || true)
  [[ "$installed_before" != *" installed" ]] || fail "Marovin packages are already installed"
  remove() { DEBIAN_FRONTEND=noninteractive apt-get purge -y -qq libmarovin0 libmarovin-dev \
    marovin-tools >/dev/null 2>&1 || true; rm -rf "$work"; }
  trap remove EXIT
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
    "${packages[@]}" >"$work/apt.log" 2>&1 || { cat "$work/apt.log"; fail "apt install"; }
  [[ "$(/usr/bin/marovin --version)" == "marovin $version" ]] || fail "installed marovin"
  # Qt Designer's own plugin folder, found without any path given.
  "$work/build-install/designer-plugin-check"
  /usr/bin/marovin tables --sqlite /usr/share/marovin/northwind.sqlite | grep -q Customers \
    || fail "the installed marovin cannot read the sample database"
fi
echo "check-install: all checks passed"
