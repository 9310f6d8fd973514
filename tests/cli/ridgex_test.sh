#!/usr/bin/env bash
# The ridgex command as a user sees it, on the simulated backend library:
# exit statuses, the shape of what it prints, and the files it writes.
# Usage: ridgex_test.sh RIDGEX PNG_SIZE LIBRIDGEX DOCS_RIDGEX_MD
set -uo pipefail
ridgex=$1
png_size=$2
library=$3
docs=$4
work=$(mktemp -d)
trap 'rm -rf "${work}"' EXIT
cd "${work}"
failures=0

cat >readers.conf <<'CONF'
[reader]
name = ready
resolutions = 500 1000
score = 87
[reader]
name = waiting
finger = manual
[reader]
name = spoof
spoof = yes
[reader]
name = refusing
outcome = reject
[reader]
name = failing
outcome = fail
fail_status = RIDGEX_E_DEVICE_BUSY
CONF
export RIDGEX_SIM_CONFIG="${work}/readers.conf"
export RIDGEX_REGISTRY="${work}/registry.reg"

fail() {
    echo "FAIL: $*"
    failures=$((failures + 1))
}

# expect STATUS REGEX ARGS...: ridgex ARGS ends with STATUS, and what it
# prints (standard output and error) matches REGEX.
expect() {
    local status=$1 pattern=$2
    shift 2
    "${ridgex}" "$@" >out.txt 2>&1
    local got=$?
    ((got == status)) || fail "ridgex $*: status ${got}, expected ${status}: $(cat out.txt)"
    grep -Eq -- "${pattern}" out.txt || fail "ridgex $*: no '${pattern}' in: $(cat out.txt)"
}

# Usage and help.
expect 0 '^Usage: ridgex COMMAND' --help
expect 0 '^ +\[--timeout MS\] \[--liveness \[--far N\]\]' capture --help
expect 0 '^ridgex 3\.2\.0$' --version
expect 2 "unknown command 'frobnicate'" frobnicate
expect 2 'unknown option --nope' list --nope
expect 2 '--format is one of' capture --format tiff
expect 2 '--far goes with --liveness' capture ready --far 3
expect 2 '--timeout wants a whole number' capture ready --timeout soon
expect 2 'captures at 500, 1000 dpi only' capture ready --dpi 700
# The help texts in the command's documentation are the command's own.
for command in "" list info capture stream trace; do
    "${ridgex}" ${command} --help >help.txt
    awk -v head="\$ ridgex ${command:+${command} }--help" '$0 == head { on = 1; next }
        on && /^```$/ { exit } on' "${docs}" | cmp -s - help.txt ||
        fail "docs/ridgex.md: the help of '${command}' differs"
done

# Listing and facts.
expect 0 '^\$01\$ready +05ba:000e +0x0100 +1 +Simulated Reader$' list
"${ridgex}" list --json >list.json
[[ $(jq -c '[.readers[] | [.name, .slot, .vid]] | .[0:2]' list.json) == \
    '[["$01$ready",1,1466],["$01$waiting",1,1466]]' ]] || fail "list --json: $(cat list.json)"
expect 0 '1000 dpi, image 512 x 720 pixels' info ready
expect 1 "no reader named 'nosuch'" info nosuch

# Captures: files and how each ending shows.
expect 0 '^Wrote a\.png \(png\): 512 x 720 pixels at 1000 dpi, score 87\.$' capture ready -o a.png --dpi 1000
[[ $("${png_size}" a.png) == "512 720 8 0" ]] || fail "a.png: $("${png_size}" a.png)"
expect 0 'Wrote fingerprint\.png' capture
[[ $("${png_size}" fingerprint.png) == "256 360 8 0" ]] || fail "fingerprint.png is no 256 x 360 PNG"
expect 0 'Wrote a\.pgm \(pgm\)' capture ready -o a.pgm
[[ $(head -c 15 a.pgm | tr '\n' ' ') == "P5 256 360 255 " && $(stat -c %s a.pgm) == 92175 ]] ||
    fail "a.pgm is no 256 x 360 PGM"
expect 0 'Wrote a\.iso \(iso\)' capture ready -o a.iso
expect 0 'Wrote a\.rec \(ansi\)' capture ready -o a.rec --format ansi
[[ $(stat -c %s a.iso) == 92206 && $(stat -c %s a.rec) == 92210 ]] || fail "record sizes"
expect 3 'RIDGEX_QUALITY_TIMED_OUT \(0x0001\)' capture waiting --timeout 100
expect 4 'RIDGEX_QUALITY_CODE_11 \(0x0010\)' capture refusing
expect 1 'RIDGEX_E_DEVICE_BUSY \(0x05BA001E\): the reader is busy' capture failing
expect 0 'Liveness check: passed\.' capture ready --liveness --far 3
expect 4 'Liveness check: failed\.' capture spoof --liveness
"${ridgex}" capture waiting -o never.png 2>cancel.txt &
capture=$!
for _ in $(seq 100); do grep -q 'Waiting for a finger' cancel.txt && break; sleep 0.1; done
sleep 0.2
kill -INT "${capture}"
wait "${capture}"
status=$?
((status == 130)) && grep -q 'Capture cancelled' cancel.txt && [[ ! -e never.png ]] ||
    fail "Ctrl-C: status ${status}: $(cat cancel.txt)"
expect 0 '^3 frames in ' stream ready --frames 3

# Tracing through the registry store, and the trace reader.
expect 0 'Tracing is off' trace status
expect 0 "Trace files: .* in ${work}/traces" trace on --folder traces
expect 0 'Tracing is on' trace status
"${ridgex}" list >/dev/null
trace=$(ls traces/*.trc3 2>/dev/null | head -1)
expect 0 '> CLibAggregator::Init' trace show "${trace:-missing}"
head -c -3 "${trace:-missing}" >cut.trc3
expect 5 'the file is cut here' trace show cut.trc3
expect 0 'Tracing is off' trace off
grep -q '"DoTrace"=dword:00000000' registry.reg || fail "registry: $(cat registry.reg)"

# Without any backend the command says where it looked.
mkdir -p alone/bin alone/lib
cp "${ridgex}" alone/bin/ && cp -L "${library}" alone/lib/libridgex.so.3
ridgex=alone/bin/$(basename "${ridgex}")
LD_LIBRARY_PATH= expect 1 'no backend came up' list
grep -Fxq "    $(realpath alone/lib)" out.txt || fail "no backend: $(cat out.txt)"

((failures == 0)) && echo "all passed"
exit $((failures > 0))
