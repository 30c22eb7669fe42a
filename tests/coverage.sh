#!/usr/bin/env bash
# Measures what the test suite reaches: builds zbase with gcov instrumentation
# (Debug, benchmarks off) in build-coverage, runs every test under LANG=C and
# LANG=C.UTF-8, then prints line and branch coverage of src/ and tools/ per
# file and in total. Informative only: it never fails on a low figure.
#   tests/coverage.sh [build-dir]      (default: build-coverage)
# COVERAGE_JSON=file also keeps gcovr's JSON summary there, for comparisons.
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build-coverage}
jobs=$(nproc)
# A compiler cache that rewrites paths relative to a base directory leaves
# gcov unable to find the sources of the tests: keep them absolute.
export CCACHE_BASEDIR=

cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Debug -DZBASE_BENCH=OFF \
  -DCMAKE_C_FLAGS=--coverage -DCMAKE_CXX_FLAGS=--coverage \
  -DCMAKE_EXE_LINKER_FLAGS=--coverage -DCMAKE_SHARED_LINKER_FLAGS=--coverage >/dev/null
cmake --build "$dir" -j"$jobs"

# Counters add up across runs: start from zero so that the figures are this run's.
find "$dir" -name '*.gcda' -delete
for lang in C C.UTF-8; do
  echo "== $dir, LANG=$lang"
  # A failing test lowers the figures but does not stop the report.
  env -u LC_ALL LANG=$lang ctest --test-dir "$dir" -j"$jobs" --output-on-failure >"$dir/ctest-$lang.log" 2>&1 ||
    echo "some tests failed under LANG=$lang: see $dir/ctest-$lang.log"
  tail -n 3 "$dir/ctest-$lang.log"
done

json=${COVERAGE_JSON:-$dir/coverage-summary.json}
# Branches the compiler adds for exception unwinding and ones it proves
# unreachable are noise, not untested behaviour.
gcovr -r . --object-directory "$dir" --filter 'src/' --filter 'tools/' \
  --exclude-unreachable-branches --exclude-throw-branches -j"$jobs" \
  --json-summary-pretty --json-summary "$json" >/dev/null

python3 - "$json" <<'EOF'
import json, sys
s = json.load(open(sys.argv[1]))
def pct(cov, tot): return f"{100.0 * cov / tot:6.1f}" if tot else "     -"
row = "{:<40} {:>7} {:>6} {:>7} {:>6}"
print(row.format("file", "lines", "%", "branch", "%"))
for f in sorted(s["files"], key=lambda f: f["filename"]):
    print(row.format(f["filename"], f"{f['line_covered']}/{f['line_total']}",
                     pct(f["line_covered"], f["line_total"]),
                     f"{f['branch_covered']}/{f['branch_total']}",
                     pct(f["branch_covered"], f["branch_total"])))
print(row.format("TOTAL", f"{s['line_covered']}/{s['line_total']}",
                 pct(s["line_covered"], s["line_total"]),
                 f"{s['branch_covered']}/{s['branch_total']}",
                 pct(s["branch_covered"], s["branch_total"])))
EOF
