#!/usr/bin/env bash
# Builds and runs every test: under coverage measurement (the unsanitized
# run), under AddressSanitizer with UndefinedBehaviorSanitizer, and under
# ThreadSanitizer; checks the formatting, what an install gives, and fuzzes
# every target for a short while. Usage: tools/check.sh
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-packages.sh
jobs=$(nproc)

echo "== formatting"
git ls-files -- 'include/*.h' 'src/*' 'sim/*' 'tests/*' 'tools/*' 'bench/*' 'examples/*' |
    grep -E '\.(c|cc|cpp|h|hpp)$' | xargs clang-format --dry-run -Werror

run_suite() {
    local dir=$1
    shift
    echo "== build ${dir} $*"
    cmake -B "${dir}" -S . "$@" >/dev/null
    cmake --build "${dir}" -j"${jobs}"
    echo "== tests ${dir}"
    (cd "${dir}" && ctest --output-on-failure -j"${jobs}" --timeout 300)
}

# The plain build, in a folder of its own, is what installs: the library, the
# tools, the simulators and the benchmarks (so that they keep building), no
# tests. What users get: install
# into a scratch prefix, the example client built both ways against it, the
# Debian packages' files and dependencies, and dpkg into a scratch root.
echo "== install check"
cmake -B build-install -S . -DRIDGEX_TESTS=OFF >/dev/null
tools/check-install.sh build-install

# Every test without sanitizers, measuring the line and branch coverage of
# src/ against the floors in tools/coverage-floor.txt.
tools/coverage.sh

# Leaks count as failures, and so do races.
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    run_suite build-asan -DRIDGEX_ASAN=ON -DRIDGEX_BENCHMARKS=OFF
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 run_suite build-tsan -DRIDGEX_TSAN=ON -DRIDGEX_BENCHMARKS=OFF

# Every fuzz target from its seeds, two at a time.
tools/fuzz.sh 45
