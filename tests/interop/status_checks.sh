# Shared by the script tests: the programs that they need, and checks of exit statuses.

checks=0
failures=0

need() { # PROGRAM...
    local program
    for program in "$@"; do
        command -v "$program" > /dev/null || { echo "skipped: $program is missing"; exit 77; }
    done
}

expect() { # STATUS COMMAND...
    local status=$1 output got
    shift
    output=$("$@" 2>&1)
    got=$?
    checks=$((checks + 1))
    if [ "$got" -ne "$status" ]; then
        failures=$((failures + 1))
        printf 'FAILED: %s\n  expected status %s, got %s and:\n%s\n' "$*" "$status" "$got" "$output"
    fi
}
