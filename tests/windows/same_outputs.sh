#!/usr/bin/env bash
# Compares the files that two builds of the tool write, also those of the demo, byte by byte; the
# lines of EPS files end as those of the system do. Arguments: the tool of the other system, that of this one, the samples.
set -uo pipefail

other=$(realpath "$1")
own=$(realpath "$2")
samples=$(realpath "$3")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 2
mkdir in
cp "$samples"/{chelsea,camera,paletted}*.bmp in 2> /dev/null
# Names of other alphabets, and a path that starts with a slash and could be an option of Windows.
cp in/chelsea.bmp "in/größe 日本.bmp"

outputs() { # TOOL FOLDER
    local tool=$1 folder=$2 format extension
    mkdir -p "$folder"
    cd "$folder" || exit 2
    for extension in bmp tif tga eps jpg dwt ppm pam raw; do
        "$tool" convert ../in/*.bmp -o "{name}.$extension"
    done
    for format in rgb24 y8 paletted cmyk32 rgb16; do
        "$tool" convert --format "$format" ../in/chelsea.bmp "$format.tif"
    done
    for format in bgr24 rgbx32 xbgr32 rgb16 rgb15 yuv422 rgb8 y16 y8 paletted cmyk32 hsi; do
        "$tool" convert --format "$format" ../in/chelsea.bmp "$format.raw"
    done
    "$tool" convert --scale 333x222 --filter sharpen --lut gamma=180,contrast=120 ../in/chelsea.bmp lut.bmp
    "$tool" convert --lut gamma=45 ../in/camera.bmp gamma.tif
    "$tool" convert --mosaic --demosaic 3 --rotate 90 ../in/chelsea.bmp demosaiced.bmp
    "$tool" convert --bilevel dither "$work/in/camera.bmp" dithered.tif
    "$tool" convert --small --wavelet-quality 20 ../in/chelsea.bmp small.dwt
    "$tool" convert --pseudo --text 'VIQ,10,10' ../in/camera.bmp drawn.bmp
    "$tool" convert small.dwt decoded.bmp
    "$tool" convert chelsea.jpg decoded_jpeg.bmp
    "$tool" compare ../in/chelsea.bmp decoded.bmp > compared.txt
    "$tool" histogram --json ../in/chelsea.bmp > histogram.txt
    for format in rgb24 y8 paletted cmyk32 rgb16; do
        "$tool" print "$format.tif" ../in/camera.bmp --to "$format.pdf" --size 100x --title "$format"
    done
    "$tool" print ../in/chelsea.bmp --to placed.pdf --paper A5 --margin 20 --centre --grey
    "$tool" --write-manual manual
    "$tool" demo --out demo | tr '\\' / > demo.txt
    rm demo/index.html demo/pictures/text.jpg # contain the time
    cd "$work" || exit 2
}

outputs "$own" own 2> own.txt
outputs "$other" other 2> other.txt
sed -i 's/\r$//' other/*.eps other/*.txt other.txt

status=0
diff own.txt other.txt || status=1
count=0
while read -r file; do
    count=$((count + 1))
    cmp "own/$file" "other/$file" || status=1
done < <(cd own && find . -type f)
diff <(cd own && find . -type f | sort) <(cd other && find . -type f | sort) || status=1
[ "$count" -gt 100 ] || { echo "FAILED: only $count files were written"; status=1; }
echo "$count files compared"
exit $status
