#!/usr/bin/env bash
# Tests the command-line tool. Arguments: the tool, the source folder.
set -uo pipefail

source "$(dirname "$0")/interop/status_checks.sh"
tool=$(realpath "$1")
samples=$(realpath "$2")/samples
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 2
cp "$samples"/*.bmp .

# expect STATUS TEXT COMMAND...: the exit status, and a text that the output must contain.
expect() {
    local status=$1 text=$2 output got
    shift 2
    output=$("$@" 2>&1)
    got=$?
    checks=$((checks + 1))
    if [ "$got" -ne "$status" ] || [[ $output != *"$text"* ]]; then
        failures=$((failures + 1))
        printf 'FAILED: %s\n  expected status %s and "%s"\n  got status %s and:\n%s\n' \
            "$*" "$status" "$text" "$got" "$output"
    fi
}

# expect_error TEXT COMMAND...: expects status 2 and one line on standard error.
expect_error() {
    local text=$1
    shift
    expect 2 "$text" "$@"
    "$@" 2> error.txt
    [ "$(wc -l < error.txt)" = 1 ] || expect 0 "one line on standard error" cat error.txt
    rm -f error.txt
}

convert() { "$tool" convert "$@"; }

# Properties of files.
expect 0 "coffee.bmp: BMP, 600 x 400, rgb24, 24 bits per pixel, 720054 bytes" "$tool" info coffee.bmp
expect 0 "paletted (256 colours, grey)" "$tool" info camera.bmp
expect 0 '"width": 451' "$tool" info --json coffee.bmp chelsea.bmp
if command -v python3 > /dev/null; then
    expect 0 "" bash -c '"$0" info --json *.bmp | python3 -m json.tool' "$tool"
else
    echo "skipped: syntax of JSON: python3 is missing"
fi
expect 2 "600 x 400" "$tool" info missing.bmp coffee.bmp

# If the format stays the same, so do the pixels, with every number of lines per strip.
for lines in 1 7 64 400 100000; do
    expect 0 "" convert --strip "$lines" chelsea.bmp same.bmp
    expect 0 "identical" "$tool" compare chelsea.bmp same.bmp
    expect 0 "" convert --strip "$lines" --format paletted coffee.bmp "paletted$lines.bmp"
    expect 0 "" cmp paletted1.bmp "paletted$lines.bmp"
done

# Wavelet files of both entropy coders, and optimised.
for coding in "" --small --wavelet-optimize; do
    expect 0 "" convert $coding --wavelet-quality 300 --subbands 5 coffee.bmp wave.dwt
    expect 0 "wave.dwt: wavelet, 600 x 400, yuv422" "$tool" info wave.dwt
    expect 0 "" convert wave.dwt wave.bmp
    expect 0 "dB" "$tool" compare --tolerance 60 coffee.bmp wave.bmp
    expect 0 "" convert $coding camera.bmp wave.dwt
    expect 0 "y8" "$tool" info wave.dwt
done
expect 0 "" convert chelsea.bmp wave.dwt
expect 0 "wave.dwt: wavelet, 451 x 300, yuv422, 16 bits" "$tool" info wave.dwt
expect 0 "fast coding, components " "$tool" info wave.dwt
expect 0 "" bash -c 'head -c 200 wave.dwt > cut.dwt'
expect 2 "cut.dwt" convert cut.dwt out.bmp

# Every pixel format can be written to a BMP file; the tolerance bounds the loss.
for format in bgr24 rgbx32 bgrx32 xbgr32 xrgb32; do
    expect 0 "" convert --format "$format" coffee.bmp out.bmp
    expect 0 "identical" "$tool" compare coffee.bmp out.bmp
done
for bound in rgb16:8 rgb15:8 rgb8:128 yuv422:140 hsi:150 cmyk32:130 y8:255 y16:255 paletted:130; do
    expect 0 "" convert --format "${bound%:*}" coffee.bmp out.bmp
    expect 0 "dB" "$tool" compare --tolerance "${bound#*:}" coffee.bmp out.bmp
    expect 1 "dB" "$tool" compare coffee.bmp out.bmp
    expect 0 "" convert --format "${bound%:*}" camera.bmp out.bmp
done
expect 0 "identical" "$tool" compare camera.bmp camera.bmp
expect 1 "sizes differ: 600 x 400 and 451 x 300" "$tool" compare coffee.bmp chelsea.bmp

# The other file formats are lossless as well, also in strips and with odd widths.
for kind in tif:TIFF tga:TGA eps:EPS; do
    for name in chelsea camera; do
        expect 0 "" convert --strip 7 "$name.bmp" "out.${kind%:*}"
        expect 0 ": ${kind#*:}, " "$tool" info "out.${kind%:*}"
        expect 0 "identical" "$tool" compare "$name.bmp" "out.${kind%:*}"
    done
    expect 0 "" convert --format paletted coffee.bmp "out.${kind%:*}"
    expect 0 "dB" "$tool" compare --tolerance 130 coffee.bmp "out.${kind%:*}"
done
expect 0 "" convert out.eps copy.eps # paletted, without a loss of colours
expect 0 "identical" "$tool" compare out.eps copy.eps

# Lookup tables are generated, saved and applied; a loaded table gives the same result as a new one.
for type in 200 201 202 203 204 205; do
    expect 0 "table $type generated" "$tool" lut generate "$type" --save "table$type"
    expect 0 "table $type generated" "$tool" lut apply "$type" coffee.bmp fresh.bmp
    expect 0 "table $type loaded" "$tool" lut apply "$type" --load "table$type" coffee.bmp out.bmp
    expect 0 "" cmp fresh.bmp out.bmp
done
expect 0 "dB" "$tool" compare --tolerance 100 coffee.bmp fresh.bmp
expect 0 "generated" "$tool" lut apply 202 --data-width 12 --palette ramp camera.bmp out.bmp
expect 0 "identical" "$tool" compare camera.bmp out.bmp
expect 0 "" convert --format paletted coffee.bmp palette.tif
expect 0 "generated" "$tool" lut apply 200 --palette palette.tif coffee.bmp out.bmp
expect_error "Incorrect number of bytes" "$tool" lut apply 205 --load table200 coffee.bmp out.bmp
expect_error "camera.tif: " "$tool" lut generate 205 --palette camera.tif
expect_error "TYPE" "$tool" lut generate 199
expect_error "nowhere/table: cannot be created: No such file or directory" "$tool" lut generate 201 --save nowhere/table
rm -f table* fresh.bmp palette.tif copy.eps

# Processing: operations in the order of the options, on colour and on grey pictures.
expect 0 "" convert --crop 10,20,300,200 --scale 150x100 --rotate 90 coffee.bmp out.bmp
expect 0 "100 x 150" "$tool" info out.bmp
expect 0 "" convert --mirror coffee.bmp out.bmp
expect 0 "" convert --mirror out.bmp again.bmp
expect 0 "identical" "$tool" compare coffee.bmp again.bmp
expect 0 "" convert --replicate 3 coffee.bmp out.bmp
expect 0 "" convert --subsample 3 out.bmp again.bmp
expect 0 "identical" "$tool" compare coffee.bmp again.bmp
for change in "--filter edge" "--filter 0,0,0,0,2,0,0,0,0" "--lut contrast=140,b=70" "--threshold 80,160" \
    "--mosaic" "--mosaic --demosaic 3" "--demosaic 2,4" "--field-to-frame 4" "--pseudo" \
    "--key 10 --calibrate" "--key 10,back.bmp" "--timestamp" "--text Hi,5,6,2,14,1"; do
    for picture in coffee camera; do
        convert --rotate 180 "$picture.bmp" back.bmp
        # shellcheck disable=SC2086
        expect 0 "" convert $change "$picture.bmp" out.bmp
        expect 0 "BMP" "$tool" info out.bmp
    done
done
for palette in 2 16 256 cube named ramp dither; do
    for picture in coffee camera; do
        expect 0 "" convert --palette $palette $picture.bmp out.bmp
        expect 0 "paletted" "$tool" info out.bmp
    done
done
expect 0 "" convert --palette ramp camera.bmp out.bmp
expect 0 "identical" "$tool" compare camera.bmp out.bmp
expect_error "'1' is none of 2 to 256" convert --palette 1 coffee.bmp out.bmp
expect_error "--palette requires --format paletted" convert --palette 16 --format y8 coffee.bmp out.bmp
expect 0 "" convert --mosaic --demosaic 2 coffee.bmp out.bmp
expect 0 "dB" "$tool" compare --tolerance 255 coffee.bmp out.bmp
expect_error "Rectangle outside the image" convert --crop 600,0,1,1 coffee.bmp out.bmp
expect_error "'1,2' is not of the form X,Y,W,H" convert --crop 1,2 coffee.bmp out.bmp
expect_error "'-90' is out of range" convert --rotate -90 coffee.bmp out.bmp
expect_error "smaller than 500 pixels" convert --subsample 500 coffee.bmp out.bmp
expect_error "'gain=3' is not of the form" convert --lut gain=3 coffee.bmp out.bmp
expect_error "--calibrate and --screen need --key" convert --calibrate coffee.bmp out.bmp
expect_error "'3,' is not of the form COLOUR[,BACKGROUND]" convert --key 3, coffee.bmp out.bmp
expect_error "Unrecognized colour" convert --key -1 coffee.bmp out.bmp
expect_error "too far left" convert --text A,-1,1 coffee.bmp out.bmp
expect 0 "" convert --key 10 --screen coffee.bmp coffee.bmp out.bmp
expect_error "missing.bmp" convert --key 10 --screen missing.bmp coffee.bmp out.bmp
expect_error "missing.bmp" convert --key 10,missing.bmp coffee.bmp out.bmp
expect 0 "hue, 0 to 359" "$tool" histogram coffee.bmp
expect 0 "saturation: 100 %" "$tool" histogram --match coffee.bmp coffee.bmp
expect 0 "" "$tool" histogram --svg out.svg coffee.bmp
expect 0 "intensity" cat out.svg
expect 0 "0 %" "$tool" motion camera.bmp camera.bmp
# Arguments that are incomplete, out of range or not numbers: command | message.
while IFS='|' read -r arguments message; do
    # shellcheck disable=SC2086
    expect_error "$message" "$tool" $arguments
done << 'END'
info|FILE or --cpu is needed
info --frames 1 coffee.bmp|--frames needs --raw
info --page 2 coffee.bmp|has only one page
info --from raw coffee.bmp|cannot read files of type raw data
convert --crop 1,a,3,4 coffee.bmp out.bmp|is not of the form X,Y,W,H
convert --crop 1,2,3,4,5 coffee.bmp out.bmp|is not of the form X,Y,W,H
convert --rotate 90x coffee.bmp out.bmp|is not of the form
convert --bilevel x coffee.bmp out.bmp|LEVEL, 1 to 255, or dither
convert --bilevel 256 coffee.bmp out.bmp|LEVEL, 1 to 255, or dither
convert --key x coffee.bmp out.bmp|COLOUR[,BACKGROUND]
convert --lut b coffee.bmp out.bmp|is not of the form
convert --lut b=x coffee.bmp out.bmp|is not of the form
convert --scale x2000000000 coffee.bmp out.bmp|too large
convert --scale 1x2000000000 coffee.bmp out.bmp|too large
convert --palette 257 coffee.bmp out.bmp|is none of 2 to 256
convert --palette x coffee.bmp out.bmp|is none of 2 to 256
convert --from raw coffee.bmp out.bmp|cannot read files of type raw data
convert --scale 9x300 --timestamp coffee.bmp out.bmp|Trying to draw text too far right
convert --scale 300x9 --timestamp coffee.bmp out.bmp|Trying to draw text too low
lut generate 200 --palette coffee.bmp|not a paletted picture
print --to out.pdf|FILE is required
print --page 2 coffee.bmp --to out.pdf|has only one page
view --frames 1 coffee.bmp|--frames needs --raw
END
rm -f again.bmp back.bmp out.*

# Raw files contain the pixels only.
expect 0 "" convert --format yuv422 coffee.bmp out.raw
expect 0 "480000" stat -c %s out.raw
expect 0 "" convert --format xrgb32 coffee.bmp upper.RAW
expect 0 "960000" stat -c %s upper.RAW

# The output may replace the input.
expect 0 "" convert --format rgb15 coffee.bmp coffee2.bmp
cp coffee.bmp coffee3.bmp
expect 0 "" convert --format rgb15 coffee3.bmp coffee3.bmp
expect 0 "" cmp coffee2.bmp coffee3.bmp

# Neither colour nor depth is lost without a note.
convert --format rgb16 coffee.bmp rgb16.dwt 2> notes.txt
expect 0 "yuv422" "$tool" info rgb16.dwt
expect 0 "dB" "$tool" compare --min-psnr 25 coffee.bmp rgb16.dwt
expect 0 "" test ! -s notes.txt
convert --format y16 camera.bmp grey16.tif
expect 0 "note: grey16.tif: 16-bit grey is reduced to 8 bits" convert grey16.tif out.bmp
expect 0 "note: coffee.bmp: colour is lost" convert coffee.bmp out.pgm
expect 0 "colours are reduced" convert --format cmyk32 coffee.bmp out.tif
for step in "--scale 97x50" "--scale 50%" "--filter sharpen" "--subsample 2" "--replicate 2" "--mirror" "--flip"; do
    # shellcheck disable=SC2086
    expect 0 "" convert $step grey16.tif out.tif
    expect 0 "y16" "$tool" info out.tif
    # shellcheck disable=SC2086
    expect 0 "" convert --format y8 $step camera.bmp out.bmp
    expect 0 "PSNR" "$tool" compare --tolerance 3 out.bmp out.tif
done
printf 'P5 2 1 65535\n\x12\x34\x56\x78' > one.pgm
printf 'P5 2 1 65535\n\x12\x35\x56\x78' > two.pgm
expect 1 "largest difference 1 of 65535" "$tool" compare one.pgm two.pgm
expect 0 "" "$tool" compare --max-error 1 one.pgm two.pgm
rm -f one.pgm two.pgm out.*

# A mosaic survives a file.
expect 0 "" convert --mosaic coffee.bmp mosaic.tif
expect 0 "y8" "$tool" info mosaic.tif
convert --mosaic --demosaic 3 coffee.bmp direct.bmp
expect 0 "" convert --demosaic 3 mosaic.tif out.bmp
expect 0 "identical" "$tool" compare direct.bmp out.bmp

# Odd widths survive YUV 4:2:2.
for file in out.jpg out.dwt "--format yuv422 out.bmp" "--format yuv422 out.jpg" "--key 10 out.bmp"; do
    # shellcheck disable=SC2086
    expect 0 "" convert chelsea.bmp $file
    expect 0 "451 x 300" "$tool" info "${file##* }"
    case $file in --key*) ;; *) expect 0 "dB" "$tool" compare --min-psnr 25 chelsea.bmp "${file##* }" ;; esac
done
expect 0 "" convert out.dwt again.jpg
expect 0 "451 x 300" "$tool" info again.jpg

# Raw files have no padding, and the requested format.
for bytes in "rgb24 405900" "cmyk32 541200" "y16 270600" "rgb24 --padded 406200" "yuv422 271200"; do
    # shellcheck disable=SC2086
    expect 0 "" convert --format ${bytes% *} chelsea.bmp out.raw
    expect 0 "${bytes##* }" stat -c %s out.raw
done

# Sizes by one side or in percent; the order of the command line; 1-bit output.
for row in "300x 300 x 200" "x100 150 x 100" "50% 300 x 200" "7x9 7 x 9"; do
    expect 0 "" convert --scale "${row%% *}" coffee.bmp out.bmp
    expect 0 "${row#* }" "$tool" info out.bmp
done
for size in x 0x5 -5x3 5x-3 0% 3 5x5x5 %; do
    expect_error "is not of the form" convert --scale "$size" coffee.bmp out.bmp
done
expect_error "too large" convert --scale 2000000000x coffee.bmp out.bmp
convert --rotate 90 --crop 0,0,100,50 coffee.bmp out.bmp
convert --crop 0,350,50,50 --rotate 90 coffee.bmp part.bmp
expect 0 "" convert --crop 0,0,50,50 out.bmp again.bmp
expect 0 "identical" "$tool" compare again.bmp part.bmp
convert --mirror coffee.bmp out.bmp
convert --flip --rotate 180 coffee.bmp again.bmp
expect 0 "identical" "$tool" compare out.bmp again.bmp
expect 0 "" convert --text A,1,1 --text B,1,40 coffee.bmp out.bmp
for rule in 128 dither; do
    expect 0 "" convert --bilevel $rule camera.bmp bits.tif
    expect 0 "y1, 1 bits" "$tool" info bits.tif
    expect 0 "" convert bits.tif bits.pbm
    expect 0 "identical" "$tool" compare bits.tif bits.pbm
done
convert --filter blur bits.tif blurred.bmp
convert --filter blur camera.bmp out.bmp
expect 0 "dB" "$tool" compare --min-psnr 10 blurred.bmp out.bmp
expect_error "is not of the form" convert --bilevel 0 camera.bmp out.bmp
rm -f out.* again.* part.bmp direct.bmp mosaic.tif bits.* blurred.bmp rgb16.dwt notes.txt

# Standard input and output, pipes, long names.
expect 0 "" bash -c '"$0" convert - - --to tif < coffee.bmp > piped.tif' "$tool"
expect 0 "identical" "$tool" compare coffee.bmp piped.tif
expect 0 "identical" bash -c '"$0" compare - coffee.bmp < coffee.bmp' "$tool"
expect_error "standard input: the file is empty" bash -c '"$0" info - < /dev/null' "$tool"
expect_error "standard output needs --to TYPE" convert coffee.bmp -
expect_error "'sepia' is not a file type" convert coffee.bmp out.bmp --to sepia
expect_error "coffee.bmp: " convert --from tif coffee.bmp out.bmp
if ! is_for_this_system "$tool"; then
    echo "skipped: named pipes: the tool is for another system"
elif mkfifo pipe 2> /dev/null; then
    expect 0 "identical" bash -c '"$0" compare coffee.bmp <(cat coffee.bmp)' "$tool"
    cat coffee.bmp > pipe &
    expect 0 "600 x 400" "$tool" info pipe
    expect_error "no program writes to this pipe" "$tool" info pipe
    rm -f pipe
fi
long=$(printf 'x%.0s' {1..200})
mkdir "$long"
for name in "$long.tif" "$long/$long.jpg" "$long/short.dwt"; do
    expect 0 "" convert coffee.bmp "$name"
    expect 0 "600 x 400" "$tool" info "$name"
    expect 0 "" convert "$name" out.bmp
done
expect 0 "generated" "$tool" lut generate 201 --save "$long/table"
expect 0 "loaded" "$tool" lut generate 201 --load "$long/table"
rm -rf "$long" "$long.tif" piped.tif out.bmp

# Limits: the message names the one that is exceeded.
expect 0 "600 x 400" "$tool" info --max-pixels 240000 --max-memory 100M coffee.bmp
expect 2 "VIQ_LIMIT_PIXELS" "$tool" info --max-pixels 239K coffee.bmp
expect 2 "VIQ_LIMIT_MEMORY" convert --rotate 90 --max-memory 300K coffee.bmp out.bmp
expect 2 "VIQ_LIMIT_PIXELS" "$tool" compare --max-pixels 1 coffee.bmp coffee.bmp

# Many pictures: into a folder, by a pattern; a bad file does not stop the others.
expect 0 "" convert coffee.bmp camera.bmp all/ --to jpeg
expect 0 "JPEG" "$tool" info all/coffee.jpg all/camera.jpg
expect 0 "" convert coffee.bmp camera.bmp -o "all/{number}-{name}.tiff"
expect 0 "TIFF" "$tool" info all/1-coffee.tiff all/2-camera.tiff
expect 2 "1 of 3 pictures failed, 2 were written" convert coffee.bmp missing.bmp camera.bmp all/
expect 0 "identical" "$tool" compare camera.bmp all/camera.bmp
# Threads make no difference to the files or to the order of what is printed.
for kind in jpg dwt tif; do
    for jobs in 1 4; do
        expect 2 "1 of 9 pictures failed" convert --jobs $jobs --scale 90% --to $kind \
            -o "all/$jobs-{number}.$kind" coffee.bmp camera.bmp grey16.tif coffee2.bmp missing.bmp \
            coffee.bmp camera.bmp coffee2.bmp coffee.bmp
    done
    for number in 1 2 3 4 6 7 8 9; do
        expect 0 "" cmp all/1-$number.$kind all/4-$number.$kind
    done
done
expect 0 "" cmp <("$tool" info --jobs 1 all/*.jpg 2>&1) <("$tool" info --jobs 4 all/*.jpg 2>&1)
expect 0 "8 frames" "$tool" sequence build --jobs 3 all/frames.jpg all/1-1.jpg all/1-1.jpg all/1-1.jpg \
    all/1-1.jpg all/1-1.jpg all/1-1.jpg all/1-1.jpg all/1-1.jpg
# The frames of a sequence share a header: other sizes, components or tables are rejected.
for other in "--crop 0,0,600,300" "--crop 0,0,500,400" "--format y8" "--quality 8" "--optimize 1"; do
    # shellcheck disable=SC2086
    expect 0 "" convert $other coffee.bmp all/other.jpg
    convert coffee.bmp all/first.jpg
    expect_error "other.jpg: " "$tool" sequence build all/frames.jpg all/first.jpg all/other.jpg
    expect 0 "8 frames" "$tool" sequence info all/frames.jpg
done
for row in "1 1" "16 16" "400 40"; do # the option, the first digits of the estimate
    expect 0 "" convert --quality "${row% *}" camera.bmp all/quality.jpg
    expect 0 "quality factor about ${row#* }" "$tool" info all/quality.jpg
done
expect_error "several pictures need a folder" convert coffee.bmp camera.bmp out.bmp
expect_error "would be written for" convert coffee.bmp camera.bmp -o all/out.{ext}
expect_error "would be replaced by" convert coffee.bmp camera.bmp -o camera.{ext}
expect_error "unknown field" convert coffee.bmp -o "all/{nome}.bmp"
expect_error "unknown field" convert coffee.bmp -o "all/{name"
expect_error "several pictures need a folder" convert coffee.bmp camera.bmp -
expect_error "cannot be created: " convert coffee.bmp -o "coffee.bmp/in/{name}.bmp"
# A folder that exists, names without an extension, and pictures that replace themselves.
cp coffee.bmp plain
expect 0 "" convert camera.bmp chelsea.bmp all
expect 0 "identical" "$tool" compare camera.bmp all/camera.bmp
expect 0 "" convert plain -o "all/{name}.{ext}tif"
expect 0 "identical" "$tool" compare plain all/plain.tif
expect 0 "" bash -c '"$0" convert - all/ --to .tif < coffee.bmp' "$tool"
expect 0 "identical" "$tool" compare coffee.bmp all/stdin.tif
expect 0 "" convert --mirror all/plain.tif all/stdin.tif -o "{dir}/{file}"
expect 0 "identical" "$tool" compare all/plain.tif all/stdin.tif
expect 1 "" "$tool" compare all/plain.tif coffee.bmp
expect_error "is a folder" "$tool" lut generate 201 --save all
rm -rf all plain

# Results for scripts.
for command in "compare coffee.bmp coffee.bmp" "compare grey16.tif camera.bmp" "histogram coffee.bmp" \
    "histogram --match coffee.bmp coffee.bmp" "motion coffee.bmp coffee.bmp"; do
    # shellcheck disable=SC2086
    expect 0 "" bash -c '"$0" "$@" --json 2> /dev/null | python3 -m json.tool' "$tool" $command
done
expect 1 '"largest_difference": ' "$tool" compare --json coffee.bmp coffee2.bmp
expect 1 "" "$tool" compare --min-psnr 90 coffee.bmp coffee2.bmp
convert --crop 0,0,600,300 coffee.bmp low.bmp
expect 1 "sizes differ: 600 x 400 and 600 x 300" "$tool" compare coffee.bmp low.bmp
expect 1 '"sizes": ' "$tool" compare --json coffee.bmp low.bmp
expect 0 "" convert --scale 600x400 low.bmp high.bmp
expect 0 "600 x 400" "$tool" info high.bmp
rm low.bmp high.bmp
expect 0 "reads: BMP TIFF" "$tool" --version
expect 0 "selected: " "$tool" info --cpu
expect 0 '"instruction_sets": ' "$tool" info --cpu --json

# Incomplete files, and reasons of the system.
printf '\377\330\377' > three.jpg
: > empty.bmp
expect_error "three.jpg: " "$tool" info three.jpg
expect_error "empty.bmp: the file is empty" "$tool" info empty.bmp
mkdir folder
expect_error "folder: is a folder" "$tool" info folder
rmdir folder
printf 'GIF89a, not readable' > picture.gif
expect_error "cannot read GIF files (viq reads: BMP" convert picture.gif out.bmp
expect_error "OUT is required" convert coffee.bmp
rm -f three.jpg empty.bmp picture.gif grey16.tif
if [ -e /dev/full ]; then
    for command in "info coffee.bmp" "compare coffee.bmp coffee.bmp" "histogram coffee.bmp" "--help" "--version" \
        "lut generate 201" "motion coffee.bmp coffee.bmp" "convert coffee.bmp - --to tif"; do
        expect_error "standard output: " bash -c '"$0" '"$command"' > /dev/full' "$tool"
    done
    expect_error "/dev/full: " "$tool" histogram --svg /dev/full coffee.bmp
    expect_error "/dev/full: " "$tool" lut generate 201 --save /dev/full
fi
# A file that cannot grow is not left in part, and the old one stays.
for command in "convert coffee.bmp out.tif" "convert coffee.bmp out.raw" "convert coffee.bmp out.pnm" \
    "convert coffee.bmp out.dwt" "convert coffee.bmp out.jpg" "lut generate 203 --save out.table" \
    "print coffee.bmp --to out.pdf"; do
    for old in no yes; do
        out=${command##* }
        rm -f "$out"
        [ "$old" = no ] || echo old > "$out"
        ls -A > before
        expect 2 "$out: " bash -c 'trap "" XFSZ; ulimit -f 4; "$0" '"$command" "$tool"
        expect 0 "" bash -c 'ls -A | diff before -'
        [ "$old" = no ] || expect 0 "old" cat "$out"
        rm -f "$out"
    done
done

# With too little memory, the result is the right one or an error.
convert --format rgb16 coffee.bmp expected.dwt
for kilobytes in $(seq 14000 1500 40000); do
    rm -f out.dwt
    if (ulimit -v "$kilobytes" && "$tool" convert --format rgb16 coffee.bmp out.dwt) 2> /dev/null; then
        expect 0 "" cmp expected.dwt out.dwt
    else
        expect 0 "" test ! -e out.dwt
    fi
done
rm -f expected.dwt out.dwt

# Errors: one line with the file and the reason; an existing output file is kept.
rm -f same.bmp out.* paletted*
head -c 100000 coffee.bmp > short.bmp
printf 'BM junk, not a picture' > junk.bmp
ls > before
expect_error "missing.bmp: cannot be opened: No such file or directory" convert missing.bmp out.bmp
expect_error "junk.bmp: " convert junk.bmp out.bmp
expect_error "short.bmp: " convert short.bmp out.bmp
expect_error "short.bmp: " convert --format paletted short.bmp coffee2.bmp
expect_error "nowhere/out.bmp: cannot be created: No such file or directory" convert coffee.bmp nowhere/out.bmp
expect_error "out.xyz: unknown output extension" convert coffee.bmp out.xyz
expect_error "out.raw: " convert --format hsi coffee.bmp nowhere/out.raw
expect_error "sepia" convert --format sepia coffee.bmp out.bmp
expect_error "--strip: Value 0 not in range 1 to" convert --strip 0 coffee.bmp out.bmp
expect_error "junk.bmp: " "$tool" compare coffee.bmp junk.bmp
expect_error "'polish' is not a command" "$tool" polish coffee.bmp
expect_error "did you mean 'convert'?" "$tool" convrt coffee.bmp
expect 0 "" bash -c 'ls | diff before -'
expect 0 "" cmp coffee2.bmp coffee3.bmp
if [ -e /dev/full ]; then
    ln -s /dev/full full.bmp
    expect_error "full.bmp: " convert coffee.bmp full.bmp
else
    echo "skipped: a full disk: /dev/full does not exist"
fi

# A picture several times larger than the memory limit can be converted. A build with sanitizers
# cannot be tested, because it reserves terabytes of address space.
if { (ulimit -v 60000 && "$tool" --help > /dev/null); } 2> /dev/null; then
    { printf 'BM\0\0\0\0\0\0\0\0\66\0\0\0\50\0\0\0\20\47\0\0\350\3\0\0\1\0\30\0'
      head -c 24 /dev/zero; } > large.bmp
    truncate -s $((54 + 10000 * 3000 * 3)) large.bmp
    printf '\270\13\0\0' | dd of=large.bmp bs=1 seek=22 conv=notrunc status=none
    expect 0 "" bash -c 'ulimit -v 60000; "$0" convert --format bgrx32 large.bmp larger.bmp' "$tool"
    expect 0 "" cmp -s -i 54 large.bmp larger.bmp
    rm -f large.bmp larger.bmp
else
    echo "skipped: a picture larger than memory: the tool does not start with 60 MB of address space"
fi

# The demo writes every file that its page refers to. Windows separates names by backslashes.
expect 0 "wrote page/index.html" bash -o pipefail -c '"$1" demo --out page | tr "\\\\" /' - "$tool"
expect 0 "All conversions" cat page/index.html
expect 0 "" bash -c 'grep -o "src=\"[^\"]*\"" page/index.html | cut -d\" -f2 | (cd page && xargs ls)'
[[ $("$tool" --version) == *libpng* ]] && lossless=png || lossless=bmp
expect 0 "viq convert --format rgb16 coffee.bmp rgb16.$lossless" bash -c 'sed "s/<[^>]*>//g" page/index.html'
expect 0 "under 8 MB" bash -c '[ "$(du -sk page | cut -f1)" -lt 8000 ] && echo under 8 MB'
expect_error "coffee.bmp/page: " "$tool" demo --out coffee.bmp/page

echo "$((checks - failures)) passed, $failures failed"
[ "$failures" -eq 0 ]
