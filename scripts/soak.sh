#!/usr/bin/env bash
# Slow checks of memory: the replayed inputs with the memory sanitizer, the fast unit tests and the
# replayed inputs under valgrind, and mixed operations in one process whose memory must not grow
# (10^6, or the number given).
# The memory sanitizer reports false errors for memory that a C++ library without instrumentation
# has written, as Debian's is. So it checks only the replay programs, which use little of that kind;
# fuzz/memory_sanitizer.txt lists the functions that it ignores.
set -uo pipefail
cd "$(dirname "$0")/.." || exit

operations=${1:-1000000}
[[ $operations =~ ^[0-9]+$ ]] || {
    echo "usage: $0 [OPERATIONS]" >&2
    exit 2
}
bash scripts/setup.sh --tests --fuzz --soak || exit 1
mkdir -p build
failed=()

build() { # PRESET TARGET...
    local preset=$1
    shift
    { cmake --preset "$preset" && cmake --build build/"$preset" --target "$@"; } \
        >build/"$preset"-soak.log 2>&1 || {
        tail -n 30 build/"$preset"-soak.log
        return 1
    }
}

check() { # NAME COMMAND...
    local name=$1 start=$SECONDS
    shift
    if "$@" >build/soak-check.log 2>&1; then
        echo "$name: passed, $((SECONDS - start)) s"
        grep -aE '^soak: ' build/soak-check.log
    else
        tail -n 40 build/soak-check.log
        echo "$name: failed"
        failed+=("$name")
    fi
}

targets=()
for source in fuzz/*_fuzz.cpp; do
    name=${source#fuzz/}
    targets+=("${name%_fuzz.cpp}")
done

if build memory "${targets[@]/#/replay_}"; then
    for name in "${targets[@]}"; do
        # The C++ library compares the paths of printed files.
        [ "$name" = differential ] && ignored=intercept_memcmp=0 || ignored=
        check "memory sanitizer, $name" env MSAN_OPTIONS="$ignored" build/memory/fuzz/replay_"$name" fuzz/corpus/"$name"
    done
else
    failed+=("memory sanitizer build")
fi

# Valgrind runs one thread at a time and about 30 times slower. The tests of faults leave a stored frame of
# motion detection, which a later test in the same process does not expect.
fast='*:-Threads*:*Speed*:*Large*:*Every*:*Exhaust*:Tool*:Contexts*:Faults*'
if build release viq_tests replay_soak "${targets[@]/#/replay_}"; then
    memcheck=(valgrind --quiet --error-exitcode=9 --leak-check=full --errors-for-leak-kinds=definite)
    for name in "${targets[@]}"; do
        check "valgrind, $name" timeout 3600 "${memcheck[@]}" build/release/fuzz/replay_"$name" fuzz/corpus/"$name"
    done
    check "valgrind, unit tests" timeout 7200 "${memcheck[@]}" build/release/tests/viq_tests \
        --gtest_brief=1 --gtest_filter="$fast"
    check "soak" build/release/fuzz/replay_soak "$operations"
else
    failed+=("release build")
fi

[ ${#failed[@]} -eq 0 ] || printf 'failed: %s\n' "${failed[@]}"
[ ${#failed[@]} -eq 0 ]
