#!/usr/bin/env bash
# Builds for 32-bit Windows and runs the tests under wine, in a Debian i386 root, which the first run
# makes. One of the tests compares the outputs of the tool with those of the tool of this system.
#
# The root is kept as build/wine-root, or in the folder that VIQ_WINE_ROOT names, and used again.
# Mounts and processes exist in namespaces of their own and end with them. Exits with status 77 if a
# root cannot be made here.
set -uo pipefail
cd "$(dirname "$0")/.." || exit
. scripts/debian-root.sh

root=${VIQ_WINE_ROOT:-$PWD/build/wine-root}
contents=wine32,wine,xvfb
binaries=$PWD/build/windows
emulator=$binaries/wine

# Starts a Windows program in the root, in the directory of the caller; with VIQ_WITH_DISPLAY=1 it has
# the display of the root.
write_emulator() {
    mkdir -p "$binaries"
    cat > "$emulator" << END
#!/bin/sh
unset DISPLAY
[ -z "\$VIQ_WITH_DISPLAY" ] || export DISPLAY=:\$(cat "$binaries/display")
exec chroot "$root" env -u TMPDIR HOME=/root LC_ALL=C.UTF-8 WINEDEBUG=-all WINEPATH="$binaries" \\
    sh -c 'cd "\$0" && exec /usr/bin/wine "\$@"' "\$PWD" "\$@"
END
    chmod +x "$emulator"
}

build() {
    cmake --preset windows -D CMAKE_CROSSCOMPILING_EMULATOR="$emulator" \
        -D VIQ_HOST_TOOL="$PWD/build/release/bin/alone/viq" > build/windows.log 2>&1 ||
        { cat build/windows.log; return 1; }
    cmake --build --preset windows &&
        cmake --preset release > build/release.log &&
        cmake --build --preset release --target viq_tool_alone
}

start_display() {
    local n
    : > "$binaries/display"
    chroot "$root" Xvfb -displayfd 1 -screen 0 1024x768x24 -nolisten tcp > "$binaries/display" 2> /dev/null &
    for n in {1..100}; do
        [ ! -s "$binaries/display" ] || break
        sleep 0.1
    done
    export DISPLAY=:$(cat "$binaries/display")
}

# Without a server that stays, each program would start one, which takes seconds. It is started with
# the display, which it passes to all programs that have one.
run_tests() {
    mkdir -p "$root$PWD" "$root/root/.wine" "$binaries/tmp"
    mount -t proc proc "$root/proc"
    mount --rbind /dev "$root/dev"
    mount --bind "$PWD" "$root$PWD"
    start_display
    local in_root=(chroot "$root" env -u TMPDIR HOME=/root LC_ALL=C.UTF-8 WINEDEBUG=-all)
    "${in_root[@]}" /usr/lib/wine/wineserver32 -p < /dev/null > /dev/null 2>&1
    "${in_root[@]}" wineboot -i < /dev/null > /dev/null 2>&1
    # Scripts and programs of both systems see the same temporary files.
    TMPDIR=$binaries/tmp ctest --preset windows --timeout 300
}

if [ "${1:-}" = --inside ]; then
    run_tests
    exit
fi
require_roots
if [ "$(cat "$root/.complete" 2> /dev/null)" != "$contents" ]; then
    make_root --arch=i386 --include="$contents"
    rm -rf "$root"/var/cache/apt/archives/*.deb
    echo "$contents" > "$root/.complete"
fi
write_emulator
build || exit 1
in_namespace bash scripts/test-windows.sh --inside
