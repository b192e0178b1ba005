#!/usr/bin/env bash
# viq view: in the terminal, and in a window of an X server without a screen. Arguments: the tool, the
# source folder.
set -uo pipefail

source "$(dirname "$0")/interop/status_checks.sh"
tool=$(realpath "$1")
source_folder=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 2

# shows EXPECTED ARGUMENT...: what the tool draws, with e for the escape character and # for the
# half block.
shows() {
    local expected=$1
    shift
    expect 0 "$tool" view --terminal "$@"
    output=$(tr -d '\r' <<< "$output" | sed 's/\x1b\[/e/g; s/▀/#/g')
    [ "$output" = "$expected" ] && return
    failures=$((failures + 1))
    printf 'FAILED: view --terminal %s\n  expected:\n%s\n  got:\n%s\n' "$*" "$expected" "$output"
}

# Two colours select a half block; a colour that does not change is not selected again.
printf 'P2 4 4 255  0 10 10 30  40 10 10 70  80 90 100 110  120 130 140 150' > grey.pgm
shows 'e38;2;0;0;0me48;2;40;40;40m#e38;2;10;10;10me48;2;10;10;10m##e38;2;30;30;30me48;2;70;70;70m#e0m
e38;2;80;80;80me48;2;120;120;120m#e38;2;90;90;90me48;2;130;130;130m#e38;2;100;100;100me48;2;140;140;140m#e38;2;110;110;110me48;2;150;150;150m#e0m' grey.pgm
# Means of 2 x 2 pixels; the lower half of the last line has the background of the terminal.
shows 'e38;2;15;15;15me48;2;105;105;105m#e38;2;30;30;30me48;2;125;125;125m#e0m' --columns 2 grey.pgm
printf 'P3 1 3 255  255 0 0  0 255 0  0 0 255' > colour.ppm
shows 'e38;2;255;0;0me48;2;0;255;0m#e0m
e38;2;0;0;255m#e0m' colour.ppm
# 3 columns to 2: the middle one is shared.
printf 'P2 3 1 255  0 90 240' > odd.pgm
shows 'e38;2;30;30;30m#e38;2;190;190;190m#e0m' --columns 2 odd.pgm
# One frame of a film, if standard output is not a terminal.
printf '\x10\x20' > film.raw
shows 'e38;2;16;16;16m#e0m' --raw 1x1,mono8 film.raw
shows 'e38;2;32;32;32m#e0m' --raw 1x1,mono8 --frames 2 film.raw

for frame in 1 2; do
    expect 0 "$tool" convert --raw 1x1,mono8 --frames $frame film.raw $frame.jpg
done
expect 0 "$tool" sequence build film.jpg 1.jpg 2.jpg
shows 'e38;2;16;16;16m#e0m' film.jpg

COLUMNS=3 expect 0 "$tool" view --terminal "$source_folder/samples/camera.bmp"
expect 0 test "$(grep -o '▀' <<< "$output" | wc -l)" -eq 6
expect 2 "$tool" view --terminal nosuch.bmp odd.pgm
both=$output
expect 0 grep -q 'nosuch.bmp: cannot be opened' <<< "$both"
expect 0 grep -q '▀' <<< "$both"
expect 2 "$tool" view --frames 1 odd.pgm
expect 2 "$tool" view --size 0x5 odd.pgm

# A film in a terminal hides the cursor, is drawn in place, and restores what it has changed.
if ! is_for_this_system "$tool"; then
    echo "skipped: a film in a terminal: the tool is for another system"
elif command -v script > /dev/null; then
    expect 0 script -qec "'$tool' view --terminal --fps 1000 --raw 1x1,mono8 film.raw" /dev/null
    played=$(tr -d '\r\n' <<< "$output" | sed 's/\x1b\[/e/g; s/▀/#/g')
    expect 0 test "$played" = \
        'e?25le38;2;16;16;16m#e0me1Ae38;2;32;32;32m#e0me0me?25h'
    # A picture is not higher than the terminal, whose last line is for the next prompt.
    for size in "3 9 2" "9 5 2" "2 9 1"; do
        read -r lines columns drawn <<< "$size"
        expect 0 script -qec "stty rows $lines cols $columns; '$tool' view --terminal grey.pgm" /dev/null
        expect 0 test "$(grep -c '▀' <<< "$output")" -eq "$drawn"
    done
fi

# Programs for another system have no windows of X11.
if ! is_for_this_system "$tool"; then
    echo "skipped: windows of X11: the tool is for another system"
elif [ "$failures" -eq 0 ]; then
    need python3 Xvfb xdotool
    mkdir window
    expect 0 python3 "$source_folder/tests/view/check_view.py" "$tool" "$work/window"
fi

echo "$checks checks, $failures failures"
[ "$failures" -eq 0 ]
