#!/usr/bin/env bash
# Reads files of ImageMagick, netpbm, libtiff, libjpeg and libpng, by the library in the conforming
# mode and by the tool: the pixels are those that the other program decodes, for every strip height,
# or the refusal names the feature. The tool also reads what the library refuses, by other libraries.
# Cases of a missing program are named; without ImageMagick the script exits with status 77.
# Arguments: the tool, the source folder; VIQ_READ_PICTURE is the program tests/interop/read_picture.
set -uo pipefail

source "$(dirname "$0")/interop/status_checks.sh"
tool=$(realpath "$1")
libraries=$("$tool" --version | sed -n 's/^other libraries: //p')
[ -n "${VIQ_READ_PICTURE:-}" ] || { echo "skipped: read_picture is not built for this system"; exit 77; }
reader=$(realpath "$VIQ_READ_PICTURE")
samples=$(realpath "$2")/samples
need_imagemagick
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 2

right=0
refused=0
right_by_tool=0
refused_by_tool=0
wrong=0
skipped=0

fail() { # NAME TEXT
    wrong=$((wrong + 1))
    echo "FAILED: $1: $2"
}

# Makes a file; a missing program or a format that it does not write skips the case.
make() { # NAME COMMAND...: writes to file NAME, or to standard output
    local name=$1
    shift
    if ! command -v "$1" > /dev/null; then
        skipped=$((skipped + 1))
        echo "skipped: $name: $1 is missing"
        return 1
    fi
    rm -f "$name"
    local done
    if [[ " $* " == *" $name "* || " $* " == *":$name "* ]]; then
        "$@" 2> /dev/null
        done=$?
    else
        "$@" > "$name" 2> /dev/null
        done=$?
    fi
    [ "$done" = 0 ] && [ -s "$name" ] && return
    skipped=$((skipped + 1))
    echo "skipped: $name: $1 does not write it"
    return 1
}

largest_difference() { # A B, of two files of the same length
    [ "$(stat -c %s "$1")" = "$(stat -c %s "$2")" ] || { echo 999; return; }
    cmp -l "$1" "$2" | awk '
        function value(octal,   digits) {
            digits = "00" octal
            return substr(octal, length(octal)) + 8 * substr(digits, length(digits) - 1, 1) + 64 * substr(digits, length(digits) - 2, 1)
        }
        { d = value($2) - value($3); if (d < 0) d = -d; if (d > most) most = d }
        END { print most + 0 }'
}

# The pictures that the tool reads in one batch, and by what each may differ.
declare -A allowed=()
declare -A refusal=() # what an error may name instead

by_tool() { # NAME BITS EXPECTED DIFFERENCE
    allowed[$1]=$4
    mkdir -p "tool$2"
    cp "$3" "tool$2/$1.expected"
}

