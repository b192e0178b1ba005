#!/usr/bin/env bash
# Prints to files that ghostscript renders, and to printers that refuse; exits with status 77 if
# ghostscript is missing. Arguments: the tool, the source folder.
set -uo pipefail

programs=$(realpath "$(dirname "$0")")/interop
source "$programs/status_checks.sh"
tool=$(realpath "$1")
picture=$(realpath "$2")/samples/coffee.bmp
need gs python3
work=$(mktemp -d)
printer=
trap '[ -z "$printer" ] || kill "$printer"; rm -rf "$work"' EXIT
cd "$work" || exit 2

if is_for_this_system "$tool"; then
    mkdir pages
    cd pages || exit 2
    expect 0 python3 "$programs/printed_pages.py" "$tool"
    cd ..
else
    echo "skipped: pages: a tool for another system writes the same files"
fi

# A document that is not finished leaves no file, and the old one as it was.
for action in abandon destroy exit; do
    [ -n "${VIQ_PRINT_HALF:-}" ] || { echo "skipped: unfinished documents: the tests were built without their program"; break; }
    echo before >half.pdf
    expect 0 "$VIQ_PRINT_HALF" "$action" "" half.pdf
    expect 0 grep -q before half.pdf
    expect 2 ls half.pdf.part*
done
: >broken.bmp
expect 2 "$tool" print "$picture" broken.bmp --to broken.pdf
expect 2 ls broken.pdf

# libcups is loaded at run time, and may be missing.
expect_error() { # TEXT COMMAND...
    expect 2 "${@:2}"
    expect 0 grep -qF "$1" <<<"$output"
}
if ! is_for_this_system "$tool"; then
    echo "skipped: CUPS: the tool is for another system"
elif ! ldconfig -p | grep -F libcups.so.2 >/dev/null; then
    expect_error "No print system" "$tool" print "$picture"
    echo "skipped: printers: libcups is missing"
else
    CUPS_SERVER=127.0.0.1:1 expect_error "Print server: 127.0.0.1: " "$tool" print "$picture"
    expect_error "Printer 'ipp://127.0.0.1:1/x': " "$tool" print "$picture" --printer ipp://127.0.0.1:1/x

    # behaviour of the printer | options | reason; none: the document is printed
    while IFS='|' read -r behaviour options reason; do
        rm -f port
        # shellcheck disable=SC2086 # several words
        python3 "$programs/ipp_printer.py" port $behaviour &
        printer=$!
        until [ -e port ]; do sleep 0.05; done
        command=("$tool" print "$picture" --printer "ipp://127.0.0.1:$(<port)/ipp/print")
        # shellcheck disable=SC2206
        command+=($options)
        if [ -n "$reason" ]; then
            expect_error "$reason" "${command[@]}"
        else
            expect 0 "${command[@]}"
        fi
        kill "$printer"
        wait "$printer" 2>/dev/null
        printer=
    done <<'END'
printer-is-accepting-jobs=true||
printer-is-accepting-jobs=false||does not accept jobs
document-format-supported=image/jpeg||does not accept PDF documents
copies-supported=2|--copies 2|
copies-supported=2|--copies 3|does not make so many copies
media-supported=iso_a4_210x297mm|--paper a4|
media-supported=iso_a4_210x297mm|--paper Legal|does not have this paper
media-supported=iso_a4_210x297mm|--paper 50x60|
media-supported=iso_a4_210x297mm|--paper 50x60 --grey|
media-default=iso_a5_148x210mm|--size 195x|does not fit on the paper
media-default=A5|--size 195x|does not fit on the paper
media-default=unheard-of|--size 195x|
operations-supported=2||
operations-supported=5||Printer 'ipp:
reject=Tray-empty||Tray-empty
operations-supported=5 reject=Tray-empty||Tray-empty
refuse=Out-of-order||Out-of-order
missing=1||Not Found
missing=2||Not Found
operations-supported=5 missing=2||Not Found
silent=1||Printer 'ipp:
silent=2||Printer 'ipp:
operations-supported=5 silent=2||Printer 'ipp:
END

    # address | reason
    while IFS='|' read -r address reason; do
        expect_error "$reason" "$tool" print "$picture" --printer "$address"
    done <<END
ipps://127.0.0.1:1/x|Printer 'ipps://127.0.0.1:1/x': 
https://127.0.0.1:1/x|Printer 'https://127.0.0.1:1/x': 
ipp://127.0.0.1:port/x|invalid address
ipp://127.0.0.1:1/$(printf 'x%.0s' {1..1100})|name too long
END

    # A library that cannot be loaded, and another one in its place.
    mkdir libraries
    for contents in /dev/null "$(ldconfig -p | sed -n 's/.*libm\.so\.6 .*=> //p' | head -n 1)"; do
        cp "$contents" libraries/libcups.so.2
        expect_error "No print system" env LD_LIBRARY_PATH="$work/libraries" "$tool" print "$picture"
        expect_error "No print system" env LD_LIBRARY_PATH="$work/libraries" "$tool" print --list
    done
fi

echo "$((checks - failures)) passed, $failures failed"
[ "$failures" -eq 0 ]
