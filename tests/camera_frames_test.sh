#!/usr/bin/env bash
# Camera frames in the tool: viq convert --raw, viq info --raw, viq develop. Arguments: the tool, the
# source folder.
set -uo pipefail

source "$(dirname "$0")/interop/status_checks.sh"
tool=$(realpath "$1")
samples=$(realpath "$2")/samples
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 2

# says STATUS TEXT COMMAND...: the exit status, and a text that the output must contain.
says() {
    local status=$1 text=$2
    shift 2
    expect "$status" "$@"
    [[ $output == *"$text"* ]] && return
    failures=$((failures + 1))
    printf 'FAILED: %s\n  expected "%s", got:\n%s\n' "$*" "$text" "$output"
}

convert() { "$tool" convert "$@"; }
develop() { "$tool" develop "$@"; }
equal() { "$tool" compare "$@"; }

# The bytes of a frame, and the pixels of the PNM file that it becomes.
frame() { # DESCRIPTION BYTES KIND PIXELS
    # shellcheck disable=SC2059
    printf "$2" > frame.raw
    expect 0 convert --raw "$1" frame.raw "frame.$3"
    says 0 "$4" bash -c 'od -An -v -tx1 -j "$1" "$2" | tr -d " \n"' - "$(head -3 "frame.$3" | wc -c)" "frame.$3"
}

frame 2x1,mono8 '\x12\xf3' pgm 12f3
frame 2x1,MONO16 '\x12\x34\xff\xff' pgm 3412ffff
frame 2x1,mono12 '\xff\x0f\x00\x08' pgm ffff8008
frame 2x1,mono12p,values '\x21\x43\x65' pgm 03210654
frame 2x1,Mono12p '\xff\x0f\x00' pgm ffff0000
frame 4x1,mono10p,values '\x01\x08\x30\x00\x01' pgm 0001000200030004
frame 2x1,mono12packed,values '\x12\x43\x56' pgm 01230564
frame 2x1,mono14,values '\xff\x3f\x00\x10' pgm 3fff1000
frame 2x1,rgb8 '\x01\x02\x03\x04\x05\x06' ppm 010203040506
frame 2x1,bgr8 '\x01\x02\x03\x04\x05\x06' ppm 030201060504
frame 1x1,rgba8 '\x01\x02\x03\x04' ppm 010203
frame 1x1,RGB16 '\x00\x01\x00\x02\x00\x03' ppm 010203
frame 2x1,yuv422_8 '\x20\x80\x30\x80' ppm 202020303030
frame 2x1,ycbcr422_8_cbycry '\x80\x20\x80\x30' ppm 202020303030
frame 2x2,bayerrg8 '\x01\x02\x03\x04' pgm 01020304
frame 2x2,mono8,bayer=bggr '\x01\x02\x03\x04' pgm 01020304
frame 2x1,0x01080001 '\x12\xf3' pgm 12f3
frame 2x2,mono8,stride=3,offset=1 'x\x12\x13y\x14\x15' pgm 12131415

# Files of several frames: 3 frames of 2 x 1 with a gap, and a rest.
printf '\x10\x11--\x20\x21--\x30\x31--!' > film.raw
described=2x1,mono8,gap=2
says 0 "film.raw: Mono8, 2 x 1, 8 bits per pixel, 2 bytes per frame, 3 frames" "$tool" info --raw $described film.raw
says 0 "the last 1 bytes are not a whole frame" "$tool" info --raw $described film.raw
says 0 "frame 3: samples 48 to 49, mean 48.50" "$tool" info --raw $described --frames 2..3 film.raw
says 0 '"frames": 3' "$tool" info --json --raw $described film.raw
says 0 "mosaic gbrg" "$tool" info --raw 2x2,BayerGB8 film.raw
says 0 "the first of 3 frames is converted" convert --raw $described film.raw out.pgm
expect 0 convert --raw $described --frames all -o "{name}{frame}-{number}.pgm" film.raw
for n in 1 2 3; do
    says 0 "${n}0${n}1" bash -c 'tail -c 2 "$1" | od -An -tx1 | tr -d " "' - film$n-$n.pgm
done
for range in 2..3 2..; do
    rm -rf out
    expect 0 convert --raw $described --frames $range --to tif film.raw out/
    says 0 "film-2.tif film-3.tif" bash -c 'echo $(ls out)'
done
expect 0 convert --raw $described --frames 3 film.raw out.pgm
expect 0 cmp out.pgm film3-3.pgm
expect 0 cmp film1-1.pgm <("$tool" convert --raw $described - - --to pgm < film.raw 2> /dev/null)

