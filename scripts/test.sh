#!/usr/bin/env bash
# Everything that must hold before a change is shared: the tests in the release build and under the
# address and undefined-behaviour sanitizers, those of threads under the thread sanitizer, those for
# 32-bit Windows under wine, the unit tests for 64-bit ARM in an emulator, the build with clang,
# formatting, the manual, the packages. With --quick only the release build and its tests, and the
# manual if doxygen is installed; OpenCV and Dask are not installed then, and the tests that need them
# are skipped. The last lines name what failed or was skipped; the very last one counts.
set -uo pipefail
cd "$(dirname "$0")/.." || exit

quick=0
case "$*" in
'') ;;
--quick) quick=1 ;;
*)
    echo "usage: $0 [--quick]" >&2
    exit 2
    ;;
esac

passed=0
failed=()
skipped=()
in_part=()

check() { # NAME COMMAND...
    local name=$1 start=$SECONDS status
    shift
    echo "== $name"
    "$@"
    status=$?
    echo "== $name took $((SECONDS - start)) s"
    if [ "$status" -eq 0 ]; then
        passed=$((passed + 1))
    else
        failed+=("$name")
    fi
    return "$status"
}

build() { # PRESET [OPTION...]
    cmake --preset "$@" >build/"$1".log 2>&1 || { cat build/"$1".log; return 1; }
    cmake --build --preset "$1"
}

run_tests() { # PRESET [COMMAND THAT RUNS CTEST...]
    local log=build/$1-tests.log start=$SECONDS failures=${#failed[@]} status name result part
    local command=("${@:2}")
    [ $# -gt 1 ] || command=(ctest --preset "$1")
    echo "== $1 tests"
    "${command[@]}" | tee "$log"
    status=$?
    echo "== $1 tests took $((SECONDS - start)) s"
    if [ "$status" -eq 77 ]; then
        skipped+=("$1 tests: $(reason_in "$log")")
        return
    fi

    # " 5/80 Test #17: Palette ...........   Passed    0.12 sec", or "***Failed", "***Skipped"
    while read -r name result; do
        case "$result" in
        Passed) passed=$((passed + 1)) ;;
        Skipped) skipped+=("$1 $name: $(reasons "$1" "$name")") ;;
        *) failed+=("$1 $name ($result)") ;;
        esac
        if [ "$result" = Passed ]; then
            while read -r part; do
                [ -z "$part" ] || in_part+=("$1 $name: $part")
            done < <(reasons "$1" "$name")
        fi
    done < <(sed -nE 's|^ *[0-9]+/[0-9]+ Test +#[0-9]+: ([^ ]+) [ .*]*([A-Z][A-Za-z ]*[A-Za-z]).*|\1 \2|p' "$log")
    [ "$status" -eq 0 ] || [ ${#failed[@]} -gt "$failures" ] || failed+=("$1 tests: ctest, status $status")
}

# Why a script has skipped its tests.
reason_in() { # LOG
    sed -n 's/^skipped: //p' "$1" | tail -n 1
}

# What a test has printed about the cases that it skipped: "skipped: REASON" in a script,
# "[  SKIPPED ] 3 tests." in a program of GoogleTest.
reasons() { # PRESET TEST
    awk -v test="$2" '
        /^[0-9]+\/[0-9]+ Test: / { ours = $3 == test }
        ours && sub(/^skipped: /, "") { print }
        ours && /^\[  SKIPPED \] [0-9]+ tests?\.$/ { print $4, "cases" }
    ' "build/$1/Testing/Temporary/LastTest.log"
}

formatting() {
    find . -path ./build -prune -o \( -name '*.cpp' -o -name '*.h' -o -name '*.c' \) -print |
        xargs clang-format --dry-run -Werror
}

manual() {
    if command -v doxygen >/dev/null; then
        check "manual" bash scripts/manual.sh
    else
        skipped+=("manual: doxygen is not installed")
    fi
}

build_and_test() { # PRESET [OPTION OF CMAKE...] [COMMAND THAT RUNS CTEST...]
    local preset=$1 options=()
    shift
    while [[ ${1:-} == -* ]]; do
        options+=("$1")
        shift
    done
    if check "$preset build" build "$preset" "${options[@]}"; then
        run_tests "$preset" "$@"
    else
        skipped+=("$preset tests: the build failed")
    fi
}

packages() {
    local log=build/packages.log status
    echo "== packages"
    bash scripts/test-packages.sh 2>&1 | tee "$log"
    status=${PIPESTATUS[0]}
    case "$status" in
    0) passed=$((passed + 1)) ;;
    77) skipped+=("packages: $(reason_in "$log")") ;;
    *) failed+=("packages") ;;
    esac
}

mkdir -p build
if [ "$quick" = 1 ]; then
    bash scripts/setup.sh --tests || exit 1
    manual
    build_and_test release
else
    bash scripts/setup.sh --tests --peers --clang --windows --arm --manual --package || exit 1
    # Mostly waits for the network.
    bash scripts/test-windows.sh --root >build/wine-root-making.log 2>&1 &
    root_maker=$!
    check "formatting" formatting
    manual
    build_and_test release
    build_and_test asan
    build_and_test tsan
    # For its warnings, which do not depend on optimisation.
    check "clang build" build clang -D VIQ_TESTS=OFF -D CMAKE_CXX_FLAGS_RELEASE=-O0
    wait "$root_maker"
    build_and_test windows bash scripts/test-windows.sh
    # Its tests take long in the emulator.
    build_and_test arm -DVIQ_TOOL=OFF
    skipped+=("arm tests of the tool: cmake --preset arm -D VIQ_TOOL=ON and building it adds them to ctest --preset arm")
    packages
fi

echo
[ ${#failed[@]} -eq 0 ] || printf 'failed: %s\n' "${failed[@]}"
[ ${#skipped[@]} -eq 0 ] || printf 'skipped: %s\n' "${skipped[@]}"
[ ${#in_part[@]} -eq 0 ] || printf 'skipped in part: %s\n' "${in_part[@]}"
summary="$passed passed, ${#failed[@]} failed"
[ ${#skipped[@]} -eq 0 ] || summary+=", ${#skipped[@]} skipped"
echo "$summary"
[ ${#failed[@]} -eq 0 ]
