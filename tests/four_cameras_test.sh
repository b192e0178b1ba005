#!/usr/bin/env bash
# Runs the example with four cameras, reads its files back, and compares with djpeg if it is
# installed. Arguments: the tool, the source folder. VIQ_FOUR_CAMERAS: the example.
set -euo pipefail

tool=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
mkdir films

fail() {
    echo "FAILED: $*"
    exit 1
}

"$VIQ_FOUR_CAMERAS" 3 films
for camera in 1 2 3 4; do
    film=films/camera$camera.jpg
    "$tool" sequence info "$film" > info
    grep -q '640 x 480, 3 frames' info || fail "frames of $film"
    "$tool" sequence split "$film" "camera$camera" > log
    "$tool" convert "camera$camera/frame0003.jpg" "camera$camera.bmp" > log
done
"$tool" compare --tolerance 30 camera1.bmp camera2.bmp > log && fail "two cameras show one scene"

if command -v djpeg > log; then
    for picture in camera?; do
        djpeg -dct int -nosmooth -bmp -outfile theirs.bmp "$picture/frame0003.jpg"
        "$tool" compare --tolerance 8 "$picture.bmp" theirs.bmp || fail "pixels of $picture"
    done
else
    echo "skipped: djpeg is missing"
fi

status=0
"$VIQ_FOUR_CAMERAS" 1 missing_folder > log 2>&1 || status=$?
[ "$status" -eq 1 ] || fail "status $status without the folder"
grep -q 'Failed to create file' log || fail "no message without the folder"
