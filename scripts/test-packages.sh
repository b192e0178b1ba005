#!/usr/bin/env bash
# Builds the packages, installs them in a bare Debian 12 root, builds the examples there with
# find_package and with pkg-config, runs them and the tool, and removes the packages again. Also
# unpacks the archive in the root and links an example with it.
#
# The root is kept as build/package-root and used again. Mounts exist in a mount namespace of
# their own and end with it. Exits with status 77 if a root cannot be made here.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/debian-root.sh

project=$PWD
root=$project/build/package-root
packages=$project/build/package/packages
names='libviq4|libviq-dev|viq|python3-viq'

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

# ---- Inside the mount namespace

if [ "${1:-}" = --inside ]; then
    mount -t proc proc "$root/proc"
    mount --rbind /dev "$root/dev"
    exec chroot "$root" env -i HOME=/root LANG=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
        PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
        bash -euo pipefail -c "$2"
fi

in_root() { # COMMANDS
    in_namespace bash "$project/scripts/test-packages.sh" --inside "$1"
}

# ---- The root

make_package_root() {
    make_root
    in_root 'apt-get update -qq; apt-get install -qq --no-install-recommends g++ make cmake pkg-config' \
        >> "$root.log" 2>&1 || fail "no compiler: $(tail -n 5 "$root.log")"
    touch "$root/.complete"
}

require_roots
command -v dpkg-shlibdeps > /dev/null || skip "dpkg-dev is not installed"

# ---- The packages

mkdir -p build
rm -rf "$packages"
{
    cmake --preset package && cmake --build --preset package && cpack --preset package
} > build/package.log 2>&1 || fail "no packages: $(tail -n 20 build/package.log)"
ls -l "$packages"/*.deb "$packages"/*.tar.gz

if command -v lintian > /dev/null; then
    lintian --allow-root --fail-on error "$packages"/*.deb || fail "lintian finds errors"
else
    echo "skipped: lintian is missing"
fi

# ---- Install, build, run, remove

[ -e "$root/.complete" ] || make_package_root
rm -rf "$root/work"
mkdir "$root/work"
cp "$packages"/*.deb "$packages"/*.tar.gz "$root/work/"

remove='apt-get purge -qq $(dpkg-query -W -f "\${Package}\n" | grep -xE "'$names'") > /dev/null'
in_root "! dpkg-query -W viq libviq4 > /dev/null 2>&1 || $remove"
in_root '
    cd /work
    apt-get install -qq --no-install-recommends ./*.deb > install.log || { cat install.log; exit 1; }
    viq --version
    viq demo --out demo > /dev/null
    samples=/usr/share/viq/samples
    examples=/usr/share/doc/libviq-dev/examples

    run_examples() { # FOLDER OF THE PROGRAMS
        mkdir -p results
        cd results
        ../$1/first_steps $samples/coffee.bmp grey.bmp
        ../$1/large_picture $samples/camera.bmp half.bmp
        ../$1/record_sequence 3 film.jpg
        ../$1/chroma_key $samples/coffee.bmp $samples/astronaut.bmp $samples/chelsea.bmp keyed.bmp
        ../$1/error_handler $samples/coffee.bmp
        cp $samples/*.bmp .
        ../$1/four_threads ./*.bmp
        viq convert --mosaic $samples/camera.bmp frame.raw
        ../$1/camera_frame BayerRG8 512 512 frame.raw developed.jpg
        viq info *.bmp *.jpg > /dev/null
        cd ..
    }

    cmake -S $examples -B cmake-build > /dev/null
    cmake --build cmake-build -j 2 > /dev/null
    run_examples cmake-build
    echo "examples built with find_package: run"

    mkdir by-pkg-config
    for source in $examples/*.c; do
        name=$(basename $source .c)
        cc -std=c99 -Wall -Werror $source -o by-pkg-config/$name $(pkg-config --cflags --libs viq) -pthread
    done
    run_examples by-pkg-config
    echo "examples built with pkg-config: run"

    for page in VIQ_image_create VIQ_open_as viq_files viq; do
        [ -e /usr/share/man/man3/$page.3.gz ] || { echo "no page $page(3)"; exit 1; }
    done
    if [ -d /usr/lib/python3/dist-packages/viq ]; then
        [ -e /usr/lib/python3/dist-packages/viq/__pycache__ ]
        python3 -c "import viq, sys; print(viq.open(sys.argv[1]).to(\"rgb24\").array.shape)" $samples/coffee.bmp
    fi
'
in_root "$remove"
left=$(find "$root"/{usr,etc,var,opt} -iname '*viq*' | head)
[ -z "$left" ] || fail "the packages leave: $left"
echo "packages: installed, used and removed"

# The archive works from any folder, beside the packages or without them.
in_root '
    cd /work
    mkdir archive
    tar xzf viq-*.tar.gz -C archive --strip-components 1
    examples=archive/share/doc/libviq-dev/examples
    cmake -S $examples -B archive-build -D CMAKE_PREFIX_PATH=/work/archive > /dev/null
    cmake --build archive-build --target first_steps > /dev/null
    archive-build/first_steps
'
echo "archive: unpacked and linked with"
rm -rf "$root/work"
