#!/usr/bin/env bash
# Exchanges TIFF, TGA and EPS files with libtiff, netpbm, ImageMagick and Ghostscript; exits with status
# 77 if one of them is missing. Arguments: the tool, the source folder.
set -uo pipefail

source "$(dirname "$0")/interop/status_checks.sh"
tool=$(realpath "$1")
samples=$(realpath "$2")/samples
need tiffinfo tiffcp gs pnmtotiff pamtotiff tgatoppm ppmtotga pgmtopbm bmptopnm
need_imagemagick
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 2
cp "$samples"/*.bmp .

check() { # NAME COMMAND...
    local name=$1
    shift
    checks=$((checks + 1))
    "$@" > output.txt 2>&1 && return
    failures=$((failures + 1))
    echo "FAILED: $name: $*"
    cat output.txt
}

same() { # A B: the pixels of two files, as ImageMagick reads them
    cmp <("$magick" "$1" -depth 16 rgb:-) <("$magick" "$2" -depth 16 rgb:-)
}

equal() { "$tool" compare "$1" "$2"; }

to_bmp() { # IN [OPTION...] OUT: 24 bits, as ImageMagick reads it
    "$magick" "${@:1:$#-1}" -alpha off -type TrueColor -compress none "BMP3:${!#}"
}

quiet() { # tiffinfo without a warning
    local said
    said=$(tiffinfo "$1" 2>&1 > /dev/null)
    [ -z "$said" ] || { echo "$said"; return 1; }
}

# The inputs are whole photographs and small pictures of odd width.
to_bmp chelsea.bmp -crop 39x17+100+50 +repage small.bmp
"$magick" small.bmp -colorspace Gray -depth 8 grey.pgm
pgmtopbm -threshold grey.pgm > bits.pbm

# ---- TIFF files written by the library, in each of its six formats

check "rgb24" "$tool" convert chelsea.bmp rgb24.tif
check "y8" "$tool" convert --format y8 chelsea.bmp y8.tif
check "y8 for comparison" "$tool" convert --format y8 chelsea.bmp y8.bmp
check "y16" "$tool" convert --format y16 camera.bmp y16.tif
check "paletted" "$tool" convert --format paletted chelsea.bmp paletted.tif
check "paletted for comparison" "$tool" convert --format paletted chelsea.bmp paletted.bmp
check "cmyk32" "$tool" convert --format cmyk32 chelsea.bmp cmyk32.tif
pnmtotiff -none bits.pbm > bits_in.tif 2> /dev/null
check "y1" "$tool" convert bits_in.tif y1.tif
for format in rgb24 y8 y16 paletted cmyk32 y1; do
    check "tiffinfo $format" quiet "$format.tif"
    check "tiffcp $format" tiffcp -c none "$format.tif" copy.tif
done
check "pixels of rgb24" same rgb24.tif chelsea.bmp
check "pixels of y8" same y8.tif y8.bmp
check "pixels of paletted" same paletted.tif paletted.bmp
check "pixels of y1" same y1.tif bits.pbm
# An 8-bit grey value becomes the upper byte of the 16-bit one.
"$magick" y16.tif -depth 16 gray:- | od -An -v -tu2 -w2 --endian=little | awk '{ print $1 / 256 }' > y16.txt
"$magick" camera.bmp -depth 8 gray:- | od -An -v -tu1 -w1 | awk '{ print $1 + 0 }' > camera.txt
check "pixels of y16" cmp y16.txt camera.txt
"$magick" cmyk32.tif -depth 8 cmyk:- | od -An -v -tu1 -w4 |
    awk '{ print 255 - $1, 255 - $2, 255 - $3, $4 }' > cmyk.txt
"$magick" paletted.bmp -depth 8 rgb:- | od -An -v -tu1 -w3 | awk '{ print $1 + 0, $2 + 0, $3 + 0, 0 }' > rgb.txt
check "pixels of cmyk32" cmp cmyk.txt rgb.txt

# ---- TIFF that other programs write

for order in -B -L; do
    for rows in 1 4 1000; do
        for format in rgb24 y8 paletted y1; do
            check "tiffcp $order $rows $format" tiffcp -c none "$order" -r "$rows" "$format.tif" in.tif
            check "reading $format $order $rows" equal "$format.tif" in.tif
        done
    done
done
check "tiffcp 16 bits" tiffcp -c none -B -r 3 y16.tif in.tif
check "reading 16 bits" equal y16.tif in.tif
for endian in msb lsb; do
    for name in small.bmp grey.pgm bits.pbm; do
        "$magick" "$name" -compress none -define tiff:endian=$endian in.tif
        to_bmp "$name" expected.bmp
        check "ImageMagick $name $endian" equal in.tif expected.bmp
    done
    "$magick" small.bmp +dither -colors 16 -type Palette -depth 4 -compress none \
        -define tiff:endian=$endian four.tif
    to_bmp four.tif expected.bmp
    check "four bits" grep -q "Bits/Sample: 4" <(tiffinfo four.tif)
    check "ImageMagick 4 bits $endian" equal four.tif expected.bmp
done
bmptopnm small.bmp > small.ppm 2> /dev/null
for name in small.ppm grey.pgm; do
    pamtotiff -none -truecolor "$name" > in.tif 2> /dev/null || pamtotiff -none "$name" > in.tif 2> /dev/null
    to_bmp "$name" expected.bmp
    check "netpbm $name" equal in.tif expected.bmp
done
"$magick" small.bmp +dither -colors 64 ppm:- | pamtotiff -none -indexbits=8 > in.tif 2> /dev/null
check "at most 64 colours" grep -q "Photometric Interpretation: palette" <(tiffinfo in.tif)
to_bmp in.tif expected.bmp
check "netpbm palette" equal in.tif expected.bmp

# ---- TGA written and read, with odd widths

for name in small.bmp coffee.bmp y8.bmp; do
    check "writing TGA" "$tool" convert "$name" out.tga
    check "ImageMagick reads $name" same out.tga "$name"
    tgatoppm out.tga 2> /dev/null > out.ppm
    check "netpbm reads $name" same out.ppm "$name"
    "$magick" "$name" -compress none -orient TopLeft in.tga
    check "reading ImageMagick's $name" equal in.tga "$name"
    "$magick" "$name" ppm:- | ppmtotga -rgb -norle > in.tga 2> /dev/null
    check "reading netpbm's $name" equal in.tga "$name" # bottom line first
done
check "writing 15 bits" "$tool" convert --format rgb15 small.bmp words.tga
check "ImageMagick reads 15 bits" to_bmp words.tga words.bmp
check "the same to both" "$tool" compare --tolerance 7 words.tga words.bmp

# ---- EPS as Ghostscript renders it

# Renders a page, crops it to the bounding box, which the picture fills, and samples it at the centre
# of each pixel. Landscape pictures are rotated back.
render() { # EPS OUT WIDTH HEIGHT
    local box
    read -r -a box < <(sed -n 's/^%%BoundingBox: //p' "$1")
    local turn=()
    local width=$3 height=$4
    [ "$3" -gt "$4" ] && turn=(-rotate 90) && width=$4 && height=$3
    gs -q -dBATCH -dNOPAUSE -dSAFER -sDEVICE=ppmraw -r72 -g612x792 -sOutputFile=page.ppm "$1" || return 1
    to_bmp page.ppm -crop "$((box[2] - box[0]))x$((box[3] - box[1]))+${box[0]}+$((792 - box[3]))" \
        +repage -sample "${width}x${height}!" "${turn[@]}" "$2"
}
for size in 58x80 80x58 40x40 20x72 72x20; do
    to_bmp coffee.bmp -crop "${size}+250+100" +repage part.bmp
    "$magick" part.bmp -colorspace Gray -depth 8 ppm:- | ppmtopgm > part.pgm
    pgmtopbm -threshold part.pgm | pnmtotiff -none > part.tif 2> /dev/null
    to_bmp part.tif part_bits.bmp
    to_bmp part.pgm part_grey.bmp
    for kind in part.bmp part_grey.bmp part_bits.bmp; do
        source=$kind
        extra=()
        [ "$kind" = part_bits.bmp ] && source=part.tif
        [ "$kind" = part_grey.bmp ] && extra=(--format y8)
        check "writing EPS $size $kind" "$tool" convert "${extra[@]}" "$source" out.eps
        check "rendering $size $kind" render out.eps out.bmp "${size%x*}" "${size#*x}"
        check "comparing $size $kind" "$tool" compare --tolerance 2 out.bmp "$kind"
        check "reading $size $kind" equal out.eps "$kind"
    done
done

echo "$((checks - failures)) passed, $failures failed"
[ "$failures" -eq 0 ]
