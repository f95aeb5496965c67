#!/usr/bin/env bash
# Installs the build into a scratch prefix and checks it as an embedder sees it: the SONAME, the
# tools' RPATH and --version, the factory root under share/, and a program outside the tree that
# includes <fal/fal.h>, built once with pkg-config and once with find_package(libfal).
#   tests/install/run.sh BUILD_DIR CXX
set -euo pipefail
build=$(cd "$1" && pwd)
cxx=$2
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
fail() { echo "FAIL: $*" >&2; exit 1; }

cmake --install "$build" --prefix "$prefix" >"$work/install.log"
lib=$(dirname "$(find "$prefix" -name 'libfal.so.1' | head -1)")
[ -n "$lib" ] || fail "libfal.so.1 not installed"
grep -q 'SONAME.*\[libfal\.so\.1\]' <<<"$(readelf -d "$lib/libfal.so.1")" || fail "SONAME is not libfal.so.1"
# The public API is exported, the families' own helpers are not.
nm -D --defined-only -C "$lib/libfal.so.1" >"$work/exports"
for name in "FalServiceLdb::ServiceDmzGet(" "IFalGateway::handleFalReq(" "TreeMapObject::set(" \
    "LocalDbCtrl::" "makeFalResponse(" "BE_PairVal2(" "falEnterRoot(" "falVersion()"; do
  grep -qF " $name" "$work/exports" || fail "$name is not exported"
done
if grep -E " (svc|net|wifi|sec|mediashare)[A-Z][A-Za-z]*\(" "$work/exports"; then
  fail "family helpers are exported"
fi
echo "libfal.so.1 exports $(wc -l <"$work/exports") symbols"
[ -L "$lib/libfal.so" ] || fail "no libfal.so link for the linker"
[ -f "$prefix/include/fal/fal.h" ] && [ -f "$prefix/include/fal/FalMsgIds.h" ] &&
  [ -f "$prefix/include/fal/frame/IFal.h" ] || fail "headers missing under include/fal/"
[ -f "$prefix/share/libfal/factory-root/db/service.json" ] &&
  [ -d "$prefix/share/libfal/factory-root/www" ] || fail "factory root missing under share/"

# The installed tools find the installed library by themselves (install-time RPATH).
for tool in falctl fald; do
  [ -x "$prefix/bin/$tool" ] || continue
  grep -q "R.*PATH.*\$ORIGIN" <<<"$(readelf -d "$prefix/bin/$tool")" || fail "$tool has no \$ORIGIN RPATH"
  if [[ "$(readelf -d "$prefix/bin/$tool")" == *"$build"* ]]; then
    fail "$tool's RPATH points into the build directory"
  fi
  grep -q -- --version <<<"$("$prefix/bin/$tool" --help 2>&1)" || { [ "$tool" = fald ] && continue; }
  version=$(env -u LD_LIBRARY_PATH "$prefix/bin/$tool" --version 2>&1) || fail "$tool --version: $version"
  [[ "$version" == "$tool "[0-9]*.[0-9]*.[0-9]* ]] || fail "$tool --version printed \"$version\""
done

# pkg-config
export PKG_CONFIG_PATH="$lib/pkgconfig"
pkg-config --exists libfal || fail "pkg-config does not know libfal"
# shellcheck disable=SC2046
"$cxx" -std=c++17 -o "$work/consumer-pc" "$here/consumer.cpp" $(pkg-config --cflags --libs libfal)
out=$(LD_LIBRARY_PATH="$lib" "$work/consumer-pc" "$work/root-pc") || fail "pkg-config consumer: $out"
echo "pkg-config consumer: $out"
grep -qF "$lib/libfal.so.1" <<<"$(LD_LIBRARY_PATH="$lib" ldd "$work/consumer-pc")" || fail "pkg-config consumer did not load the installed library"

# CMake package
cmake -S "$here" -B "$work/cmake" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_BUILD_TYPE=Release >"$work/cmake.log" 2>&1 || { cat "$work/cmake.log"; fail "find_package(libfal)"; }
cmake --build "$work/cmake" >"$work/build.log" 2>&1 || { cat "$work/build.log"; fail "building against libfal::fal"; }
out=$("$work/cmake/consumer" "$work/root-cmake") || fail "CMake consumer: $out"
echo "CMake consumer: $out"
[ -f "$work/root-cmake/db/service.json" ] || fail "the consumer's root was not seeded"
echo "install test passed"
