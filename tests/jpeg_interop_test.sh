#!/usr/bin/env bash
# Exchanges JPEG files with libjpeg's programs and ImageMagick; exits with status 77 if one of them is
# missing. Arguments: the tool, the source folder.
set -uo pipefail

source "$(dirname "$0")/interop/status_checks.sh"
tool=$(realpath "$1")
samples=$(realpath "$2")/samples
need djpeg cjpeg convert compare
[ -n "${VIQ_JPEG_PLANES:-}" ] ||
    echo "skipped: samples before colour conversion: the library was built without libjpeg's headers"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 2

# psnr A B LEAST: as ImageMagick computes it, independently of the tool.
psnr() {
    local value
    value=$(compare -metric PSNR "$1" "$2" null: 2>&1)
    [ "$value" = inf ] || [ "$value" = 0 ] || awk -v v="$value" -v l="$3" 'BEGIN { exit !(v >= l) }' ||
        { echo "PSNR $value"; return 1; }
}

# Other programs read what the tool writes, with the loss that corresponds to its quality factor.
for picture in camera coffee; do
    for quality in 1:15 16:25 32:27 400:32; do
        expect 0 "$tool" convert --quality "${quality%:*}" "$samples/$picture.bmp" ours.jpg
        expect 0 djpeg -dct int -bmp -outfile theirs.bmp ours.jpg
        expect 0 psnr "$samples/$picture.bmp" theirs.bmp "${quality#*:}"
        expect 0 convert ours.jpg magick.bmp
        expect 0 psnr theirs.bmp magick.bmp 40
    done
done
# Huffman tables made for the picture change no pixel; chosen values come closer to the picture.
for picture in camera coffee; do
    for level in 0 1 2; do
        expect 0 "$tool" convert --optimize $level --strip 24 "$samples/$picture.bmp" level$level.jpg
        expect 0 djpeg -dct int -bmp -outfile level$level.bmp level$level.jpg
    done
    expect 0 cmp level0.bmp level1.bmp
    expect 0 test "$(stat -c %s level1.jpg)" -lt "$(stat -c %s level0.jpg)"
    expect 0 test "$(stat -c %s level2.jpg)" -lt "$(($(stat -c %s level0.jpg) * 5 / 4))"
    expect 0 psnr "$samples/$picture.bmp" level2.bmp 28
done
for size in 1x1 7x7 17x9 24x8 65x33; do
    for type in TrueColor Grayscale; do
        convert "$samples/coffee.bmp" -resize "$size!" -type "$type" BMP3:small.bmp
        expect 0 "$tool" convert --quality 64 small.bmp ours.jpg
        expect 0 djpeg -dct int -bmp -outfile theirs.bmp ours.jpg
        expect 0 psnr small.bmp theirs.bmp 18
    done
done

# A TIFF file that is read in strips becomes one stream.
expect 0 "$tool" convert "$samples/coffee.bmp" coffee.tif
expect 0 "$tool" convert --strip 7 --quality 64 coffee.tif ours.jpg
expect 0 djpeg -dct int -bmp -outfile theirs.bmp ours.jpg
expect 0 psnr "$samples/coffee.bmp" theirs.bmp 27

# same_samples TOLERANCE: compares what theirs.jpg decodes to, here and with djpeg: the pixels and, if
# the program for it has been built, the samples before colour conversion.
same_samples() {
    [ -z "${VIQ_JPEG_PLANES:-}" ] || expect 0 "$VIQ_JPEG_PLANES" theirs.jpg 2
    djpeg -dct int -nosmooth -bmp -outfile theirs.bmp theirs.jpg
    expect 0 "$tool" convert theirs.jpg ours.bmp
    expect 0 "$tool" compare --tolerance "$1" theirs.bmp ours.bmp
}

# The tool reads what other programs write. Huffman tables optimised for the flat picture have 1-bit codes.
for size in flat 1x1 8x8 9x15 40x31 131x77 1000x700; do
    case $size in
    flat) convert -size 131x77 xc:'rgb(200,90,30)' ppm:in.ppm ;;
    *) convert "$samples/coffee.bmp" -resize "$size!" ppm:in.ppm ;;
    esac
    for quality in "30" "75 -optimize" "95" "100 -optimize"; do
        for layout in "-sample 2x1" "-sample 2x2" "-grayscale"; do
            # shellcheck disable=SC2086
            cjpeg -quality $quality $layout -outfile theirs.jpg in.ppm
            same_samples $([ "$layout" = -grayscale ] && echo 2 || echo 8)
        done
    done
done

# The tool codes with the standard tables, also after decoding a file with other tables.
expect 0 "$tool" convert --quality 64 theirs.jpg again.jpg
expect 0 djpeg -dct int -bmp -outfile again.bmp again.jpg
expect 0 psnr ours.bmp again.bmp 35

# What the library does not read is read by libjpeg, if the tool was built with it, or rejected with
# a text.
"$tool" --version | grep -q libjpeg && has_libjpeg=1 || has_libjpeg=0
read_otherwise() { # TEXT FILE
    if [ "$has_libjpeg" = 1 ] || [ -z "$1" ]; then
        djpeg -dct int -bmp -outfile theirs.bmp "$2"
        expect 0 "$tool" convert "$2" odd.bmp
        expect 0 "$tool" compare --min-psnr 30 theirs.bmp odd.bmp
    else
        expect 2 "$tool" convert "$2" odd.bmp
        expect 0 grep "$1" <("$tool" convert "$2" odd.bmp 2>&1)
    fi
}
while IFS='|' read -r text arguments; do
    # shellcheck disable=SC2086
    expect 0 cjpeg $arguments -outfile odd.jpg in.ppm
    read_otherwise "$text" odd.jpg
done <<'EOF'
Progressive JPEG is not supported|-progressive -sample 2x2
Progressive JPEG is not supported|-progressive -grayscale
Arithmetic-coded JPEG is not supported|-arithmetic -sample 2x2
|-restart 1 -sample 2x2
|-sample 1x1
|-sample 4x1
EOF
convert in.ppm -colorspace CMYK cmyk.jpg
if [ "$has_libjpeg" = 1 ]; then
    convert cmyk.jpg -colorspace sRGB -type TrueColor BMP3:theirs.bmp
    expect 0 "$tool" convert cmyk.jpg odd.bmp
    expect 0 "$tool" compare --min-psnr 30 theirs.bmp odd.bmp
    expect 0 grep -q "read by libjpeg" <("$tool" info cmyk.jpg)
    head -c 3000 odd.jpg > cut.jpg
    expect 2 "$tool" convert cut.jpg odd.bmp
fi

# Sequences.
for n in 1 2 3; do
    expect 0 "$tool" convert --quality 16 "$samples/coffee.bmp" "in$n.jpg"
done
expect 0 "$tool" sequence build all.jpg in1.jpg in2.jpg in3.jpg
expect 0 grep -q '600 x 400, 3 frames' <("$tool" sequence info all.jpg)
expect 0 "$tool" sequence split all.jpg frames
for n in 1 2 3; do
    expect 0 cmp "in$n.jpg" "frames/frame000$n.jpg"
done
expect 2 "$tool" sequence build mixed.jpg in1.jpg theirs.jpg
expect 0 grep -q 'components 2x1 1x1 1x1.*quality factor about 16' <("$tool" info in1.jpg)

echo "$((checks - failures)) passed, $failures failed"
[ "$failures" -eq 0 ]
