#!/usr/bin/env bash
# Builds the fuzz targets and runs them side by side, for a time or until each has reached a number
# of executions in all runs together. Prints for each target the executions of this run, the
# coverage, the inputs that failed and the executions of all runs.
#
# There are two builds. The fast one checks the ends of heap blocks; it makes nine of ten executions,
# or more where those of the other one would take more than a tenth of its time. The other one has the address sanitizer; it first runs the inputs that the fast one has
# found.
#
# What all runs have in common is kept in build/fuzz: executions (a line for each start of a program:
# target, executions, build), found inputs in corpus/TARGET, failing ones in findings/TARGET.
set -uo pipefail
cd "$(dirname "$0")/.." || exit

usage() {
    cat >&2 <<TEXT
usage: $0 MINUTES [TARGET...]
       $0 --until EXECUTIONS [--jobs N] [TARGET...]
       $0 --minimise [TARGET...]
--until     run each target until it has made so many executions in all runs
--jobs      targets at a time; otherwise the number of processors
--minimise  keep of the found inputs those that reach something of their own
TEXT
    exit 2
}

mode=minutes amount=1 jobs=$(nproc)
case ${1:-} in
--until) mode=until amount=${2:-} && shift ;;
--minimise) mode=minimise ;;
*) amount=${1:-} ;;
esac
[[ $amount =~ ^[1-9][0-9]*$ ]] || usage
shift
if [ "${1:-}" = --jobs ]; then
    jobs=${2:-}
    [[ $jobs =~ ^[1-9][0-9]*$ ]] || usage
    shift 2
fi

bash scripts/setup.sh --fuzz || exit 1
mkdir -p build
for preset in fuzz-fast fuzz; do
    { cmake --preset $preset && cmake --build --preset $preset; } >build/$preset.log 2>&1 || {
        cat build/$preset.log
        exit 1
    }
done

# The fastest first.
targets=("$@")
[ ${#targets[@]} -gt 0 ] ||
    targets=(tga tiff eps frame bmp lut jpeg_file jpeg_buffer wavelet api differential)
work=build/fuzz
mkdir -p $work/logs
touch $work/executions $work/logs/started
files=$(mktemp -d "$([ -d /dev/shm ] && echo /dev/shm || echo "${TMPDIR:-/tmp}")/viq-fuzz.XXXXXX")
trap 'rm -rf "$files"' EXIT
checked_heap=$(find /lib /usr/lib -name libc_malloc_debug.so.0 -print -quit 2>/dev/null)

executions_of() { # TARGET
    awk -v name="$1" '$1 == name { sum += $2 } END { printf "%d", sum }' $work/executions
}

# Starts a program of a target once and adds its executions to the record. The time limits of an input
# are long, because they count time in which other programs have the processor.
start() { # TARGET BUILD OPTION...
    local name=$1 build=$2 log=$work/logs/$1.log options=() limit=() status
    shift 2
    [ -f "fuzz/dictionaries/${name%%_*}.dict" ] &&
        options+=("-dict=fuzz/dictionaries/${name%%_*}.dict")
    if [ "$build" = fuzz-fast ]; then
        options+=(-entropic=0 -max_len=4200)
        # A wrong size must not exhaust the machine. The sanitizer needs more, and refuses itself.
        limit=(prlimit --as=1073741824)
        [ -n "$checked_heap" ] && local -x LD_PRELOAD=$checked_heap MALLOC_CHECK_=3
    fi
    TMPDIR=$files "${limit[@]}" nice -n 10 "build/$build/fuzz/fuzz_$name" -timeout=600 -report_slow_units=600 \
        -rss_limit_mb=3000 -print_final_stats=1 -reduce_inputs=0 "${options[@]}" "$@" \
        -artifact_prefix="$work/findings/$name/" "$work/corpus/$name" "fuzz/corpus/$name" \
        >"$log.last" 2>&1
    status=$?
    cat "$log.last" >>"$log"
    awk -v name="$name" -v build="$build" '/^stat::number_of_executed_units:/ { last = $2 }
        END { if (last > 0) print name, last, build }' "$log.last" >>"$work/executions"
    return $status
}

# All targets get the same time, also if there are fewer processors than targets.
share=$((amount * 60))
[ ${#targets[@]} -gt "$jobs" ] && share=$((share * jobs / ${#targets[@]}))

# Runs in turns, so that little is missing from the record when a run is stopped. A finding ends a
# program; the next one starts with the inputs that were found. What is left at the end is for the fast
# build, because the other one takes long to start with many found inputs.
run_target() { # TARGET
    local name=$1 until=$((SECONDS + share)) turn left part made begin
    while true; do
        if [ $mode = until ]; then
            left=$((amount - $(executions_of "$name")))
            turn=3600
        else
            left=1000000000
            turn=$(((until - SECONDS + 1) / 2))
            [ "$turn" -lt 300 ] || turn=300
        fi
        [ "$left" -gt 0 ] && [ "$turn" -gt 0 ] || break
        part=$left
        [ "$left" -le 1000000 ] || part=$((left * 9 / 10))
        made=$(executions_of "$name") begin=$SECONDS
        start "$name" fuzz-fast -max_total_time="$turn" -runs="$part"
        made=$(($(executions_of "$name") - made))
        [ "$made" -gt 0 ] || break # an input in the corpus fails
        [ "$part" -eq "$left" ] ||
            start "$name" fuzz -max_total_time=$(((SECONDS - begin) / 10 + 1)) -runs=$((made / 9 + 1))
    done
}

minimise() { # TARGET
    local found=$work/corpus/$1
    rm -rf "$found.minimal" && mkdir "$found.minimal"
    start "$1" fuzz-fast -merge=1 "$found.minimal" && rm -rf "$found" && mv "$found.minimal" "$found"
}

for name in "${targets[@]}"; do
    while [ "$(jobs -rp | wc -l)" -ge "$jobs" ]; do
        wait -n
    done
    mkdir -p "$work/corpus/$name" "$work/findings/$name"
    : >"$work/logs/$name.log"
    if [ $mode = minimise ]; then minimise "$name" & else run_target "$name" & fi
done
wait
[ $mode != minimise ] || exit 0

# The statistics of a run, which consists of several starts of the programs.
printf '%-14s %14s %10s %10s %16s\n' target executions coverage findings "all executions"
failed=0
for name in "${targets[@]}"; do
    log=$work/logs/$name.log
    executions=$(awk '/^stat::number_of_executed_units:/ { sum += $2 } END { print sum + 0 }' "$log")
    coverage=$(sed -nE 's/.* cov: ([0-9]+) .*/\1/p' "$log" | sort -n | tail -n 1)
    findings=$(find "$work/findings/$name" -type f -newer "$work/logs/started" | wc -l)
    printf '%-14s %14s %10s %10s %16s\n' "$name" "$executions" "${coverage:-0}" "$findings" \
        "$(executions_of "$name")"
    failed=$((failed + findings))
done
[ "$failed" -eq 0 ]
