#!/usr/bin/env bash
# Checks what the files of a Windows build contain besides code, and that the installed export list
# is enough for another compiler to link with the library.
# Arguments: objdump, the folder of the build, the source folder, the emulator.
set -uo pipefail

objdump=$1
build=$2
source=$3
emulator=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0

fail() {
    echo "FAILED: $*"
    status=1
}

# The version in numbers (after the signature of the resource) and as text.
check_version() { # FILE
    python3 - "$1" <<'END' || fail "$1: version resource"
import struct, sys
data = open(sys.argv[1], 'rb').read()
at = data.find(struct.pack('<II', 0xFEEF04BD, 0x10000))
text = 'FileVersion\0'.encode('utf-16-le')
assert at > 0 and struct.unpack('<4I', data[at + 8:at + 24]) == (0x40002, 6, 0x40002, 6)
assert '4.2.0.6'.encode('utf-16-le') in data[data.find(text):][:64]
END
}

check_stripped() { # FILE
    [[ $("$objdump" -t "$1") == *"no symbols"* ]] || fail "$1: has symbols"
    [[ $("$objdump" -h "$1") != *.debug* ]] || fail "$1: has debugging information"
}

has_large_addresses() { # FILE
    [[ $("$objdump" -p "$1") == *"large address aware"* ]]
}

cmake --install "$build" --prefix "$work" >"$work/install.log" || fail "$(cat "$work/install.log")"
cd "$work" || exit 2
for file in bin/viq.exe bin/*viq.dll; do
    check_version "$file"
    check_stripped "$file"
done
has_large_addresses bin/viq.exe || fail "the tool is limited to 2 GiB"

# An import library from the export list alone, and a program of another compiler whose functions
# are __stdcall unless they are declared otherwise.
i686-w64-mingw32-dlltool -d lib/viq.def -D "$(basename bin/*viq.dll)" -l imports.lib ||
    fail "dlltool rejects the export list"
compiler=(clang --target=i686-w64-mingw32)
command -v clang >/dev/null || {
    echo "skipped: clang is missing; gcc tries the export list"
    compiler=(i686-w64-mingw32-gcc-posix "-Dmain=__cdecl main")
}
"${compiler[@]}" -DVIQ_DLL -mrtd -Iinclude -c "$source/examples/error_handler.c" -o program.o &&
    i686-w64-mingw32-gcc-posix program.o imports.lib -o program.exe ||
    fail "the export list does not link"
cp bin/*viq.dll .
"$emulator" ./program.exe missing.bmp "$source/samples/chelsea.bmp" >output.txt
grep -q 'missing.bmp: error 0x.*' output.txt && grep -q 'chelsea.bmp: 451 x 300' output.txt ||
    fail "a program of another compiler: $(cat output.txt)"
exit $status
