#!/usr/bin/env bash
# Pictures that pass through memory in strips: the result is the same for every number of lines per
# strip, and large pictures take little memory. Arguments: the tool, the source folder.
set -uo pipefail

source "$(dirname "$0")/interop/status_checks.sh"
tool=$(realpath "$1")
photo=$(realpath "$2")/samples/chelsea.bmp
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 2

# Results for every strip height equal those of the whole picture.
same_for_every_strip() { # IN OUT-EXTENSION OPTIONS...
    local in=$1 extension=$2 lines
    shift 2
    expect 0 "$tool" convert --strip 16777216 "$@" "$in" "whole.$extension"
    for lines in 1 2 3 7 8 13 64; do
        expect 0 "$tool" convert --strip $lines "$@" "$in" "strips.$extension"
        expect 0 cmp "whole.$extension" "strips.$extension"
    done
}

steps=(
    ""
    "--crop 5,9,40,31"
    "--scale 50%"
    "--scale 150%"
    "--scale 3x2"
    "--scale 200x1"
    "--filter blur"
    "--filter 1,-2,3,0,5,0,-1,2,-3"
    "--mirror"
    "--flip"
    "--rotate 180"
    "--lut gamma=180,contrast=130"
    "--threshold 60,190"
    "--crop 3,2,60,50 --scale 77x33 --filter sharpen --mirror --rotate 180 --lut brightness=120"
    "--crop 1,1,70,70 --flip --crop 2,3,50,40 --filter edge --filter blur --scale 30% --scale 200%"
    "--format yuv422"
)
expect 0 "$tool" convert --crop 100,60,83,71 "$photo" colour.bmp
expect 0 "$tool" convert --crop 90,80,61,90 --format y8 "$photo" grey.bmp
for step in "${steps[@]}"; do
    read -ra options <<< "$step"
    same_for_every_strip colour.bmp bmp ${options[@]+"${options[@]}"}
done
for kind in tif tga jpg; do
    expect 0 "$tool" convert colour.bmp "colour.$kind"
    expect 0 "$tool" convert grey.bmp "grey.$kind"
    same_for_every_strip "colour.$kind" jpg
    same_for_every_strip "colour.$kind" "$kind" --flip --filter blur --scale 70%
    same_for_every_strip "grey.$kind" jpg --filter edge --crop 1,2,44,55
    same_for_every_strip "colour.$kind" tif --format paletted --mirror
done

# The tool's own results, by other ways: two half turns, and a mirrored and turned picture.
expect 0 "$tool" convert --rotate 180 --rotate 180 colour.bmp turned.bmp
expect 0 cmp colour.bmp turned.bmp
expect 0 "$tool" convert --flip --mirror colour.bmp flipped.bmp
expect 0 "$tool" convert --rotate 180 colour.bmp turned.bmp
expect 0 cmp flipped.bmp turned.bmp
expect 0 "$tool" convert --rotate 90 --rotate 90 colour.bmp turned.bmp
expect 0 cmp flipped.bmp turned.bmp

# A picture of 90 MB takes at most 64 MiB of memory.
peak_memory() { # COMMAND...: KiB of the largest resident set
    python3 -c 'import resource, subprocess, sys
status = subprocess.run(sys.argv[1:]).returncode
print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss if status == 0 else 1 << 30)' "$@"
}

fits() { # OPTIONS... IN OUT
    local memory
    memory=$(peak_memory "$tool" convert "$@")
    [ "$memory" -le 65536 ] || printf '%s KiB: %s\n' "$memory" "$*"
    [ "$memory" -le 65536 ]
}

if command -v python3 > /dev/null && ! grep -q __asan_init "$tool"; then
    expect 0 "$tool" convert --scale 6000x5000 "$photo" large.bmp
    expect 0 fits large.bmp large.jpg
    expect 0 fits large.jpg out.bmp
    expect 0 fits large.bmp out.tif
    expect 0 fits --crop 100,100,5000,4000 large.bmp out.bmp
    expect 0 fits --scale 50% large.bmp out.bmp
    expect 0 fits --scale 150% large.bmp out.jpg
    expect 0 fits --filter blur large.bmp out.bmp
    expect 0 fits --mirror large.bmp out.bmp
    expect 0 fits --flip large.bmp out.bmp
    expect 0 fits --rotate 180 large.jpg out.jpg
    expect 0 fits --format y8 large.bmp out.bmp
else
    echo "skipped: memory: python3 is missing, or the sanitizers take memory"
fi

echo "$checks checks, $failures failures"
[ "$failures" -eq 0 ]
