#!/usr/bin/env bash
# Decodes wavelet files with a decoder that was written from the manual's description of the stream.
# Arguments: the tool, the source folder.
set -euo pipefail

source "$(dirname "$0")/interop/status_checks.sh"
tool=$(realpath "$1")
need python3
need_own_system "$tool"
source=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

compare() { # NAME FORMAT
    "$tool" convert --format "$2" "$1.dwt" "$1.raw" 2> notes
    python3 "$source/tests/interop/wavelet_decoder.py" "$1.dwt" "$1.planes"
    python3 - "$@" << 'END'
import sys
name, pixel_format = sys.argv[1:]
expected = open(name + ".raw", "rb").read()
if pixel_format == "yuv422":
    expected = expected[0::2] + expected[1::4] + expected[3::4]
if open(name + ".planes", "rb").read() != expected:
    sys.exit(f"FAILED: {name}")
END
}

# Sides that are odd, too short to transform, and of several packets.
"$tool" convert --crop 100,60,97,61 "$source/samples/camera.bmp" grey.bmp
"$tool" convert --crop 100,60,98,75 "$source/samples/chelsea.bmp" colour.bmp
"$tool" convert --crop 0,0,4,3 "$source/samples/camera.bmp" tiny.bmp
"$tool" convert --crop 0,0,450,300 "$source/samples/camera.bmp" large.bmp
for coding in '' --small; do
    for quality in 20 75 400; do
        for picture in grey colour tiny; do
            name=$picture$quality$coding
            "$tool" convert $coding --wavelet-quality $quality $picture.bmp "$name.dwt"
            compare "$name" "$([ $picture = colour ] && echo yuv422 || echo y8)"
        done
    done
    "$tool" convert $coding large.bmp "large$coding.dwt"
    compare "large$coding" y8
done