# 8-bit pictures as PPM, as which every picture can be written; 16-bit grey as PGM.
check_tool() {
    local name bits kind made difference
    for bits in 8 16; do
        local names=()
        for made in "tool$bits"/*.expected; do
            name=${made##*/}
            [ -f "$made" ] && names+=("${name%.expected}")
        done
        kind=ppm
        [ "$bits" = 16 ] && kind=pgm
        [ ${#names[@]} = 0 ] || "$tool" convert --to $kind "${names[@]}" -o "tool$bits/{file}.made" 2> errors
        for name in "${names[@]}"; do
            made=tool$bits/$name.made
            if [ ! -f "$made" ]; then
                if [ -n "${refusal[$name]:-}" ] && grep -F "viq: $name: " errors | grep -qF "${refusal[$name]}"; then
                    refused_by_tool=$((refused_by_tool + 1))
                else
                    fail "$name" "the tool: $(grep -F "$name: " errors)"
                fi
                continue
            fi
            [ "$bits" = 8 ] || "$magick" "ppm:tool16/$name.expected" -depth 16 "pgm:tool16/$name.expected"
            difference=$(largest_difference "$made" "tool$bits/$name.expected")
            if [ "$difference" -le "${allowed[$name]}" ]; then
                right_by_tool=$((right_by_tool + 1))
            else
                fail "$name" "the tool's picture differs by $difference"
            fi
        done
    done
    rm -rf tool8 tool16
    allowed=()
    refusal=()
}

# The picture in file NAME equals EXPECTED, a PPM file, up to a difference.
compare() { # NAME BITS EXPECTED DIFFERENCE
    local lines difference
    by_tool "$@"
    for lines in 0 1 7; do
        "$reader" "$lines" "$2" "$1"
        [ -f "$1.ppm" ] || { fail "$1" "$(cat "$1.error")"; return; }
        if [ "$lines" = 0 ]; then
            cp "$1.ppm" whole.ppm
            difference=$(largest_difference "$1.ppm" "$3")
            [ "$difference" -le "$4" ] || { fail "$1" "differs by $difference"; return; }
        else
            cmp -s "$1.ppm" whole.ppm || { fail "$1" "strips of $lines lines differ"; return; }
        fi
    done
    right=$((right + 1))
}

# ImageMagick turns a TGA picture only on demand.
turn=()

same() { # BITS NAME COMMAND...: as ImageMagick reads it
    local bits=$1 name=$2
    shift
    make "$@" || return
    "$magick" "$name" "${turn[@]}" -alpha off -colorspace sRGB -depth "$bits" ppm:expected.ppm
    compare "$name" "$bits" expected.ppm 0
}

# Samples are rounded to 8 bits, as pamdepth does it; ImageMagick truncates them.
rounded() { # NAME COMMAND...
    local name=$1
    make "$@" && command -v pamdepth > /dev/null || return
    "$magick" "$name" -alpha off -depth 16 ppm:- | pamdepth 255 > expected.ppm 2> /dev/null
    compare "$name" 8 expected.ppm 0
}

as_first() { # ORIGINAL DIFFERENCE NAME COMMAND...: as ORIGINAL, a PNM file
    local original=$1 difference=$2 name=$3
    shift 2
    make "$@" || return
    "$magick" "$original" -depth 8 ppm:expected.ppm
    compare "$name" 8 expected.ppm "$difference"
}

refuses() { # TEXT NAME COMMAND...: the library does; a tool with the other libraries reads it
    local text=$1 name=$2
    shift
    make "$@" || return
    "$reader" 0 8 "$name"
    if grep -qF "$text" "$name.error" 2> /dev/null; then
        refused=$((refused + 1))
    else
        fail "$name" "not refused with '$text'"
        [ -f "$name.error" ] && cat "$name.error"
    fi
    refusal[$name]=$text
    # Other versions of libjpeg and other conversions of CMYK round differently.
    case $name in
        cmyk.jpg | jpeg.tif) "$magick" "$name" -colorspace sRGB -depth 8 ppm:expected.ppm && by_tool "$name" 8 expected.ppm 2 ;;
        *.jpg) djpeg -ppm "$name" > expected.ppm && by_tool "$name" 8 expected.ppm 1 ;;
        *) "$magick" "$name" -depth 8 ppm:expected.ppm && by_tool "$name" 8 expected.ppm 0 ;;
    esac
}

tool_reads() { # BITS NAME COMMAND...: as ImageMagick reads it
    local bits=$1 name=$2
    shift
    make "$@" || return
    "$magick" "$name" -alpha off -colorspace sRGB -depth "$bits" ppm:expected.ppm
    by_tool "$name" "$bits" expected.ppm 0
}

tool_rounds() { # NAME COMMAND...
    local name=$1
    make "$@" && command -v pamdepth > /dev/null || return
    case $name in
        *.ppm) pamdepth 255 "$name" > expected.ppm 2> /dev/null ;;
        *) "$magick" "$name" -alpha off -depth 16 ppm:- | pamdepth 255 > expected.ppm 2> /dev/null ;;
    esac
    by_tool "$name" 8 expected.ppm 0
}

