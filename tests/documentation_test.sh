#!/usr/bin/env bash
# Runs every block of code of the README and of the manual. Arguments: the tool, the source folder.
# VIQ_CC, VIQ_CXX: the compilers; VIQ_LINK: what links a program with the library.
set -euo pipefail
command -v python3 >/dev/null || { echo "skipped: python3 is missing"; exit 77; }
[ -n "${VIQ_LINK:-}" ] || { echo "skipped: programs of this build do not run here"; exit 77; }

tool=$(realpath "$1")
source=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
PATH=$(dirname "$tool"):$PATH
export PATH

# The pictures that the blocks use.
mkdir "$work/pictures"
cd "$work/pictures"
viq convert --crop 100,60,320,240 "$source/samples/coffee.bmp" photo.bmp
viq convert --crop 60,20,320,240 "$source/samples/chelsea.bmp" background.bmp
viq convert --crop 60,20,320,240 "$source/samples/astronaut.bmp" before.bmp
viq convert --crop 62,20,320,240 "$source/samples/astronaut.bmp" after.bmp
for name in a b photo phone; do
    viq convert photo.bmp $name.jpg
done
viq convert photo.bmp colour.bmp
head -c 3200000 < <(yes viq) > frame.raw # 1920 x 1080 pixels of 12 bits and more
head -c 4147200 < <(yes viq) > film.raw
viq convert photo.bmp big.tif
viq convert photo.bmp scan.tif
if command -v tiffcp >/dev/null; then
    tiffcp scan.tif scan.tif pages.tif
    mv pages.tif scan.tif
fi

cd "$source"
# The Python package of the build. A library with sanitizers cannot be loaded by Python.
package=$(dirname "$tool")/../python
if [ -d "$package/viq" ] && [[ $VIQ_LINK != *-fsanitize* ]] &&
    VIQ_PYTHON=$(. python/tests/python.sh numpy >/dev/null && echo "$python"); then
    export VIQ_PYTHON PYTHONPATH=$package
fi
python3 tests/documentation/run_blocks.py "$work" "$source" README.md docs/*.md docs/manual/*.md \
    python/README.md examples/cluster/README.md include/viq.h include/viq/*.h
