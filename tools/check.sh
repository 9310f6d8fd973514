#!/usr/bin/env bash
# Builds and runs every test: the plain build, then the same suites under
# AddressSanitizer with UndefinedBehaviorSanitizer, then under
# ThreadSanitizer. Also checks the formatting. Usage: tools/check.sh
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-packages.sh
jobs=$(nproc)

echo "== formatting"
git ls-files -- 'include/*.h' 'src/*' 'sim/*' 'tests/*' 'tools/*' 'bench/*' |
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

# The plain build also compiles the benchmarks, so that they keep building.
run_suite build
# Leaks count as failures, and so do races.
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    run_suite build-asan -DRIDGEX_ASAN=ON -DRIDGEX_BENCHMARKS=OFF
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 run_suite build-tsan -DRIDGEX_TSAN=ON -DRIDGEX_BENCHMARKS=OFF

# What users get: install into a scratch prefix, the example client built
# both ways against it, the Debian packages' files and dependencies, and dpkg
# into a scratch root. Reuses the plain build; about 30 seconds.
echo "== install check"
tools/check-install.sh build

# Line and branch coverage of src/, held above the floors in
# tools/coverage-floor.txt; then every fuzz target for a short while, two
# at a time, from its seeds.
tools/coverage.sh
tools/fuzz.sh 45