for size in 53x37 16x9; do
    "$magick" "$samples/coffee.bmp" -crop "$size+100+50" +repage -alpha off -depth 8 rgb.ppm
    "$magick" rgb.ppm -colorspace Gray -depth 8 grey.pgm
    "$magick" grey.pgm -threshold 45% bits.pbm
    "$magick" rgb.ppm +dither -colors 200 -depth 8 map200.ppm
    "$magick" rgb.ppm +dither -colors 13 -depth 8 map13.ppm
    "$magick" rgb.ppm -depth 16 -evaluate multiply 0.77 deep.ppm
    "$magick" grey.pgm -depth 16 -evaluate multiply 0.77 deep.pgm
    "$magick" rgb.ppm \( grey.pgm -level 20%,80% \) -compose CopyOpacity -composite alpha.png
    "$magick" deep.ppm \( grey.pgm -level 20%,80% \) -compose CopyOpacity -composite alpha16.png

    # BMP
    for version in BMP2 BMP3 BMP; do
        same 8 "24_$version.bmp" "$magick" rgb.ppm -type TrueColor "$version:24_$version.bmp"
        same 8 "grey_$version.bmp" "$magick" grey.pgm "$version:grey_$version.bmp"
        same 8 "bits_$version.bmp" "$magick" bits.pbm "$version:bits_$version.bmp"
        same 8 "map200_$version.bmp" "$magick" map200.ppm -type Palette "$version:map200_$version.bmp"
        same 8 "map13_$version.bmp" "$magick" map13.ppm -type Palette "$version:map13_$version.bmp"
        same 8 "rle_$version.bmp" "$magick" map200.ppm -type Palette -compress RLE "$version:rle_$version.bmp"
    done
    same 8 alpha.bmp "$magick" alpha.png BMP:alpha.bmp
    as_first rgb.ppm 0 alpha3.bmp "$magick" alpha.png BMP3:alpha3.bmp
    # ImageMagick expands 5 bits by repeating the upper ones, which differs from the nearest value by
    # 1, and 4 bits by adding zeros.
    for subtype in RGB555/1 RGB565/1 ARGB1555/1 ARGB4444/15; do
        name=${subtype%/*}.bmp
        make "$name" "$magick" alpha.png -define "bmp:subtype=${subtype%/*}" "BMP:$name" &&
            "$magick" "$name" -alpha off -depth 8 ppm:expected.ppm &&
            compare "$name" 8 expected.ppm "${subtype#*/}"
    done
    for system in windows os2; do
        as_first rgb.ppm 0 "net24_$system.bmp" ppmtobmp "-$system" -bpp=24 rgb.ppm
        as_first grey.pgm 0 "netgrey_$system.bmp" ppmtobmp "-$system" grey.pgm
        as_first map200.ppm 0 "net8_$system.bmp" ppmtobmp "-$system" -bpp=8 map200.ppm
        as_first map13.ppm 0 "net4_$system.bmp" ppmtobmp "-$system" -bpp=4 map13.ppm
        as_first bits.pbm 0 "net1_$system.bmp" ppmtobmp "-$system" bits.pbm
    done

    # TIFF
    for endian in msb lsb; do
        for rows in 1 4 1000; do
            options=(-compress none -define "tiff:endian=$endian" -define "tiff:rows-per-strip=$rows")
            t=${endian}_$rows
            same 8 "rgb_$t.tif" "$magick" rgb.ppm "${options[@]}" "rgb_$t.tif"
            same 8 "planes_$t.tif" "$magick" rgb.ppm -interlace plane "${options[@]}" "planes_$t.tif"
            rounded "rgb16_$t.tif" "$magick" deep.ppm "${options[@]}" "rgb16_$t.tif"
            same 16 "grey16_$t.tif" "$magick" deep.pgm "${options[@]}" "grey16_$t.tif"
            same 16 "grey12_$t.tif" "$magick" deep.pgm -depth 12 "${options[@]}" "grey12_$t.tif"
            same 8 "grey_$t.tif" "$magick" grey.pgm "${options[@]}" "grey_$t.tif"
            same 8 "bits_$t.tif" "$magick" bits.pbm "${options[@]}" "bits_$t.tif"
            same 8 "map_$t.tif" "$magick" map200.ppm -type Palette "${options[@]}" "map_$t.tif"
        done
        options=(-compress none -define "tiff:endian=$endian")
        t=$endian
        same 8 "map4_$t.tif" "$magick" map13.ppm -type Palette -depth 4 "${options[@]}" "map4_$t.tif"
        same 8 "grey4_$t.tif" "$magick" grey.pgm -depth 4 "${options[@]}" "grey4_$t.tif"
        same 8 "grey2_$t.tif" "$magick" grey.pgm -depth 2 "${options[@]}" "grey2_$t.tif"
        same 8 "white0_$t.tif" "$magick" grey.pgm "${options[@]}" -define quantum:polarity=min-is-white "white0_$t.tif"
        same 16 "white0_16_$t.tif" "$magick" deep.pgm "${options[@]}" -define quantum:polarity=min-is-white "white0_16_$t.tif"
        same 8 "white0_1_$t.tif" "$magick" bits.pbm "${options[@]}" -define quantum:polarity=min-is-white "white0_1_$t.tif"
        same 8 "fill_$t.tif" "$magick" bits.pbm "${options[@]}" -define tiff:fill-order=lsb "fill_$t.tif"
        same 8 "alpha_$t.tif" "$magick" alpha.png -define tiff:alpha=unassociated "${options[@]}" "alpha_$t.tif"
        rounded "alpha16_$t.tif" "$magick" alpha16.png -define tiff:alpha=unassociated "${options[@]}" "alpha16_$t.tif"
        same 8 "orientation_$t.tif" "$magick" rgb.ppm -orient LeftBottom "${options[@]}" "orientation_$t.tif"
        cp "rgb_${endian}_4.tif" copy.tif
        order=-B
        [ "$endian" = lsb ] && order=-L
        for rows in 2 1000; do
            as_first rgb.ppm 0 "separate_${t}_$rows.tif" tiffcp -c none "$order" -p separate -r "$rows" copy.tif "separate_${t}_$rows.tif"
        done
        rounded "separate16_$t.tif" "$magick" deep.ppm -interlace plane "${options[@]}" "separate16_$t.tif"
        same 8 "separate_alpha_$t.tif" tiffcp -c none "$order" -p separate "alpha_$t.tif" "separate_alpha_$t.tif"
    done
    as_first rgb.ppm 0 net_rgb.tif pamtotiff -none -truecolor rgb.ppm
    as_first grey.pgm 0 net_grey.tif pamtotiff -none grey.pgm
    as_first grey.pgm 0 net_white.tif pamtotiff -none -miniswhite grey.pgm
    as_first bits.pbm 0 net_bits.tif pamtotiff -none bits.pbm
    as_first map200.ppm 0 net_map.tif pamtotiff -none -indexbits=8 map200.ppm
    as_first map13.ppm 0 net_map4.tif pamtotiff -none -indexbits=4 map13.ppm
    refuses "compression LZW" lzw.tif "$magick" rgb.ppm -compress LZW lzw.tif
    refuses "compression Deflate" zip.tif "$magick" rgb.ppm -compress Zip zip.tif
    refuses "compression PackBits" packbits.tif "$magick" rgb.ppm -compress RLE packbits.tif
    refuses "compression CCITT group 4" group4.tif "$magick" bits.pbm -compress Group4 group4.tif
    refuses "compression CCITT group 3" group3.tif "$magick" bits.pbm -compress Fax group3.tif
    refuses "compression JPEG" jpeg.tif "$magick" rgb.ppm -compress JPEG jpeg.tif
    refuses "Tiled TIFF" tiled.tif tiffcp -c none -t -w 16 -l 16 copy.tif tiled.tif
    refuses "more than 16 bits" deep32.tif "$magick" rgb.ppm -depth 32 -compress none deep32.tif
    refuses "BigTIFF" big.tif "$magick" rgb.ppm -compress none TIFF64:big.tif

    # TGA
    turn=(-auto-orient)
    for orient in TopLeft TopRight BottomLeft BottomRight; do
        for compress in none RLE; do
            options=(-compress "$compress" -orient "$orient")
            t=${orient}_$compress
            same 8 "rgb_$t.tga" "$magick" rgb.ppm "${options[@]}" "rgb_$t.tga"
            same 8 "grey_$t.tga" "$magick" grey.pgm "${options[@]}" "grey_$t.tga"
            same 8 "map_$t.tga" "$magick" map200.ppm -type Palette "${options[@]}" "map_$t.tga"
            same 8 "alpha_$t.tga" "$magick" alpha.png "${options[@]}" "alpha_$t.tga"
        done
    done
    turn=()
    for coding in "" -norle; do
        as_first rgb.ppm 0 "net_rgb$coding.tga" ppmtotga -rgb $coding rgb.ppm
        as_first map200.ppm 0 "net_map$coding.tga" ppmtotga -cmap $coding map200.ppm
        as_first grey.pgm 0 "net_grey$coding.tga" ppmtotga -mono $coding grey.pgm
        as_first rgb.ppm 0 "net_name$coding.tga" ppmtotga -rgb -name=picture $coding rgb.ppm
    done

    # JPEG: one level before the colour conversion gives up to 4 levels after it.
    jpeg() { # NAME COMMAND...
        local name=$1
        make "$@" || return
        djpeg -nosmooth -dct int -ppm "$name" > expected.ppm 2> /dev/null
        grep -q "^P5" expected.ppm && "$magick" expected.ppm -depth 8 ppm:expected.ppm
        compare "$name" 8 expected.ppm 4
    }
    for sampling in 1x1 2x1 2x2 1x2 4x1 1x4 4x2 2x2,1x2,2x1; do
        jpeg "sampled_$sampling.jpg" cjpeg -sample "$sampling" rgb.ppm
        jpeg "restarts_$sampling.jpg" cjpeg -sample "$sampling" -restart 1 rgb.ppm
        jpeg "blocks_$sampling.jpg" cjpeg -sample "$sampling" -restart 3B rgb.ppm
        jpeg "extended_$sampling.jpg" cjpeg -sample "$sampling" -quality 3 rgb.ppm
    done
    jpeg optimised.jpg cjpeg -optimize rgb.ppm
    jpeg best.jpg cjpeg -quality 100 -sample 1x1 rgb.ppm
    jpeg grey.jpg cjpeg grey.pgm
    jpeg grey_restarts.jpg cjpeg -restart 2B grey.pgm
    jpeg grey_of_rgb.jpg cjpeg -grayscale rgb.ppm
    jpeg rgb.jpg cjpeg -rgb rgb.ppm
    jpeg magick.jpg "$magick" rgb.ppm magick.jpg
    jpeg comment.jpg "$magick" rgb.ppm -set comment text -density 300 comment.jpg
    jpeg grey_magick.jpg "$magick" grey.pgm grey_magick.jpg
    refuses "Progressive JPEG" progressive.jpg cjpeg -progressive rgb.ppm
    refuses "Arithmetic-coded JPEG" arithmetic.jpg cjpeg -arithmetic rgb.ppm
    refuses "CMYK" cmyk.jpg "$magick" rgb.ppm -colorspace CMYK cmyk.jpg
    printf '0;\n1;\n2;\n' > scans.txt
    refuses "several scans" scans.jpg cjpeg -scans scans.txt rgb.ppm

    # PNG
    if [[ $libraries == *libpng* ]]; then
        for interlace in none PNG; do
            options=(-interlace "$interlace")
            t=$interlace
            for colour in 0 2 4 6; do
                tool_reads 8 "type${colour}_$t.png" "$magick" rgb.ppm "${options[@]}" -define "png:color-type=$colour" "type${colour}_$t.png"
            done
            for depth in 1 2 4; do
                tool_reads 8 "grey${depth}_$t.png" "$magick" grey.pgm -depth "$depth" "${options[@]}" -define "png:bit-depth=$depth" -define png:color-type=0 "grey${depth}_$t.png"
            done
            tool_reads 8 "map_$t.png" "$magick" map13.ppm "${options[@]}" "PNG8:map_$t.png"
            tool_reads 8 "alpha_$t.png" "$magick" alpha.png "${options[@]}" "alpha_$t.png"
            tool_reads 16 "deep_$t.png" "$magick" deep.pgm "${options[@]}" "deep_$t.png"
            tool_rounds "rgb48_$t.png" "$magick" deep.ppm "${options[@]}" "PNG48:rgb48_$t.png"
            tool_rounds "rgb64_$t.png" "$magick" alpha16.png "${options[@]}" "PNG64:rgb64_$t.png"
        done
        for picture in rgb.ppm grey.pgm bits.pbm map13.ppm; do
            tool_reads 8 "net_${picture%.*}.png" pnmtopng "$picture"
        done
    fi

    # PNM and PAM
    for picture in rgb.ppm grey.pgm bits.pbm map13.ppm; do
        tool_reads 8 "copy_$picture" cat "$picture"
        tool_reads 8 "plain_$picture" pnmtoplainpnm "$picture"
        tool_reads 8 "${picture%.*}.pam" "$magick" "$picture" "${picture%.*}.pam"
    done
    tool_reads 16 copy_deep.pgm cat deep.pgm
    tool_reads 16 deep.pam "$magick" deep.pgm deep.pam
    tool_rounds copy_deep.ppm cat deep.ppm
    for largest in 1 15 100 254 1000; do
        tool_rounds "to$largest.ppm" pamdepth "$largest" rgb.ppm
    done
    check_tool
done

echo "the library: $right right, $refused refused by name; the tool: $right_by_tool right, $refused_by_tool" \
    "refused by name; $wrong wrong, $skipped skipped"
[ "$wrong" -eq 0 ]
