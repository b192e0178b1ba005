#!/usr/bin/env bash
# Builds for 32-bit Windows and runs the tests under wine, in a Debian i386 root, which the first run
# makes. One of the tests compares the outputs of the tool with those of the tool of this system.
# Options are passed to ctest: "-R tool" runs the tests whose names contain it. With --root the script
# only makes the root.
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
[ -z "\$VIQ_SCREEN" ] ||
    export DISPLAY=:\$(cat "$binaries/screen\$VIQ_SCREEN") WINEPREFIX=/root/.wine\$VIQ_SCREEN
start() { # [exec] --, PROGRAM, ARGUMENT...
    command=
    [ "\$1" = -- ] || { command=\$1 && shift; }
    shift
    \$command $(printf '%q ' "${in_root[@]}") WINEPATH="$binaries" \\
        sh -c 'cd "\$0" && exec /usr/lib/wine/wine "\$@"' "\$PWD" "\$@"
}
case "\$1" in
*viq_tests.exe) ;;
*) start exec -- "\$@" ;;
esac
# GoogleTest starts a thread. Where a program ends while a thread is starting, wine itself may crash,
# after the program has ended. The status of a Windows program that crashes is not that of a signal.
for attempt in 1 2 3; do
    start -- "\$@"
    status=\$?
    [ \$status -eq 139 ] || break
done
exit \$status
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

# Without a server that stays, each program would start one, which takes seconds.
start_server() { # VARIABLE=VALUE...
    "${in_root[@]}" "$@" "$server" -p < /dev/null > /dev/null 2>&1
    "${in_root[@]}" "$@" wineboot -i < /dev/null > /dev/null 2>&1
}

make_settings() {
    [ ! -e "$root/root/.wine/system.reg" ] || return 0
    "${in_root[@]}" wineboot -i < /dev/null > /dev/null 2>&1
    "${in_root[@]}" "$server" -k
    "${in_root[@]}" "$server" -w
}

# Programs that share a folder of settings share a desktop, which is on the screen of the program that
# needed it first, or on none. The settings of each screen refer to the same drive.
start_screen() { # DEPTH
    local n name=$binaries/screen$1 from=$root/root/.wine settings=/root/.wine$1
    mkdir -p "$root$settings"
    cp -a "$from"/*.reg "$from/.update-timestamp" "$from/dosdevices" "$root$settings"
    ln -sfn /root/.wine/drive_c "$root$settings/drive_c"
    : > "$name"
    chroot "$root" Xvfb -displayfd 1 -screen 0 "1024x768x$1" -nolisten tcp > "$name" 2> /dev/null &
    for n in {1..600}; do
        [ ! -s "$name" ] || break
        sleep 0.1
    done
    start_server WINEPREFIX="$settings" DISPLAY=":$(cat "$name")"
}

run_tests() { # OPTION...
    mkdir -p "$root$PWD" "$binaries/tmp"
    mount -t proc proc "$root/proc"
    mount --rbind /dev "$root/dev"
    mount --bind "$PWD" "$root$PWD"
    make_settings
    start_screen 24
    start_screen 16
    start_server
    # Scripts and programs of both systems see the same temporary files.
    TMPDIR=$binaries/tmp ctest --preset windows --timeout 900 "$@"
}

if [ "${1:-}" = --inside ]; then
    run_tests "${@:2}"
    exit
fi
require_roots
if [ "$(cat "$root/.complete" 2> /dev/null)" != "$contents" ]; then
    make_root --arch=i386 --include="$contents"
    rm -rf "$root"/var/cache/apt/archives/*.deb
    echo "$contents" > "$root/.complete"
fi
[ "${1:-}" != --root ] || exit 0
write_emulator
build || exit 1
in_namespace bash scripts/test-windows.sh --inside "$@"
