#!/usr/bin/env bash
# The main job: builds the library and the simulators, then runs the demo
# client against the simulated readers. Usage: tools/demo.sh
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-packages.sh
cmake -B build -S . >/dev/null
cmake --build build -j"$(nproc)" --target ridgex_demo
# The simulated backends and libraries lie beside libridgex.so, which finds
# them through its own folder. The demo's folder holds the reader service's
# unit, so the built-in backend serves the simulated reader library's
# readers. Nothing of the machine's is touched.
export SYSTEMD_UNIT_PATH="${PWD}/tools/demo/units"
export RIDGEX_REGISTRY="${PWD}/build/no-registry.reg"
exec build/bin/ridgex_demo "$@"