# Refusals
says 2 "has no frame 4 (frames: 1 to 3)" convert --raw $described --frames 2..4 film.raw out/{frame}.pgm
says 2 "frames are counted from 1" convert --raw $described --frames 0 film.raw out.pgm
says 2 "frames are counted from 1" convert --raw $described --frames 3..2 film.raw out.pgm
says 2 "is not of the form N, A..B" convert --raw $described --frames .. film.raw out.pgm
says 2 "several pictures need a folder or a pattern" convert --raw $described --frames all film.raw out.pgm
says 2 "camera frames have no type: use --to TYPE" convert --raw $described --frames all film.raw out/
says 2 "--frames needs --raw" convert --frames 1 film.raw out.pgm
says 2 "has 13 bytes, but a frame of 9 x 9 pixels Mono8 needs 81" convert --raw 9x9,mono8 film.raw out.pgm
says 2 "has 13 bytes, but a frame of 2 x 1 pixels Mono8 needs 2 after byte 12" convert --raw 2x1,mono8,offset=12 film.raw out.pgm
says 2 "Stride of 2 bytes is less than a line of 3" convert --raw 3x2,mono8,stride=2 film.raw out.pgm
says 2 "'mono12q' is not a known pixel layout; did you mean Mono12?" convert --raw 2x1,mono12q film.raw out.pgm
says 2 "known: Mono8 Mono10" convert --raw 2x1,sepia film.raw out.pgm
says 2 "RGB10p32 (0x0220001D) is not supported" convert --raw 2x1,0x0220001d film.raw out.pgm
says 2 "bayer=gbrg contradicts BayerRG8, whose mosaic is rggb" convert --raw 2x2,bayerrg8,bayer=gbrg film.raw out.pgm
says 2 "pixels of RGB8 are not samples of a mosaic" convert --raw 2x1,rgb8,bayer=gbrg film.raw out.pgm
says 2 "'rgrg' is not a mosaic" convert --raw 2x2,mono8,bayer=rgrg film.raw out.pgm
says 2 "must be a multiple of 4" convert --raw 2x1,yuv411_8_uyyvyy film.raw out.pgm
for form in 2x1 2,mono8 2x1x1,mono8 2x1,mono8,colour=1; do
    says 2 "is not of the form WIDTHxHEIGHT,LAYOUT" convert --raw $form film.raw out.pgm
done
says 2 "'1x' is not a number" convert --raw 2x1,mono8 --frames 1x film.raw out.pgm
says 2 "is not a number up to 4294967295" convert --raw 2x1,mono8,stride=4294967296 film.raw out.pgm
says 2 "'0x0108000g' is not a known pixel layout" convert --raw 2x1,0x0108000g film.raw out.pgm
says 2 "is not a mosaic" develop --bayer mono photo.bmp out.tif
says 2 "'-1' is not a number" convert --raw -1x1,mono8 film.raw out.pgm
says 2 "Width and height must not be 0" convert --raw 0x1,mono8 film.raw out.pgm
says 2 "missing.raw: cannot be opened" convert --raw 2x1,mono8 missing.raw out.pgm
says 2 "1 of 2 pictures failed, 1 were written" convert --raw 2x1,mono8 missing.raw film.raw --to tif out/

# Developing: a photograph as the mosaic of each phase gives the same picture as the steps of viq
# convert, and gains that undo a tint give the photograph back.
convert "$samples/coffee.bmp" --crop 40,30,101,80 photo.bmp
phases=(rggb grbg gbrg bggr)
for n in 0 1 2 3; do
    phase=${phases[n]}
    convert --mosaic photo.bmp mosaic.pgm
    tail -c $((101 * 80)) mosaic.pgm > mosaic.raw
    convert --demosaic 2,$((n + 1)) mosaic.pgm expected.bmp
    expect 0 convert --raw 101x80,mono8,bayer=$phase --demosaic 2 mosaic.raw out.bmp
    expect 0 equal expected.bmp out.bmp
    expect 0 develop --raw 101x80,mono8,bayer=$phase --no-balance --demosaic 2 --gamma 1 mosaic.raw out.bmp
    expect 0 equal expected.bmp out.bmp
    expect 0 develop --bayer $phase --no-balance --demosaic 2 --gamma 1 mosaic.pgm out.bmp
    expect 0 equal expected.bmp out.bmp
