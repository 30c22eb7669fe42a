#!/usr/bin/env bash
# Builds the fuzz harnesses with clang and runs each for a short, bounded time
# on its seed corpus (about a minute and a half in all). Usage:
#   fuzz/smoke.sh [seconds per harness, default 15]
# A finding stops the run with a non-zero status and leaves the input that
# caused it as crash-*, leak-* or timeout-* in the build directory.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-15}
dir=build-fuzz
cmake -S . -B "$dir" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZBASE_FUZZ=ON -DZBASE_BENCH=OFF >/dev/null
harnesses=$(cd fuzz && ls ./*.cpp | sed 's|^\./||; s|\.cpp$||')
targets=$(for h in $harnesses; do printf 'fuzz_%s ' "$h"; done)
# shellcheck disable=SC2086
cmake --build "$dir" -j"$(nproc)" --target $targets
rm -f "$dir/fuzz"/crash-* "$dir/fuzz"/leak-* "$dir/fuzz"/timeout-*
export QXKELDIR=$PWD/share/kel LANG=C.UTF-8
for h in $harnesses; do
  echo "== fuzz_$h, ${seconds}s"
  work=$(mktemp -d)  # new inputs go here; the seeds in the tree stay as they are
  (cd "$dir/fuzz" && ./"fuzz_$h" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -max_len=4096 -print_final_stats=1 "$work" "$OLDPWD/fuzz/corpus/$h" 2>&1 |
    grep -E '^(stat::number_of_executed_units|==|SUMMARY|invariant)|ERROR' || true)
  rm -rf "$work"
  if ls "$dir/fuzz"/crash-* "$dir/fuzz"/leak-* "$dir/fuzz"/timeout-* >/dev/null 2>&1; then
    echo "fuzz_$h found a fault: see $dir/fuzz" >&2
    exit 1
  fi
done
echo "fuzz smoke run: every harness ran clean"
