#!/usr/bin/env bash
# Files of other programs: PNG, PNM, PAM, and the TIFF files that libtiff reads for the tool. Exits
# with status 77 if a program is missing. Arguments: the tool, the source folder.
set -uo pipefail

source "$(dirname "$0")/interop/status_checks.sh"
tool=$(realpath "$1")
samples=$(realpath "$2")/samples
need convert identify tiffcp tiffinfo pnmtoplainpnm pamdepth ppmtopgm
libraries=$("$tool" --version | sed -n 's/^other libraries: //p')
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 2

same() { # A B: the pixels of two files as ImageMagick reads them, with all their bits
    [ "$(identify -format '%w %h' "$1")" = "$(identify -format '%w %h' "$2")" ] &&
        cmp <(convert "$1" -alpha off -depth 16 rgb:-) <(convert "$2" -alpha off -depth 16 rgb:-)
}

equal() { "$tool" compare "$@"; }

reads() { # FILE REFERENCE: the tool's decoding equals a PNM file, and survives each lossless kind
    expect 0 equal "$1" "$2"
    for kind in $kinds; do
        expect 0 "$tool" convert "$1" "out.$kind"
        expect 0 equal "$2" "out.$kind"
        [ "$kind" = raw ] || expect 0 same "out.$kind" "$2"
    done
}

convert "$samples/chelsea.bmp" -crop 39x17+100+50 +repage colour.ppm
convert colour.ppm -colorspace Gray -depth 8 grey.pgm
convert colour.ppm -colorspace Gray -resize 41x19 -depth 16 deep.pgm
convert grey.pgm -threshold 50% bits.pbm

# ---- PNM and PAM

kinds="pnm pam"
for name in colour.ppm grey.pgm deep.pgm; do
    reads "$name" "$name"
    pnmtoplainpnm "$name" > plain.pnm
    expect 0 equal plain.pnm "$name"
done
expect 0 "$tool" convert bits.pbm out.pbm
expect 2 "$tool" convert colour.ppm out.pbm
pnmtoplainpnm bits.pbm > plain.pbm
expect 0 equal plain.pbm bits.pbm
pamdepth 15 colour.ppm > fifteen.ppm 2> /dev/null
convert fifteen.ppm -depth 8 eight.ppm
expect 0 equal fifteen.ppm eight.ppm
convert colour.ppm -alpha set -channel A -evaluate set 40% alpha.pam
expect 0 equal alpha.pam colour.ppm
expect 0 grep -q "the alpha channel is dropped" <("$tool" convert alpha.pam out.bmp 2>&1)

# Damaged headers and missing data are rejected.
head -c 500 colour.ppm > cut.ppm
printf 'P5 0 5 255\n' > zero.pgm
printf 'P5 5 5 70000\n' > large.pgm
printf 'P5 99999999999 5 255\n' > wide.pgm
printf 'P2 2 1 15\n3 16\n' > above.pgm
printf 'P2 2 1 15\n3 x\n' > letter.pgm
printf 'P7\nWIDTH 2\nHEIGHT 1\nDEPTH 9\nMAXVAL 255\nENDHDR\n' > deep.pam
printf 'P7\nWIDTH 2\n' > short.pam
printf 'P6' > tiny.ppm
printf 'P5 5 0 255\n' > low.pgm
printf 'P5 1 1 0\n1' > black.pgm
printf 'P5 1 1 # a comment without an end' > comment.pgm
printf 'P7\nWIDTH 1\nHEIGHT 1\nDEPTH 0\nMAXVAL 255\nENDHDR\n1' > flat.pam
printf 'P7\nWIDTH 1\nTUPLTYPE GREY' > type.pam
for name in cut.ppm zero.pgm large.pgm wide.pgm above.pgm letter.pgm deep.pam short.pam tiny.ppm low.pgm black.pgm \
    comment.pgm flat.pam type.pam; do
    expect 2 "$tool" convert "$name" out.bmp
done

# ---- PNG

