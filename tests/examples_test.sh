#!/usr/bin/env bash
# Runs the examples in C and compares what they write with the results of the tool.
# Arguments: the tool, the source folder. VIQ_EXAMPLES: the folder of the programs.
set -euo pipefail

tool=$(realpath "$1")
samples=$(realpath "$2/samples")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
cp "$samples"/*.bmp .

fail() {
    echo "FAILED: $*"
    exit 1
}

example() { # NAME ARGUMENT...
    "$VIQ_EXAMPLES/$1" "${@:2}" > "$1.log" 2>&1 || fail "$*: $(cat "$1.log")"
}

rejects() { # NAME ARGUMENT...
    ! "$VIQ_EXAMPLES/$1" "${@:2}" > "$1.log" 2>&1 || fail "$*: no error"
}

similar() { # OPTION VALUE FILE FILE
    "$tool" compare "$@" > compare.log || fail "$3: $(cat compare.log)"
}

find "$samples"/../examples -name '*.c' -o -name '*.cpp' -o -name '*.py' ! -name viq_cluster.py |
    while read -r file; do
        [ "$(wc -l < "$file")" -lt 60 ] || fail "$file has more lines than a reader wants to read"
    done

example first_steps coffee.bmp grey.bmp
"$tool" convert --format y8 coffee.bmp expected.bmp
similar --tolerance 0 grey.bmp expected.bmp

# Also a grey picture with a palette, and in less memory than the picture takes.
for picture in astronaut camera; do
    example large_picture $picture.bmp half.bmp
    "$tool" convert --scale 50% $picture.bmp expected.bmp
    similar --tolerance 0 half.bmp expected.bmp
done
if (ulimit -v 60000 && "$tool" --help > /dev/null) 2> /dev/null; then
    { printf 'BM\0\0\0\0\0\0\0\0\66\0\0\0\50\0\0\0\20\47\0\0\350\3\0\0\1\0\30\0'
      head -c 24 /dev/zero; } > large.bmp
    truncate -s $((54 + 10000 * 3000 * 3)) large.bmp
    printf '\270\13\0\0' | dd of=large.bmp bs=1 seek=22 conv=notrunc status=none
    (ulimit -v 60000 && example large_picture large.bmp half.bmp)
    "$tool" info half.bmp | grep '5000 x 1500' > log || fail "size of the halved large picture"
    rm large.bmp half.bmp
else
    echo "skipped: a picture larger than memory: programs do not start with 60 MB of address space"
fi

example record_sequence 3 film.jpg
"$tool" sequence info film.jpg | grep '640 x 480, 3 frames' > log || fail "frames of film.jpg"

# In front of the bare screen the background is all that remains, in YUV 4:2:2.
{ printf 'P6 600 400 255\n'; printf '\32\56\252%.0s' $(seq 240000); } > screen.ppm
"$tool" convert screen.ppm screen.bmp
example chroma_key screen.bmp screen.bmp chelsea.bmp keyed.bmp
"$tool" convert --scale 600x400 chelsea.bmp expected.bmp
similar --min-psnr 30 keyed.bmp expected.bmp

rejects error_handler coffee.bmp missing.bmp
sed -i 's/\r$//' error_handler.log # lines end as those of the program's system do
grep -q '^coffee.bmp: 600 x 400$' error_handler.log || fail "no size of coffee.bmp"
grep -q '^missing.bmp: error 0x10090000, .*: Failed to open file$' error_handler.log ||
    fail "no report about missing.bmp"

example four_threads astronaut.bmp camera.bmp chelsea.bmp coffee.bmp
for picture in astronaut camera chelsea coffee; do
    similar --min-psnr 25 $picture.bmp $picture.bmp.jpg
done

# The white balance does not change a grey scene.
"$tool" convert --mosaic camera.bmp frame.raw
example camera_frame BayerRG8 512 512 frame.raw developed.jpg
similar --min-psnr 25 developed.jpg camera.bmp
rejects camera_frame BayerRG8 512 513 frame.raw short.jpg
rejects camera_frame Mono8 512 512 frame.raw grey.jpg

for name in first_steps large_picture record_sequence four_threads; do
    rejects $name missing.bmp missing/out.jpg
done
