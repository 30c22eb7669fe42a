#!/usr/bin/env bash
# Checks zbase as its users get it: installs a build into a staging prefix,
# moves the installed tree elsewhere (it must not care where it lies), checks
# its layout and that no path into the source or build tree leaks into it,
# runs the installed zstanza without QXKELDIR, builds and runs small clients
# from outside the source tree (CMake find_package, pkg-config for C++ and,
# once Z/zproperties_c.h is installed, for C; zbase as a CMake subproject),
# renders the man pages, then builds the Debian packages and checks their
# contents, metadata and a client built against their unpacked files.
#
#   tests/install_check.sh [BUILD_DIR]        (default: build, already built)
set -euo pipefail
src=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$src/build}" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

fail() {
  echo "install check: FAIL: $*" >&2
  failures=$((failures + 1))
}
step() { echo "-- $*"; }

# expect NAME EXPECTED ACTUAL
expect() {
  if [[ "$2" != "$3" ]]; then
    fail "$1: expected [$2], got [$3]"
  fi
}

# no_leak FILE...: ELF files whose RPATH/RUNPATH is relative to themselves
# and whose libraries resolve outside the source and build trees.
no_leak() {
  local f dyn
  for f in "$@"; do
    dyn=$(readelf -d "$f" | grep -E 'RPATH|RUNPATH' || true)
    case $dyn in
      *"$src"* | *"$build"*) fail "$f: search path into the tree: $dyn" ;;
    esac
    if ldd "$f" | grep -E "$src|$build|not found" >&2; then
      fail "$f: libraries resolve into the tree or not at all"
    fi
  done
}

cp "$src/examples/app.conf" "$src/examples/app.conf.obf" "$work/"

