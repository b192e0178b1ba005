# Shared by the script tests: the programs that they need, and checks of exit statuses.

checks=0
failures=0

need() { # PROGRAM...
    local program
    for program in "$@"; do
        command -v "$program" > /dev/null || { echo "skipped: $program is missing"; exit 77; }
    done
}

# Sets `magick` to ImageMagick's program, which has several names.
need_imagemagick() {
    for magick in magick /usr/bin/convert convert ''; do
        [ -n "$magick" ] || { echo "skipped: ImageMagick is missing"; exit 77; }
        "$magick" -version 2> /dev/null | grep -q ImageMagick && break
    done
}

# A program for another system is started by a script.
is_for_this_system() { # PROGRAM
    head -c 4 "$1" | grep -q ELF
}

# For tests of what the tool writes: tests/windows/same_outputs.sh compares the files of two systems.
need_own_system() { # PROGRAM
    is_for_this_system "$1" || { echo "skipped: a tool for another system writes the same files"; exit 77; }
}

# Sets `output` to what the command has printed.
expect() { # STATUS COMMAND...
    local status=$1 got
    shift
    output=$("$@" 2>&1)
    got=$?
    checks=$((checks + 1))
    if [ "$got" -ne "$status" ]; then
        failures=$((failures + 1))
        printf 'FAILED: %s\n  expected status %s, got %s and:\n%s\n' "$*" "$status" "$got" "$output"
    fi
}
