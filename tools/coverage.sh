#!/usr/bin/env bash
# Measures how much of src/ the tests run: a gcc build with --coverage in
# build-cov, every test, then gcovr over src/ alone. Branches that only
# exceptions take, and those the compiler proves unreachable, are not
# counted. Fails when line or branch coverage falls below the floors in
# tools/coverage-floor.txt, which are raised as coverage rises and never
# lowered. The full report is left in build-cov/coverage.txt.
# Usage: tools/coverage.sh
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-packages.sh
build=build-cov
jobs=$(nproc)
flags="--coverage -fprofile-update=atomic"

echo "== build ${build}"
cmake -B "${build}" -S . -DRIDGEX_BENCHMARKS=OFF -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_C_FLAGS="${flags}" -DCMAKE_CXX_FLAGS="${flags}" \
    -DCMAKE_EXE_LINKER_FLAGS=--coverage -DCMAKE_SHARED_LINKER_FLAGS=--coverage >/dev/null
cmake --build "${build}" -j"${jobs}"
# Counts of an earlier run would add to this one's.
find "${build}" -name '*.gcda' -delete

echo "== tests ${build}"
(cd "${build}" && ctest --output-on-failure -j"${jobs}" --timeout 300)

read -r line_floor branch_floor < <(grep -v '^#' tools/coverage-floor.txt)
echo "== coverage of src/ (floors: ${line_floor}% of lines, ${branch_floor}% of branches)"
gcovr --root . --object-directory "${build}" --filter 'src/' -j 1 \
    --exclude-directories "${build}/CMakeFiles" \
    --exclude-throw-branches --exclude-unreachable-branches \
    --txt "${build}/coverage.txt" --print-summary \
    --fail-under-line "${line_floor}" --fail-under-branch "${branch_floor}"