step "installing into a staging prefix"
cmake --install "$build" --prefix "$work/stage" >/dev/null
mv "$work/stage" "$work/zbase"  # relocated: nothing may depend on the staging path
p=$work/zbase
libdir=$(cd "$p" && dirname "$(find . -name 'libzbase.so.7' | head -1)")
libdir=${libdir#./}

for f in bin/zstanza "$libdir/libzbase.so.7.0.0" "$libdir/libkel.so.1.0.0" \
  include/Z/Z.h include/Z/zversion.h include/kel/kel.h share/zbase/kel/codeset.alias \
  share/man/man7/zbase.7.gz "$libdir/cmake/zbase/zbaseConfig.cmake" \
  "$libdir/cmake/zbase/zbaseConfigVersion.cmake" "$libdir/pkgconfig/zbase.pc"; do
  [[ -f $p/$f ]] || fail "missing $f"
done
expect "libzbase.so link" libzbase.so.7 "$(readlink "$p/$libdir/libzbase.so")"
expect "libzbase.so.7 link" libzbase.so.7.0.0 "$(readlink "$p/$libdir/libzbase.so.7")"
expect "libkel.so link" libkel.so.1 "$(readlink "$p/$libdir/libkel.so")"
expect "SONAME" "libzbase.so.7" \
  "$(readelf -d "$p/$libdir/libzbase.so.7.0.0" | sed -n 's/.*Library soname: \[\(.*\)\]/\1/p')"
# Only the public headers: nothing but Z/ and kel/, no private header.
extra=$(cd "$p/include" && find . -type f ! -path './Z/*' ! -path './kel/*.h' -o -name '*impl*' -type f)
expect "headers outside Z/ and kel/" "" "$extra"
no_leak "$p/bin/zstanza" "$p/$libdir/libzbase.so.7.0.0" "$p/$libdir/libkel.so.1.0.0"
"$src/tests/export_check.sh" "$p/$libdir/libzbase.so.7.0.0"

step "the installed zstanza finds its code-set tables"
expect "zstanza get" "4" "$(cd "$work" && env -u QXKELDIR "$p/bin/zstanza" get app.conf server workers 2>&1)"

step "man pages"
for page in "$p"/share/man/man*/*; do
  out=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l "$page" 2>&1 >/dev/null || echo "man failed")
  expect "man -l $(basename "$page")" "" "$out"
done

# consumer NAME PROGRAM: runs a client on the sample without QXKELDIR.
consumer() {
  expect "$1" "workers = 4 (1 bytes)" "$(cd "$work" && env -u QXKELDIR "$2" app.conf server workers 2>&1)"
  no_leak "$2"
}

step "C++ client through find_package(zbase 7)"
cp -r "$src/tests/consumer" "$work/client"
cmake -S "$work/client" -B "$work/client-build" -DCMAKE_PREFIX_PATH="$p" \
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$work/client-build" >/dev/null
consumer "find_package client" "$work/client-build/consumer"
# The version file accepts 7.x and refuses another major version.
mkdir "$work/versions"
cat >"$work/versions/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(versions CXX)
find_package(zbase 7.0 CONFIG REQUIRED)
find_package(zbase 8 CONFIG QUIET)
if(zbase_FOUND)
  message(FATAL_ERROR "find_package(zbase 8) accepted ${zbase_VERSION}")
endif()
CMAKE
cmake -S "$work/versions" -B "$work/versions/build" -DCMAKE_PREFIX_PATH="$p" \
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF >/dev/null || fail "package version file"

step "C++ and C clients through pkg-config"
export PKG_CONFIG_PATH=$p/$libdir/pkgconfig
keldir=$(pkg-config --variable=keldir zbase)
expect "pkg-config keldir" "$p/share/zbase/kel" "$(cd "$keldir" && pwd)"
expect "pkg-config version" "7.0.0" "$(pkg-config --modversion zbase)"
# shellcheck disable=SC2046
c++ -std=c++17 -o "$work/client-pc" "$work/client/consumer.cpp" -DKELDIR="\"$keldir\"" \
  $(pkg-config --cflags --libs zbase)
LD_LIBRARY_PATH=$p/$libdir consumer "pkg-config C++ client" "$work/client-pc"
if [[ -f $p/include/Z/zproperties_c.h ]]; then
  # shellcheck disable=SC2046
  cc -std=c11 -Wall -Wextra -Werror -o "$work/client-c" "$work/client/consumer.c" \
    -DKELDIR="\"$keldir\"" $(pkg-config --cflags --libs zbase)
  expect "pkg-config C client" "workers = 4" \
    "$(cd "$work" && env -u QXKELDIR LD_LIBRARY_PATH="$p/$libdir" "$work/client-c" app.conf server workers 2>&1)"
else
  echo "   (no Z/zproperties_c.h installed: C client skipped)"
fi
unset PKG_CONFIG_PATH

step "zbase as a subproject (add_subdirectory)"
cmake -S "$work/client" -B "$work/client-sub" -DZBASE_SOURCE_DIR="$src" \
  -DCMAKE_BUILD_TYPE=Release >"$work/sub.log" || { cat "$work/sub.log"; fail "subproject configure"; }
grep -q 'zbase: tests OFF, benchmarks OFF' "$work/sub.log" ||
  fail "a subproject builds no tests or benchmarks by default"
cmake --build "$work/client-sub" -j2 >/dev/null || fail "subproject build"
expect "subproject client" "workers = 4 (1 bytes)" \
  "$(cd "$work" && env -u QXKELDIR "$work/client-sub/consumer" app.conf server workers 2>&1)"

step "Debian packages"
# Packages are built as Debian builds them: for the prefix /usr (so with the
# multiarch library directory), from a build of their own.
pkgbuild=$work/pkgbuild
cmake -S "$src" -B "$pkgbuild" -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DZBASE_TESTS=OFF -DZBASE_BENCH=OFF >/dev/null
cmake --build "$pkgbuild" -j2 >/dev/null
debdir=$(sed -n 's|^CMAKE_INSTALL_LIBDIR:PATH=||p' "$pkgbuild/CMakeCache.txt")
(cd "$pkgbuild" && cpack -G DEB -B "$work/deb" >"$work/cpack.log" 2>&1) || {
  cat "$work/cpack.log"
  fail "cpack -G DEB"
}
declare -A contents=(
  [libkel1]="usr/$debdir/libkel.so.1.0.0 usr/$debdir/libkel.so.1 usr/share/zbase/kel/codeset.alias"
  [libzbase7]="usr/$debdir/libzbase.so.7.0.0 usr/$debdir/libzbase.so.7"
  [libzbase-dev]="usr/include/Z/Z.h usr/include/kel/kel.h usr/$debdir/libzbase.so usr/$debdir/libkel.so usr/$debdir/cmake/zbase/zbaseConfig.cmake usr/$debdir/pkgconfig/zbase.pc usr/share/man/man7/zbase.7.gz"
  [zstanza]="usr/bin/zstanza"
)
for pkg in "${!contents[@]}"; do
  deb=$(find "$work/deb" -name "${pkg}_*.deb" | head -1)
  if [[ -z $deb ]]; then
    fail "no package $pkg"
    continue
  fi
  listing=$(dpkg-deb -c "$deb" | awk '{print $6}' | sed 's|^\./||')
  for f in ${contents[$pkg]} "usr/share/doc/$pkg/copyright" "usr/share/doc/$pkg/changelog.gz"; do
    grep -qx "$f" <<<"$listing" || fail "$pkg lacks $f"
  done
  # Each file in exactly one package.
  dpkg-deb -c "$deb" | awk '$1 !~ /^d/ {print $6}' >>"$work/deb/all-files"
  expect "$pkg Package" "$pkg" "$(dpkg-deb -f "$deb" Package)"
  expect "$pkg Version" "7.0.0" "$(dpkg-deb -f "$deb" Version)"
  dpkg-deb -x "$deb" "$work/debroot"
done
expect "files in two packages" "" "$(sort "$work/deb/all-files" | uniq -d)"
deps=$(dpkg-deb -f "$work"/deb/libzbase7_*.deb Depends)
for d in "libkel1 (= 7.0.0)" zlib1g libstdc++6 libc6; do
  [[ $deps == *"$d"* ]] || fail "libzbase7 Depends lacks $d: $deps"
done
[[ $(dpkg-deb -f "$work"/deb/libzbase-dev_*.deb Depends) == *"libzbase7 (= 7.0.0)"* ]] ||
  fail "libzbase-dev does not depend on libzbase7"
[[ $(dpkg-deb -f "$work"/deb/zstanza_*.deb Depends) == *"libzbase7 (= 7.0.0)"* ]] ||
  fail "zstanza does not depend on libzbase7"
if command -v lintian >/dev/null; then
  # Quiet, but for the ldconfig calls that CPack writes into the library
  # packages' maintainer scripts (harmless beside their ldconfig trigger), and
  # for the tool's manual page while docs/man/zstanza.1 is not written.
  tags=maintscript-calls-ldconfig
  [[ -f $src/docs/man/zstanza.1 ]] || tags+=,no-manual-page
  lintian --fail-on error,warning --suppress-tags "$tags" "$work"/deb/*.deb >"$work/lintian.log" 2>&1 ||
    { grep -v 'root privileges' "$work/lintian.log" >&2; fail "lintian"; }
fi
step "a client against the unpacked packages"
rm -rf "$work/client-build"
cmake -S "$work/client" -B "$work/client-build" -DCMAKE_PREFIX_PATH="$work/debroot/usr" \
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$work/client-build" >/dev/null
consumer "client of the packages" "$work/client-build/consumer"
expect "packaged zstanza" "4" \
  "$(cd "$work" && env -u QXKELDIR "$work/debroot/usr/bin/zstanza" get app.conf server workers 2>&1)"

if ((failures)); then
  echo "install check: $failures failure(s)" >&2
  exit 1
fi
echo "install check: passed"
