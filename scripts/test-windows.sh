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
host_tool=$PWD/build/release/bin/alone/viq
server=/usr/lib/wine/wineserver32
in_root=(chroot "$root" env -u TMPDIR HOME=/root LC_ALL=C.UTF-8 WINEDEBUG=-all)

# Starts a Windows program in the root, in the directory of the caller. VIQ_SCREEN=24 or 16 gives it
# the screen of this depth.
write_emulator() {
    mkdir -p "$binaries"
    cat > "$emulator" << END
#!/bin/sh
unset DISPLAY
[ -z "\$VIQ_SCREEN" ] || export DISPLAY=:\$(cat "$binaries/screen\$VIQ_SCREEN")
[ "\$VIQ_SCREEN" != 16 ] || export WINEPREFIX=/root/.wine16
exec $(printf '%q ' "${in_root[@]}") WINEPATH="$binaries" \\
    sh -c 'cd "\$0" && exec /usr/lib/wine/wine "\$@"' "\$PWD" "\$@"
END
    chmod +x "$emulator"
}

build() {
    cmake --preset windows -D CMAKE_CROSSCOMPILING_EMULATOR="$emulator" \
        -D VIQ_HOST_TOOL="$host_tool" > build/windows.log 2>&1 || { cat build/windows.log; return 1; }
    cmake --build --preset windows &&
        cmake --preset release > build/release.log &&
        cmake --build --preset release --target viq_tool_alone
}

# Wine serves the programs of a folder of settings by one process, which shows all windows on the
# screen that it was started with. The settings for the other screen refer to the same drive.
make_settings() {
    local made=$root/root/.wine copied=$root/root/.wine16
    if [ ! -e "$made/system.reg" ]; then
        "${in_root[@]}" wineboot -i < /dev/null > /dev/null 2>&1
        "${in_root[@]}" "$server" -k
        "${in_root[@]}" "$server" -w
    fi
    mkdir -p "$copied"
    cp -a "$made"/*.reg "$made/.update-timestamp" "$made/dosdevices" "$copied"
    ln -sfn /root/.wine/drive_c "$copied/drive_c"
}

# Without a server that stays, each program would start one, which takes seconds.
start_screen() { # DEPTH SETTINGS
    local n name=$binaries/screen$1
    local command=("${in_root[@]}" WINEPREFIX="$2")
    : > "$name"
    chroot "$root" Xvfb -displayfd 1 -screen 0 "1024x768x$1" -nolisten tcp > "$name" 2> /dev/null &
    for n in {1..600}; do
        [ ! -s "$name" ] || break
        sleep 0.1
    done
    command+=(DISPLAY=":$(cat "$name")")
    "${command[@]}" "$server" -p < /dev/null > /dev/null 2>&1
    "${command[@]}" wineboot -i < /dev/null > /dev/null 2>&1
}

run_tests() {
    mkdir -p "$root$PWD" "$binaries/tmp"
    mount -t proc proc "$root/proc"
    mount --rbind /dev "$root/dev"
    mount --bind "$PWD" "$root$PWD"
    make_settings
    start_screen 24 /root/.wine
    start_screen 16 /root/.wine16
    # Scripts and programs of both systems see the same temporary files.
    TMPDIR=$binaries/tmp ctest --preset windows --timeout 900
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
