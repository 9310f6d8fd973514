#!/usr/bin/env bash
# Checks what a user gets, so that an install missing a file fails:
#  1. `cmake --install` into a scratch prefix gives exactly the files of
#     tools/check-install/PACKAGE.txt, one list for each Debian package;
#  2. the example client (examples/) builds against that install with
#     pkg-config and with find_package, and captures an image from the
#     installed simulators, while without them it captures nothing;
#  3. the Debian packages hold exactly their listed files and depend on
#     each other as they should;
#  4. dpkg installs the three main packages into a scratch root (refusing
#     libridgex-dev alone), and the example builds against that root and,
#     with ridgex-simulators added, captures.
# Usage: tools/check-install.sh [BUILD_DIR]   (default: build)
# It configures BUILD_DIR for the prefix /usr (which only changes install
# paths) and builds what is missing; the scratch files go to
# BUILD_DIR/check-install.
set -euo pipefail
cd "$(dirname "$0")/.."
export LC_ALL=C
lists=$PWD/tools/check-install
# One list of files per Debian package, named after it.
packages=()
for list in "${lists}"/*.txt; do
    list=${list##*/}
    packages+=("${list%.txt}")
done

echo "== build for installing under /usr"
cmake -B "${1:-build}" -S . -DCMAKE_INSTALL_PREFIX=/usr >/dev/null
cmake --build "${1:-build}" -j"$(nproc)" >/dev/null
build=$(cd "${1:-build}" && pwd)
cache() { sed -n "s/^$1:[A-Z]*=//p" "${build}/CMakeCache.txt"; }
libdir=$(cache CMAKE_INSTALL_LIBDIR)
config=$(cache CMAKE_BUILD_TYPE | tr '[:upper:]' '[:lower:]')
version=$(cache CMAKE_PROJECT_VERSION)
scratch=${build}/check-install
rm -rf "${scratch}"
mkdir -p "${scratch}"

fail() {
    echo "check-install: $*" >&2
    exit 1
}