if [[ $libraries == *libpng* ]]; then
    kinds="png"
    for name in colour.ppm grey.pgm deep.pgm; do
        for interlace in none plane; do
            convert "$name" -interlace $interlace in.png
            reads in.png "$name"
        done
    done
    for depth in 1 2 4; do
        convert grey.pgm -depth $depth -define png:color-type=0 -define png:bit-depth=$depth in.png
        convert in.png -depth 8 reference.pgm
        reads in.png reference.pgm
    done
    convert colour.ppm +dither -colors 16 palette.ppm
    convert palette.ppm -define png:color-type=3 in.png
    reads in.png palette.ppm
    convert colour.ppm -depth 16 -resize 200% -define png:bit-depth=16 deep.png
    convert deep.png -depth 8 reference.ppm
    expect 0 equal --tolerance 1 deep.png reference.ppm
    expect 0 grep -q "reduced to 8" <("$tool" convert deep.png out.bmp 2>&1)
    convert alpha.pam alpha.png
    expect 0 equal alpha.png colour.ppm
    expect 0 grep -q "the alpha channel is dropped" <("$tool" info alpha.png)
    expect 0 grep -q "read by libpng" <("$tool" info alpha.png)
    expect 0 "$tool" convert --bilevel 128 grey.pgm bits.png
    expect 0 grep -q "^1$" <(identify -format '%[png:IHDR.bit-depth-orig]\n' bits.png)
    "$tool" convert --bilevel 128 grey.pgm reference.pbm
    expect 0 same bits.png reference.pbm
    printf '\x12\x0f\x34\x02' > twelve.raw
    expect 0 "$tool" convert --raw 2x1,mono12 twelve.raw in.png
    expect 0 "$tool" convert --raw 2x1,mono12 twelve.raw reference.pgm
    expect 0 same in.png reference.pgm
    head -c 1000 deep.png > cut.png
    expect 2 "$tool" convert cut.png out.bmp
    head -c 20 deep.png > cut.png
    expect 2 "$tool" info cut.png
else
    echo "skipped: PNG: the tool was built without libpng"
    printf '\x89PNG\r\n\x1a\n' > any.png
    expect 2 "$tool" info any.png
fi

# ---- TIFF

# Samples of 12 bits are written with 16, which all programs read in the same way; what the library reduces or
# drops is named.
convert deep.pgm -depth 12 -compress none twelve.tif
expect 0 "$tool" convert twelve.tif out.tif
expect 0 same out.tif twelve.tif
expect 0 equal twelve.tif out.tif
expect 0 "$tool" convert --strip 3 twelve.tif out.pgm
expect 0 equal twelve.tif out.pgm
convert colour.ppm -depth 16 -compress none in.tif
expect 0 grep -q "note: in.tif: 16 bits a colour sample are reduced to 8" <("$tool" convert in.tif out.bmp 2>&1)
for kind in tif bmp tga; do
    convert alpha.pam -compress none in.$kind
    expect 0 grep -q "note: in.$kind: the alpha channel is dropped" <("$tool" convert in.$kind out.ppm 2>&1)
done

if [[ $libraries == *libtiff* ]]; then
    kinds="tif"
    for name in colour.ppm grey.pgm deep.pgm; do
        convert "$name" -compress none base.tif
        for options in "-c lzw" "-c zip" "-c packbits" "-c none -t -w 16 -l 16" "-c lzw -t -w 16 -l 32" \
            "-c lzw -r 3" "-c lzw -p separate" "-8 -c lzw"; do
            # shellcheck disable=SC2086
            tiffcp $options base.tif in.tif 2> /dev/null || continue # some not with 16 bits
            reads in.tif "$name"
        done
    done
    expect 0 grep -q "read by libtiff" <("$tool" info in.tif)
    convert bits.pbm -compress Group4 in.tif
    expect 0 equal in.tif bits.pbm
    convert grey.pgm -define quantum:polarity=min-is-white -compress lzw in.tif
    expect 0 grep -q min-is-white <(tiffinfo in.tif)
    convert in.tif reference.pgm
    expect 0 equal in.tif reference.pgm
    convert palette.ppm -type Palette -compress lzw in.tif 2> /dev/null && expect 0 equal in.tif palette.ppm
    convert colour.ppm -depth 16 -compress lzw in.tif
    expect 0 equal in.tif colour.ppm
    expect 0 grep -q "reduced to 8" <("$tool" info in.tif)
    convert alpha.pam -compress lzw in.tif
    expect 0 equal in.tif colour.ppm
    convert colour.ppm -colorspace CMYK -compress lzw in.tif
    expect 0 grep -q "CMYK is converted to RGB without a colour profile" <("$tool" info in.tif)
    # Samples that are no integers are not read.
    convert grey.pgm -depth 32 -define quantum:format=floating-point -compress lzw in.tif
    expect 2 "$tool" convert in.tif out.bmp
    convert colour.ppm grey.pgm -compress lzw pages.tif
    expect 0 "$tool" convert --page 2 pages.tif out.pgm
    expect 0 same out.pgm grey.pgm
    tiffcp -c none pages.tif plain.tif
    for name in pages.tif plain.tif; do
        expect 0 grep -q "2 pages" <("$tool" info $name)
        expect 0 grep -q "the first of 2 pages" <("$tool" convert $name out.bmp 2>&1)
    done
    expect 2 "$tool" convert --page 3 pages.tif out.pgm
    head -c 700 pages.tif > cut.tif
    expect 2 "$tool" convert cut.tif out.bmp
else
    echo "skipped: compressed TIFF: the tool was built without libtiff"
fi

echo "$((checks - failures)) passed, $failures failed"
[ "$failures" -eq 0 ]
