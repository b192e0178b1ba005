#!/usr/bin/env bash
# Builds for 32-bit Windows and runs the tests under wine, in a Debian i386 root that the first run
# makes. The last test compares the outputs of the tool with those of the tool of this system.
# Where no such root can be made, the last line is "skipped: REASON" and the exit status is 77.
#   VIQ_WINE_ROOT  where the root is kept (default: viq/wine32 in the user's cache)
set -uo pipefail
self=$(realpath "$0")
cd "$(dirname "$0")/.." || exit
root=${VIQ_WINE_ROOT:-${XDG_CACHE_HOME:-$HOME/.cache}/viq/wine32}
binaries=$PWD/build/windows
emulator=$binaries/wine

skip() {
    echo "skipped: $1"
    exit 77
}

make_root() {
    [ ! -e "$root/made" ] || return 0
    [ "$(id -u)" -eq 0 ] || skip "a root for wine can be made by root only"
    command -v debootstrap >/dev/null || skip "debootstrap is missing"
    local mirror
    mirror=$(apt-get indextargets --format '$(SITE)' 'Codename: bookworm' 2>/dev/null | head -n 1)
    rm -rf --one-file-system "$root"
    mkdir -p "$root"
    debootstrap --arch=i386 --variant=minbase --include=wine32,wine bookworm "$root" \
        "${mirror:-http://deb.debian.org/debian}" >"$root.log" 2>&1 || {
        tail -n 3 "$root.log"
        skip "debootstrap could not make a root for wine"
    }
    rm -rf "$root"/var/cache/apt/archives/*.deb
    touch "$root/made"
}

# Starts a Windows program in the root, in the directory of the caller.
write_emulator() {
    mkdir -p "$binaries"
    cat >"$emulator" <<END
#!/bin/sh
exec chroot "$root" env -u TMPDIR -u DISPLAY HOME=/root LC_ALL=C.UTF-8 WINEDEBUG=-all WINEPATH="$binaries" \\
    sh -c 'cd "\$0" && exec /usr/bin/wine "\$@"' "\$PWD" "\$@"
END
    chmod +x "$emulator"
}

build() {
    cmake --preset windows -D CMAKE_CROSSCOMPILING_EMULATOR="$emulator" \
        -D VIQ_HOST_TOOL="$PWD/build/release/bin/alone/viq" >build/windows.log 2>&1 ||
        { cat build/windows.log; return 1; }
    cmake --build --preset windows &&
        cmake --preset release >build/release.log &&
        cmake --build --preset release --target viq_tool_alone
}

# The mounts and all processes of wine end with the namespace that this function is run in. Without
# a server that stays, each program would start one, which takes seconds.
run_tests() {
    mkdir -p "$root$PWD" "$root/root/.wine" "$binaries/tmp"
    mount -t proc proc "$root/proc"
    mount --rbind /dev "$root/dev"
    mount --bind "$PWD" "$root$PWD"
    local in_root=(chroot "$root" env -u TMPDIR HOME=/root LC_ALL=C.UTF-8 WINEDEBUG=-all)
    "${in_root[@]}" /usr/lib/wine/wineserver32 -p </dev/null >/dev/null 2>&1
    "${in_root[@]}" wineboot -i </dev/null >/dev/null 2>&1
    # Scripts and programs of both systems see the same temporary files.
    TMPDIR=$binaries/tmp ctest --preset windows --timeout 300
}

if [ "${1:-}" = inside ]; then
    run_tests
    exit
fi
make_root
unshare --mount --pid --fork true 2>/dev/null || skip "wine needs a namespace of its own"
write_emulator
build || exit 1
exec unshare --mount --pid --fork --kill-child bash "$self" inside
