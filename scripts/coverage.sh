#!/usr/bin/env bash
# Runs the tests in a build that records what they reach, and prints for each folder the lines and
# the branches that were reached, then the source files of the readers. With --uncovered also the
# lines that were not reached. Fails if the branches of the readers are below 95 % or those of a
# folder, or its lines, below 90 %.
set -euo pipefail
cd "$(dirname "$0")/.."

uncovered=0
case "$*" in
'') ;;
--uncovered) uncovered=1 ;;
*)
    echo "usage: $0 [--uncovered]" >&2
    exit 2
    ;;
esac

bash scripts/setup.sh --tests --coverage
mkdir -p build
{ cmake --preset coverage && cmake --build --preset coverage; } >build/coverage.log 2>&1 || {
    cat build/coverage.log
    exit 1
}
rm -rf build/coverage/profiles
ctest --preset coverage >build/coverage-tests.log 2>&1 || {
    grep -E 'Failed|\*\*\*' build/coverage-tests.log
    echo "Some tests fail in this build; the figures are those of all tests." >&2
}

# The newest installed tools of the same version as the compiler.
tools=$(clang --version | sed -nE 's/.*version ([0-9]+).*/\1/p' | head -n 1)
merge=$(command -v "llvm-profdata-$tools" || command -v llvm-profdata)
report=$(command -v "llvm-cov-$tools" || command -v llvm-cov)
# Tests that limit the size of files cut some of the profiles short.
"$merge" merge -sparse -failure-mode=all build/coverage/profiles/*.profraw \
    -o build/coverage/all.profdata 2>build/coverage-merge.log || {
    cat build/coverage-merge.log
    exit 1
}
programs=(build/coverage/tests/viq_tests) # the first one without -object
for program in build/coverage/fuzz/replay_* build/coverage/bin/viq; do
    [ -f "$program" ] && [ -x "$program" ] && programs+=(-object "$program")
done
"$report" export -summary-only -instr-profile build/coverage/all.profdata "${programs[@]}" \
    >build/coverage/summary.json 2>/dev/null

status=0
python3 - build/coverage/summary.json "$PWD/" <<'PYTHON' || status=$?
import collections, json, os, re, sys
folders = ["core", "convert", "files", "jpeg", "wavelet", "process", "camera", "draw", "display", "library", "tools"]
reader = re.compile(r"files/.*(read|detect|runs|run_lines|stream|strip_file|unpack)|jpeg/(jpeg_stream_read|scan_reader|decoder|component_decoder)"
                    r"|wavelet/codec/(wavelet_stream|decompress)")
# A header has an entry for every way in which its path is written: the one that reaches most counts.
files = {}
for entry in json.load(open(sys.argv[1]))["data"][0]["files"]:
    name = os.path.normpath(entry["filename"]).removeprefix(sys.argv[2])
    lines, branches = entry["summary"]["lines"], entry["summary"]["branches"]
    counts = [lines["covered"], lines["count"], branches["covered"], branches["count"]]
    if name.split("/")[0] in folders:
        files[name] = max(files.get(name, [0] * 4), counts)
rows, readers = collections.defaultdict(lambda: [0] * 4), {}
for name, counts in files.items():
    kinds = [name.split("/")[0]] + (["readers"] if reader.match(name) else [])
    for kind in kinds:
        rows[kind] = [a + b for a, b in zip(rows[kind], counts)]
    if len(kinds) > 1:
        readers[name] = counts
def share(part, whole):
    return 100 * part / whole if whole else 100
def show(name, counts):
    print(f"{name:36} {share(*counts[:2]):7.1f} % {counts[1]:7} {share(*counts[2:]):7.1f} % {counts[3]:7}")
print(f"{'':36} {'lines':>9} {'of':>7} {'branches':>9} {'of':>7}")
for name in folders + ["readers"]:
    if name in rows:
        show(name, rows[name])
print()
for name, counts in sorted(readers.items(), key=lambda item: share(*item[1][2:])):
    show(name, counts)
low = [name for name in rows if share(*rows[name][2:]) < (95 if name == "readers" else 90) or share(*rows[name][:2]) < 90]
for name in low:
    print("below the limit:", name)
sys.exit(1 if low else 0)
PYTHON
if [ "$uncovered" = 1 ]; then
    "$report" show -instr-profile build/coverage/all.profdata "${programs[@]}" \
        "$PWD"/{core,convert,files,jpeg,wavelet,process,camera,draw,display,library} 2>/dev/null |
        awk '/^\/.*:$/ { file = $0 } /^ *[0-9]+\| *0\|/ { print file $0 }' |
        sed "s|^$PWD/||" >build/coverage/uncovered.txt
    echo "Lines that were not reached: build/coverage/uncovered.txt"
fi
exit "$status"
