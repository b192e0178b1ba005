#!/usr/bin/env bash
# Compares the man pages and the completion of commands with the help of the tool, and the man pages of
# functions with the headers. Arguments: the tool, the source folder.
set -euo pipefail

source "$(dirname "$0")/interop/status_checks.sh"
tool=$(realpath "$1")
source=$(realpath "$2")
need_own_system "$tool"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

fail() {
    echo "FAILED: $*"
    exit 1
}

# The subcommands and the options that a help text lists.
subcommands() { "$tool" "$@" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z-]*\) .*/\1/p'; }
options() { "$tool" "$@" --help | sed -nE 's/^  (-[a-zA-Z],)?(--[a-z-]+).*/\2/p'; }

# What bash offers for the last of the words, in COMPREPLY.
complete_words() {
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    COMPREPLY=()
    _viq
}
offers() { # WORD WORDS...
    local word=$1
    shift
    complete_words "$@"
    [[ " ${COMPREPLY[*]} " == *" $word "* ]] || fail "completion of '$*' lacks $word"
}

"$tool" --write-manual manual
source manual/bash/viq

check_command() { # PAGE WORDS...
    local page=$1 option part
    shift
    for option in $(options "$@"); do
        grep -qF -- "${option//-/\\-}" "manual/man1/$page.1" || fail "$page lacks $option"
        offers "$option" viq "$@" --
        grep -qF -- "'*$option[" manual/zsh/_viq || fail "zsh lacks $option"
    done
    for part in $(subcommands "$@"); do
        offers "$part" viq "$@" ''
        if [ "$page" = viq ]; then
            check_command "viq-$part" "$@" "$part"
        else
            check_command "$page" "$@" "$part"
        fi
    done
}
check_command viq
[ "$(subcommands | wc -l)" -ge 8 ] || fail "commands of the tool"
[ "$(find manual/man1 -name '*.1' | wc -l)" -eq $(($(subcommands | wc -l) + 1)) ] || fail "pages"

offers yuv422 viq convert --format yu
complete_words viq convert --format y1
[ "${COMPREPLY[*]}" = y16 ] || fail "values of --format"
touch picture.bmp
offers picture.bmp viq convert --mirror pic
offers picture.bmp viq convert -o pic
complete_words viq convert --quality ''
[ ${#COMPREPLY[@]} -eq 0 ] || fail "files are offered for a number"

"$tool" --write-manual "/dev/null/folder" 2> message && fail "a folder that cannot be made"
grep -q '^viq: /dev/null/folder' message || fail "message: $(cat message)"

# Every function has a page with all arguments and errors that its comment describes.
if command -v python3 > /dev/null; then
    python3 -B "$source/scripts/manual/function_pages.py" "$source/include" manual/man3 1.2.3
    while read -r name; do
        grep -q "^\\\\fB.*\\b$name(" "manual/man3/$name.3" || fail "$name(3)"
    done < <(sed -nE 's/^ *VIQ_API [^(]*\b(\w+)\(.*/\1/p' "$source"/include/viq/*.h)
    count() { cat "${@:2}" | grep -cE "$1"; }
    headers=$(find "$source/include/viq" -name '*.h' ! -name types.h)
    [ "$(count '^ \* @param' $headers)" = "$(count '^\.I ' manual/man3/*)" ] || fail "arguments"
    [ "$(count '^ \* @par ' $headers)" = "$(count '^\.SH ERRORS' manual/man3/*)" ] || fail "errors"
    grep -q '^\.BR VIQ_draw_text (3)$' manual/man3/viq_draw.3 || fail "viq_draw(3) lacks a function"
    grep -q '"Invalid background mode"' manual/man3/VIQ_draw_text.3 || fail "a message is missing"
    ! grep -n '@[a-z]' manual/man3/*.3 || fail "a command of doxygen is left"
else
    echo "skipped: man pages of functions: python3 is missing"
fi

if command -v mandoc > /dev/null; then
    mandoc -T lint -W warning manual/man*/*.[13] | grep -v 'missing date' > lint && fail "$(cat lint)"
else
    echo "skipped: mandoc is missing"
fi
if command -v zsh > /dev/null; then
    zsh -n manual/zsh/_viq || fail "zsh: syntax"
    zsh -f -c 'autoload -Uz compinit; fpath=(manual/zsh $fpath); compinit -D -u
               [ "$_comps[viq]" = _viq ] && autoload +X _viq' || fail "zsh: loading"
else
    echo "skipped: zsh is missing"
fi
