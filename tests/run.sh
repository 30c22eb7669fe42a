#!/usr/bin/env bash
# Builds zbase and runs every test: under LANG=C (single-byte local code set)
# and LANG=C.UTF-8 (multibyte local code set); checks the exported names, the
# installed tree, its clients and the Debian packages; then runs the tests
# again built with AddressSanitizer and UndefinedBehaviorSanitizer, then with
# ThreadSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)

build() {
  local dir=$1
  shift
  cmake -S . -B "$dir" -DZBASE_WERROR=ON "$@" >/dev/null
  cmake --build "$dir" -j"$jobs"
}

runtests() {
  local dir=$1
  shift
  for lang in C C.UTF-8; do
    echo "== $dir, LANG=$lang"
    env -u LC_ALL LANG=$lang ctest --test-dir "$dir" --output-on-failure -j"$jobs" "$@"
  done
}

build build -DZBASE_TESTS=ON -DZBASE_BENCH=AUTO
runtests build
tests/export_check.sh build
tests/install_check.sh build

build build-asan -DCMAKE_BUILD_TYPE=Debug -DZBASE_SANITIZE=address,undefined -DZBASE_TESTS=ON -DZBASE_BENCH=OFF
runtests build-asan

build build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZBASE_SANITIZE=thread -DZBASE_TESTS=ON -DZBASE_BENCH=OFF
runtests build-tsan
