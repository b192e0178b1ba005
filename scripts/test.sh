#!/usr/bin/env bash
# Everything that must hold before a change is shared: formatting, the tests in the release build
# and under the sanitizers, and the build for 32-bit Windows.
set -uo pipefail
cd "$(dirname "$0")/.."

passed=0
failed=0

check() { # NAME COMMAND...
    local name=$1
    shift
    echo "== $name"
    if "$@"; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        echo "FAILED: $name"
    fi
}

build() { # PRESET
    cmake --preset "$1" >build/"$1".log 2>&1 || { cat build/"$1".log; return 1; }
    cmake --build --preset "$1"
}

run_tests() { # PRESET
    local log=build/$1-tests.log summary
    ctest --preset "$1" | tee "$log"
    summary=$(grep -E '^[0-9]+% tests passed' "$log") || { failed=$((failed + 1)); return; }
    # "97% tests passed, 1 tests failed out of 34"
    local wrong all
    wrong=$(awk '{ print $4 }' <<<"$summary")
    all=$(awk '{ print $NF }' <<<"$summary")
    passed=$((passed + all - wrong))
    failed=$((failed + wrong))
}

formatting() {
    find . -path ./build -prune -o \( -name '*.cpp' -o -name '*.h' -o -name '*.c' \) -print |
        xargs clang-format --dry-run -Werror
}

bash scripts/setup.sh || exit 1
mkdir -p build

check "formatting" formatting
for preset in release asan; do
    check "$preset build" build $preset
    run_tests $preset
done
check "windows build" build windows
if command -v wine >/dev/null; then
    run_tests windows
fi

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
