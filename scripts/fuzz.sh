#!/usr/bin/env bash
# Builds the fuzz targets and runs them side by side for a time, as many at once as there are
# processors. Prints for each target the executions of this run, the coverage, the inputs that failed
# and the executions of all runs. What all runs have in common is kept in build/fuzz: executions
# (a line for each run), found inputs in corpus/TARGET, failing ones in findings/TARGET.
set -uo pipefail
cd "$(dirname "$0")/.." || exit

usage() {
    echo "usage: $0 MINUTES [TARGET...]" >&2
    exit 2
}

[[ ${1:-} =~ ^[1-9][0-9]*$ ]] || usage
minutes=$1
shift

bash scripts/setup.sh --fuzz || exit 1
mkdir -p build
{ cmake --preset fuzz && cmake --build --preset fuzz; } >build/fuzz.log 2>&1 || {
    cat build/fuzz.log
    exit 1
}

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
    for program in build/fuzz/fuzz/fuzz_*; do
        [ -x "$program" ] && targets+=("${program##*/fuzz_}")
    done
fi
processors=$(nproc)
work=build/fuzz
mkdir -p $work/logs
touch $work/logs/started
files=$(mktemp -d "$([ -d /dev/shm ] && echo /dev/shm || echo "${TMPDIR:-/tmp}")/viq-fuzz.XXXXXX")
trap 'rm -rf "$files"' EXIT

# All targets get the same time, whether or not there are processors for all of them at once.
share=$((minutes * 60))
if [ ${#targets[@]} -gt "$processors" ]; then
    share=$((share * processors / ${#targets[@]}))
fi

run_target() { # TARGET
    local name=$1 log=$work/logs/$1.log until=$((SECONDS + share)) left dictionary=() status
    local program=$work/fuzz/fuzz_$name
    mkdir -p "$work/corpus/$name" "$work/findings/$name"
    [ -f "fuzz/dictionaries/${name%%_*}.dict" ] &&
        dictionary=("-dict=fuzz/dictionaries/${name%%_*}.dict")
    : >"$log"
    # A finding ends the program; it starts again with the inputs that it has found.
    while left=$((until - SECONDS)) && [ "$left" -gt 0 ]; do
        TMPDIR=$files nice -n 10 "$program" -max_total_time="$left" -timeout=60 -rss_limit_mb=3000 \
            -print_final_stats=1 -reduce_inputs=0 -use_value_profile=0 "${dictionary[@]}" \
            -artifact_prefix="$work/findings/$name/" "$work/corpus/$name" "fuzz/corpus/$name" \
            >>"$log" 2>&1
        status=$?
        awk -v name="$name" '/^stat::number_of_executed_units:/ { last = $2 }
            END { if (last > 0) print name, last }' \
            <(tail -n 20 "$log") >>"$work/executions"
        [ "$status" -ne 0 ] || break
    done
}

for name in "${targets[@]}"; do
    while [ "$(jobs -rp | wc -l)" -ge "$processors" ]; do
        wait -n
    done
    run_target "$name" &
done
wait

# The statistics of a run, which may consist of several starts of the program.
printf '%-14s %14s %10s %10s %16s\n' target executions coverage findings "all executions"
failed=0
for name in "${targets[@]}"; do
    log=$work/logs/$name.log
    executions=$(awk '/^stat::number_of_executed_units:/ { sum += $2 } END { print sum + 0 }' "$log")
    coverage=$(sed -nE 's/.* cov: ([0-9]+) .*/\1/p' "$log" | sort -n | tail -n 1)
    findings=$(find "$work/findings/$name" -type f -newer "$work/logs/started" | wc -l)
    all=$(awk -v name="$name" '$1 == name { sum += $2 } END { printf "%d", sum }' $work/executions)
    printf '%-14s %14s %10s %10s %16s\n' "$name" "$executions" "${coverage:-0}" "$findings" "$all"
    failed=$((failed + findings))
done
[ "$failed" -eq 0 ]