done
# Half the light in a mosaic of 16 bits, a black level of 1000 and gains of 2.
convert mosaic.pgm --format y16 wide.tif
tail -c $((101 * 80 * 2)) <(convert wide.tif - --to raw) > wide.raw
od -An -v -tu2 -w2 wide.raw | awk '{ v = int($1 * 0.49) + 1000; printf "\\x%02x\\x%02x", v % 256, int(v / 256) }' > escaped
# shellcheck disable=SC2059
printf "$(cat escaped)" > dim.raw
expect 0 develop --raw 101x80,BayerRG16 --black 1000 --gains 2.01,2.01,2.01 --demosaic 2 --gamma 1 dim.raw out.bmp
convert --demosaic 2 mosaic.pgm expected.bmp
expect 0 equal --max-error 2 expected.bmp out.bmp
# The dark frame takes the place of the black level; one flat field of constant light changes nothing
# but the brightness.
head -c $((101 * 80)) /dev/zero | tr '\0' '\20' > dark.raw
head -c $((101 * 80)) /dev/zero | tr '\0' '\120' > flat.raw
for gamma in 1 2.2; do
    settings=(--raw 101x80,bayerrg8 --demosaic 2 --gamma $gamma)
    expect 0 develop "${settings[@]}" --black 16 mosaic.raw black.bmp
    for references in "--dark dark.raw" "--dark dark.raw --flat flat.raw" "--black 16 --flat flat.raw"; do
        # shellcheck disable=SC2086
        expect 0 develop "${settings[@]}" $references mosaic.raw out.bmp
        expect 0 equal --min-psnr 55 --max-error 8 black.bmp out.bmp
    done
done
# A lens that darkens the right half to 50 %, with an odd width: the flat field brightens it again.
printf '\200\200\100\100\100\60\60\30\30\30' > shaded.raw
printf '\200\200\100\100\100\200\200\100\100\100' > flat.raw
expect 0 develop --raw 5x2,mono8 --flat flat.raw --gamma 1 shaded.raw out.pgm
convert --raw 5x2,mono8 flat.raw out5.pgm
says 0 "808080808030303030" bash -c 'tail -c 10 out.pgm | od -An -v -tx1 | tr -d " "'
# Grey-world balance: the means of the colours are equal, and grey cameras are not balanced.
printf '\100\40\40\20' > cell.raw
expect 0 develop --raw 2x2,bayerrg8 --gamma 1 --demosaic 1 cell.raw out.ppm
says 0 "404040" bash -c 'tail -c 12 out.ppm | od -An -v -tx1 | tr -d " "'
expect 0 develop --raw 2x2,mono8 --gamma 1 cell.raw out.pgm
says 0 "40202010" bash -c 'tail -c 4 out.pgm | od -An -v -tx1 | tr -d " "'
# Several frames: pictures, or a JPEG sequence, whose frames equal the pictures.
cat mosaic.raw mosaic.raw mosaic.raw > film.raw
expect 0 develop --raw 101x80,bayerrg8 --frames all --jobs 2 film.raw film.jpg
says 0 "101 x 80, 3 frames" "$tool" sequence info film.jpg
expect 0 "$tool" sequence split film.jpg split
expect 0 develop --raw 101x80,bayerrg8 --frames all -o "pictures/{frame}.jpg" film.raw
for n in 1 2 3; do
    expect 0 equal split/frame000$n.jpg pictures/$n.jpg
done
expect 0 develop --raw 101x80,bayerrg8 --frames 2 --crop 0,0,50,40 --scale 50% film.raw out.tif
says 0 "25 x 20" "$tool" info out.tif
says 2 "not the samples of a sensor" develop --raw 2x2,rgb8 film.raw out.tif
says 2 "holds no samples of a sensor" develop photo.bmp out.tif
says 2 "the dark frame or flat field 5 x 2" develop --raw 101x80,mono8 --flat out5.pgm film.raw out.tif
says 2 "Black level is not below the largest sample" develop --raw 101x80,mono8 --black 255 film.raw out.tif
says 2 "--bayer is for picture files" develop --raw 101x80,mono8 --bayer rggb film.raw out.tif
for gains in 1,2 1,2,x 1,2,3x 1,2,-1 1,2,16 1,2,nan; do
    says 2 "is not of the form R,G,B" develop --gains $gains --raw 101x80,bayerrg8 film.raw out.tif
done
says 2 "must be a grey picture" develop --raw 101x80,mono8 --flat photo.bmp film.raw out.tif
for size in 100x80 101x79; do
    convert --scale $size mosaic.pgm other.pgm
    says 2 "has another size than" develop --raw 101x80,mono8 --flat other.pgm --dark mosaic.pgm film.raw out.tif
    says 2 "the dark frame or flat field ${size/x/ x }" develop --raw 101x80,mono8 --dark other.pgm film.raw out.tif
done
# The picture of a grey camera, and references of 8 and 16 bits, give the same result in both ways.
convert mosaic.pgm --format y16 wide.tif
for references in "" "--flat wide.tif" "--flat mosaic.pgm" "--black 4 --flat mosaic.pgm"; do
    # shellcheck disable=SC2086
    expect 0 develop --bayer none --gamma 1 $references mosaic.pgm out.pgm
    # shellcheck disable=SC2086
    [ -n "${references##--black*}" ] || continue
    expect 0 develop --raw 101x80,mono8 --gamma 1 $references film.raw expected.pgm
    expect 0 equal expected.pgm out.pgm