# The files listed for the packages named, sorted, folders left out.
expected() {
    local package path condition
    for package; do
        while read -r path condition; do
            [[ -z ${path} || ${path} == \#* ]] && continue
            condition=${condition#[}
            [[ -n ${condition} && ! -e ${condition%]} ]] && continue
            path=${path//@LIBDIR@/${libdir}}
            echo "${path//@CONFIG@/${config}}"
        done <"${lists}/${package}.txt"
    done | sort
}

# same_files WHAT EXPECTED ACTUAL: the two sorted lists must be equal.
same_files() {
    diff -u --label expected --label "$1" "$2" "$3" || fail "$1 differs from ${lists}"
}

# A simulated reader library with one reader of 300 x 400 pixels whose
# finger comes at once, so that each capture is quick.
cat >"${scratch}/readers.conf" <<'EOF'
[reader]
width = 300
height = 400
finger_every_ms = 20
EOF

# run_capture NAME PROGRAM LIBDIR SIMULATORS_DIR UNITS_DIR: the example
# captures from the first reader, the built-in backend's over the simulated
# reader library, and writes a PGM of the reader's size.
run_capture() {
    local image=${scratch}/$1.pgm
    echo "== run the example ($1)"
    LD_LIBRARY_PATH="$4:$3" SYSTEMD_UNIT_PATH="$5" RIDGEX_REGISTRY="${scratch}/no-registry.reg" \
        RIDGEX_TAVLO_SIM_CONFIG="${scratch}/readers.conf" "$2" "${image}"
    cmp -n 15 "${image}" <(printf 'P5\n300 400\n255\n') || fail "$1: not a 300 x 400 PGM"
    (($(stat -c %s "${image}") == 15 + 300 * 400)) || fail "$1: the PGM has the wrong size"
}

# build_examples NAME PKG_CONFIG_ENV... -- CMAKE_PREFIX: builds the example
# both ways into SCRATCH/NAME-make and SCRATCH/NAME-cmake.
build_examples() {
    local name=$1
    shift
    local pkg_config_env=()
    while [[ $1 != -- ]]; do
        pkg_config_env+=("$1")
        shift
    done
    echo "== build the example with pkg-config and with find_package (${name})"
    mkdir "${scratch}/${name}-make"
    cp examples/Makefile examples/capture_pgm.c "${scratch}/${name}-make"
    env "${pkg_config_env[@]}" make -s -C "${scratch}/${name}-make" >/dev/null
    cmake -S examples -B "${scratch}/${name}-cmake" -DCMAKE_PREFIX_PATH="$2" >/dev/null
    cmake --build "${scratch}/${name}-cmake" >/dev/null
}

echo "== cmake --install into a scratch prefix"
prefix=${scratch}/prefix
cmake --install "${build}" --prefix "${prefix}" >/dev/null
(cd "${prefix}" && find . ! -type d | sed 's|^\./||' | sort) >"${scratch}/installed.txt"
expected "${packages[@]}" | sed 's|^usr/||' |
    sort >"${scratch}/expected.txt"
same_files "cmake --install" "${scratch}/expected.txt" "${scratch}/installed.txt"
for program in "${prefix}"/bin/*; do
    LD_LIBRARY_PATH="${prefix}/${libdir}" "${program}" --help >/dev/null 2>&1 ||
        fail "${program##*/} --help failed"
done

build_examples prefix PKG_CONFIG_PATH="${prefix}/${libdir}/pkgconfig" -- "${prefix}"
simulators=${prefix}/${libdir}/ridgex/simulators
units=${prefix}/share/ridgex/simulators/units
run_capture prefix-make "${scratch}/prefix-make/capture_pgm" "${prefix}/${libdir}" "${simulators}" \
    "${units}"
run_capture prefix-cmake "${scratch}/prefix-cmake/capture_pgm" "${prefix}/${libdir}" \
    "${simulators}" "${units}"
echo "== without the simulators' folder on the library path, no capture"
if SYSTEMD_UNIT_PATH="${units}" RIDGEX_REGISTRY="${scratch}/no-registry.reg" \
    "${scratch}/prefix-cmake/capture_pgm" "${scratch}/none.pgm" >/dev/null 2>&1 ||
    [[ -e "${scratch}/none.pgm" ]]; then
    fail "the installed library captured without the simulators"
fi

echo "== Debian packages and their files"
cpack --config "${build}/CPackConfig.cmake" -B "${scratch}/debs" >"${scratch}/cpack.txt" 2>&1 ||
    fail "cpack: $(cat "${scratch}/cpack.txt")"
deb() { echo "${scratch}/debs/$1_${version}-1_$(dpkg --print-architecture).deb"; }
for package in "${packages[@]}"; do
    deb "${package}"
done | sort >"${scratch}/debs-expected.txt"
find "${scratch}/debs" -maxdepth 1 -name '*.deb' | sort >"${scratch}/debs.txt"
same_files "cpack's packages" "${scratch}/debs-expected.txt" "${scratch}/debs.txt"
for package in "${packages[@]}"; do
    dpkg-deb -c "$(deb "${package}")" | awk '$1 !~ /^d/ { print $6 }' | sed 's|^\./||' | sort \
        >"${scratch}/${package}.txt"
    expected "${package}" >"${scratch}/${package}-expected.txt"
    same_files "${package}" "${scratch}/${package}-expected.txt" "${scratch}/${package}.txt"
done
# depends PACKAGE RELATION: PACKAGE's Depends has RELATION.
depends() {
    dpkg-deb -f "$(deb "$1")" Depends | tr ',' '\n' | sed 's/^ *//' | grep -qxF "$2" ||
        fail "$1 does not depend on $2"
}
depends libridgex-dev "libridgex3 (= ${version}-1)"
depends ridgex-tools "libridgex3 (>= ${version})"
depends ridgex-simulators "libridgex3 (>= ${version})"
depends ridgex-fprint "libridgex3 (>= ${version})"
dpkg-deb -f "$(deb ridgex-fprint)" Depends | grep -q 'libfprint-2-2' || fail "ridgex-fprint lacks libfprint"
dpkg-deb -f "$(deb libridgex3)" Depends | grep -q '^libc6 ' || fail "libridgex3 lacks libc6"

echo "== dpkg -i into a scratch root"
# The machine's own packages count as installed there, so that only our
# packages' dependencies on each other can be missing. The root has no shell,
# so the maintainer scripts run outside it, on the root that DPKG_ROOT names.
root=${scratch}/root
mkdir -p "${root}/var/lib/dpkg/info" "${root}/var/lib/dpkg/updates" "${root}/etc"
cp /var/lib/dpkg/status "${root}/var/lib/dpkg/status"
touch "${root}/etc/ld.so.conf"
dpkg_root() { dpkg --root="${root}" --force-script-chrootless "$@"; }
if dpkg_root -i "$(deb libridgex-dev)" >"${scratch}/dpkg-dev-alone.txt" 2>&1 ||
    ! grep -q "libridgex-dev depends on libridgex3" "${scratch}/dpkg-dev-alone.txt"; then
    fail "libridgex-dev was not refused without libridgex3"
fi
dpkg_root -i "$(deb libridgex3)" "$(deb libridgex-dev)" "$(deb ridgex-tools)" \
    >"${scratch}/dpkg.txt" 2>&1 || fail "dpkg -i: $(cat "${scratch}/dpkg.txt")"
build_examples root PKG_CONFIG_SYSROOT_DIR="${root}" \
    PKG_CONFIG_LIBDIR="${root}/usr/${libdir}/pkgconfig" -- "${root}/usr"
dpkg_root -i "$(deb ridgex-simulators)" >>"${scratch}/dpkg.txt" 2>&1 ||
    fail "dpkg -i: $(cat "${scratch}/dpkg.txt")"
run_capture root-make "${scratch}/root-make/capture_pgm" "${root}/usr/${libdir}" \
    "${root}/usr/${libdir}/ridgex/simulators" "${root}/usr/share/ridgex/simulators/units"
run_capture root-cmake "${scratch}/root-cmake/capture_pgm" "${root}/usr/${libdir}" \
    "${root}/usr/${libdir}/ridgex/simulators" "${root}/usr/share/ridgex/simulators/units"

echo "== install check passed in ${SECONDS} s"
