#!/usr/bin/env bash
# Builds the fuzz targets with clang in build-fuzz and runs each for SECONDS
# (default 60), two at a time, starting from its seeds in
# tests/fuzz/corpus/<target>. Any finding (a crash, a sanitizer report, a
# leak, an input that runs for more than 25 seconds) fails the run; the
# input is left in build-fuzz/work/<target>/findings and belongs in the
# target's corpus once the fault is fixed. The seeds are only read: what a
# run adds goes to build-fuzz/work/<target>/corpus.
# Usage: tools/fuzz.sh [SECONDS [TARGET...]]
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-packages.sh
seconds=${1:-60}
shift || true
build=build-fuzz

echo "== build ${build}"
CC=clang CXX=clang++ cmake -B "${build}" -S . -DRIDGEX_FUZZ=ON -DRIDGEX_TESTS=OFF \
    -DRIDGEX_BENCHMARKS=OFF >/dev/null
cmake --build "${build}" -j"$(nproc)" --target fuzz_targets

targets=("$@")
if ((${#targets[@]} == 0)); then
    for folder in tests/fuzz/corpus/*/; do
        targets+=("$(basename "${folder}")")
    done
fi

run_target() {
    local target=$1
    local work=${build}/work/${target}
    rm -rf "${work}"
    mkdir -p "${work}/corpus" "${work}/findings"
    if LD_LIBRARY_PATH="${PWD}/${build}/lib" "${build}/bin/fuzz_${target}" \
        -max_total_time="${seconds}" -timeout=25 -print_final_stats=1 \
        -artifact_prefix="${work}/findings/" "${work}/corpus" "tests/fuzz/corpus/${target}" \
        >"${work}/log" 2>&1; then
        echo "== ${target}: $(grep -m1 -o 'stat::number_of_executed_units: *[0-9]*' "${work}/log" |
            grep -o '[0-9]*$') runs, no finding"
    else
        echo "== ${target}: FINDING"
        tail -n 60 "${work}/log"
        ls "${work}/findings"
        return 1
    fi
}

echo "== fuzz ${seconds} s each: ${targets[*]}"
status=0
running=0
for target in "${targets[@]}"; do
    if ((running == 2)); then
        wait -n || status=1
        running=$((running - 1))
    fi
    run_target "${target}" &
    running=$((running + 1))
done
while ((running > 0)); do
    wait -n || status=1
    running=$((running - 1))
done
exit "${status}"