done
says 2 "flat field is not brighter than the dark frame" develop --raw 101x80,mono8 --flat dark.raw --dark dark.raw film.raw out.tif

# A file of many frames is not read as a whole: 4 GB, most of which the disk does not hold.
if truncate -s 4G large.raw 2> /dev/null && { (ulimit -v 90000 && "$tool" --help > /dev/null); } 2> /dev/null; then
    says 0 "1024 frames" bash -c 'ulimit -v 90000; "$0" info --raw 2048x2048,mono8 large.raw' "$tool"
    expect 0 bash -c 'ulimit -v 90000; "$0" convert --raw 2048x2048,mono8 --frames 1024 large.raw out.tif' "$tool"
fi

# The orientation in a file: TIFF by viq and by libtiff, EXIF data in JPEG and PNG files.
oriented() { # FILE EXPECTED
    says 0 "orientation $orientation: to be" "$tool" info "$1"
    says 0 "is not applied; --auto-orient applies it" convert "$1" out.ppm
    says 0 "" convert --auto-orient "$1" out.ppm
    [[ $output != *orient* ]] || says 0 "no note" echo "$output"
    expect 0 equal --max-error "$3" "$2" out.ppm
}
# Blocks of EXIF data that name no orientation, and one whose orientation is not the first entry.
convert photo.bmp photo.jpg
while read -r expected start block; do
    length=$(printf "$start$block" | wc -c)
    { head -c 2 photo.jpg; printf "\\377\\341\\0\\$(printf %o $((length + 2)))$start$block"; tail -c +3 photo.jpg; } > exif.jpg
    says 0 "exif.jpg: JPEG" "$tool" info exif.jpg
    found=$(sed -n 's/.*orientation \([0-9]\): to be.*/\1/p' <<< "$output")
    says 0 "$expected: $block" echo "${found:-none}: $block"
done << 'END'
6 Exif\0\0 MM\0*\0\0\0\10\0\2\1\0\0\3\0\0\0\1\0\1\0\0\1\22\0\3\0\0\0\1\0\6\0\0\0\0\0\0
none Other\0 MM\0*\0\0\0\10\0\1\1\22\0\3\0\0\0\1\0\6\0\0\0\0\0\0
none Exif\0\0 XX\0*\0\0\0\10\0\1\1\22\0\3\0\0\0\1\0\6\0\0\0\0\0\0
none Exif\0\0 MI\0*\0\0\0\10\0\1\1\22\0\3\0\0\0\1\0\6\0\0\0\0\0\0
none Exif\0\0 MM\0*
none Exif\0\0 MM\0*\0\0\0\10\0\0\0\0\0\0
none Exif\0\0 MM\0*\377\377\377\377\0\1\1\22\0\3\0\0\0\1\0\6
none Exif\0\0 MM\0*\0\0\0\10\377\377\1\22\0
none Exif\0\0 MM\0*\0\0\0\10\0\1\1\22\0\4\0\0\0\1\0\0\0\6
none Exif\0\0 MM\0*\0\0\0\10\0\1\1\22\0\3\0\0\0\1\0\0\0\0
none Exif\0\0 MM\0*\0\0\0\10\0\1\1\22\0\3\0\0\0\1\0\11\0\0
END
for magick in magick /usr/bin/convert ''; do
    [ -n "$magick" ] && "$magick" -version 2> /dev/null | grep -q ImageMagick && break
done
if [ -n "$magick" ]; then
    orientation=1
    "$magick" photo.bmp photo.jpg
    for turn in TopRight BottomRight BottomLeft LeftTop RightTop RightBottom LeftBottom; do
        orientation=$((orientation + 1))
        for compression in none lzw; do
            "$magick" photo.bmp -orient $turn -compress $compression turned.tif
            "$magick" turned.tif -auto-orient upright.ppm
            [[ $compression == lzw && $("$tool" --version) != *libtiff* ]] || oriented turned.tif upright.ppm 0
        done
        # An APP1 segment with EXIF data of one entry, after the start of the file.
        value=$(printf '\\%03o' $orientation)
        for order in 'II*\0\10\0\0\0\1\0\22\1\3\0\1\0\0\0'$value'\0\0\0' \
            'MM\0*\0\0\0\10\0\1\1\22\0\3\0\0\0\1\0'$value'\0\0'; do
            { head -c 2 photo.jpg; printf '\377\341\0\42Exif\0\0'"$order"'\0\0\0\0'; tail -c +3 photo.jpg; } > turned.jpg
            convert photo.jpg plain.ppm
            "$magick" plain.ppm -orient $turn -auto-orient upright.ppm
            oriented turned.jpg upright.ppm 0
        done
    done
else
    echo "skipped: orientations: ImageMagick is missing"
fi

echo "$checks checks, $failures failures"
[ "$failures" -eq 0 ]
