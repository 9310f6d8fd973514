#!/usr/bin/env bash
# Installs the Debian packages of tools/packages.txt that are missing, and
# nothing else. Usage: tools/install-packages.sh
set -euo pipefail
cd "$(dirname "$0")/.."
mapfile -t packages < <(grep -v -E '^\s*(#|$)' tools/packages.txt)
missing=()
for package in "${packages[@]}"; do
    dpkg -s "${package}" >/dev/null 2>&1 || missing+=("${package}")
done
((${#missing[@]} == 0)) && exit 0
echo "installing: ${missing[*]}"
sudo=()
((EUID == 0)) || sudo=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update
"${sudo[@]}" apt-get install -y --no-install-recommends "${missing[@]}"
