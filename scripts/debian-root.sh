# Debian roots for tests. A script that sources this file names the folder in `root`; what the
# making of the root prints is in $root.log.

skip() {
    echo "skipped: $*"
    exit 77
}

# Sets `propagation`: in a chroot that of "/" cannot be changed, and is usable if mounts are not seen
# outside of the namespace all the same.
find_propagation() {
    local probe
    probe=$(mktemp -d)
    for propagation in private unchanged ''; do
        [ -n "$propagation" ] || skip "mount namespaces are not permitted"
        in_namespace mount -t tmpfs none "$probe" 2> /dev/null || continue
        mountpoint -q "$probe" || break
        umount "$probe"
    done
    rmdir "$probe"
}

# Mounts and processes end with the command.
in_namespace() { # COMMAND...
    unshare --mount --pid --fork --kill-child --propagation "$propagation" "$@"
}

# Sets `release` and `propagation`. Skips the test where a root can be neither made nor used.
require_roots() {
    [ "$(id -u)" -eq 0 ] || skip "making a root needs the rights of root"
    find_propagation
    release=$(. /etc/os-release && [ "$ID" = debian ] && echo "$VERSION_CODENAME") || skip "not Debian"
}

# Nothing below the root may be mounted when files are removed there.
remove_root() {
    if grep -q " $root/" /proc/self/mountinfo; then
        echo "FAILED: $root has mounts; not removed" >&2
        exit 1
    fi
    rm -rf --one-file-system "$root"
}

make_root() { # OPTION OF DEBOOTSTRAP...
    local maker mirror settings
    for maker in debootstrap mmdebstrap ''; do
        [ -n "$maker" ] && command -v $maker > /dev/null && break
    done
    [ -n "$maker" ] || skip "neither debootstrap nor mmdebstrap is installed"
    mirror=$(grep -rhoE 'https?://[^ ]+/debian/?( |$)' /etc/apt/sources.list* 2> /dev/null | head -n 1 || true)
    remove_root
    echo "makes $root"
    mkdir -p "$(dirname "$root")"
    "$maker" --variant=minbase "$@" "$release" "$root" "${mirror:-http://deb.debian.org/debian}" \
        > "$root.log" 2>&1 || {
        tail -n 5 "$root.log"
        remove_root
        skip "$maker cannot make a root here"
    }
    # The root is for tests only: nothing has to survive a failure of power.
    echo force-unsafe-io > "$root/etc/dpkg/dpkg.cfg.d/unsafe-io"
    # Proxies and similar settings of this machine.
    for settings in $(grep -lE '^ *Acquire::' /etc/apt/apt.conf.d/* 2> /dev/null || true); do
        cp "$settings" "$root/etc/apt/apt.conf.d/"
    done
    cp -L /etc/resolv.conf /etc/hosts "$root/etc/"
}
