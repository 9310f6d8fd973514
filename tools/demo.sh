#!/usr/bin/env bash
# The main job: builds the library, the simulators and the ridgex command,
# then, on the simulated readers, lists the readers and captures one
# fingerprint from the first reader of each backend into fingerprint-NN.png
# (NN the backend's slot). With a reader's name, captures from that reader
# into fingerprint.png. Ctrl-C during a wait cancels it and ends the demo
# with status 130. Usage: tools/demo.sh [NAME]
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-packages.sh
cmake -B build -S . >/dev/null
cmake --build build -j"$(nproc)" --target ridgex_cli ridgex_amber TavloApi
# The simulated backends and libraries lie beside libridgex.so, which finds
# them through its own folder. The demo's folder holds the reader service's
# unit, so the built-in backend serves the simulated reader library's
# readers, and the readers' configurations. Nothing of the machine's is
# touched.
export SYSTEMD_UNIT_PATH="${PWD}/tools/demo/units"
export RIDGEX_REGISTRY="${PWD}/build/no-registry.reg"
export RIDGEX_SIM_CONFIG="${RIDGEX_SIM_CONFIG:-${PWD}/tools/demo/simulated_readers.conf}"
export RIDGEX_TAVLO_SIM_CONFIG="${RIDGEX_TAVLO_SIM_CONFIG:-${PWD}/tools/demo/simulated_reader_library.conf}"
ridgex=build/bin/ridgex

"${ridgex}" --version
"${ridgex}" list
if (($# > 0)); then
    exec "${ridgex}" capture "$1" -o fingerprint.png
fi
# The first listed reader of each slot.
"${ridgex}" list --json | jq -r '.readers | unique_by(.slot) | .[] | "\(.slot) \(.name)"' |
    while read -r slot name; do
        "${ridgex}" capture "${name}" -o "$(printf 'fingerprint-%02d.png' "${slot}")"
    done
