#!/usr/bin/env bash
# Prints to a printer of the Internet Printing Protocol (ippeveprinter) and through a print server
# (cupsd), both in a namespace of their own, which they end with. Exits with status 77 where that is
# not possible. Arguments: the tool, the source folder.
set -uo pipefail

self=$(realpath "$0")
programs=$(dirname "$self")/interop
source "$programs/status_checks.sh"
PATH=$PATH:/usr/sbin
need ippeveprinter cupsd lpadmin dbus-daemon avahi-daemon unshare ip
is_for_this_system "$1" || { echo "skipped: CUPS: the tool is for another system"; exit 77; }
[ -n "${VIQ_PRINT_HALF:-}" ] || { echo "skipped: the tests were built without their program"; exit 77; }
if [ "${3:-}" != inside ]; then
    unshare --mount --pid --net --fork true 2>/dev/null || { echo "skipped: printers need a namespace of their own"; exit 77; }
    exec unshare --mount --pid --net --fork --kill-child bash "$self" "$1" "$2" inside
fi
tool=$(realpath "$1")
samples=$(realpath "$2")/samples
mount -t proc proc /proc
mount -t tmpfs tmpfs /run
work=/run/work
mkdir -p "$work"/{spool,cups/ppd,requests,cache,state,temp} /run/avahi-daemon
cd "$work" || exit 2
ip link set lo up

wait_for() { # COMMAND...
    local n
    for ((n = 0; n < 300; ++n)); do
        "$@" >/dev/null 2>&1 && return
        sleep 0.1
    done
    echo "FAILED: $* did not succeed within 30 s"
    exit 1
}

# ippeveprinter announces itself by avahi, and exits without it.
export DBUS_SYSTEM_BUS_ADDRESS=unix:path=$work/bus
cat >bus.conf <<END
<busconfig><type>system</type><listen>$DBUS_SYSTEM_BUS_ADDRESS</listen><auth>EXTERNAL</auth>
<policy context="default"><allow user="*"/><allow own="*"/><allow send_destination="*"/>
<allow receive_sender="*"/></policy></busconfig>
END
cat >avahi.conf <<END
[server]
host-name=printers
use-ipv6=no
allow-interfaces=lo
END
dbus-daemon --config-file=bus.conf --nofork >bus.log 2>&1 &
wait_for test -S bus
avahi-daemon -f avahi.conf --no-drop-root --no-chroot --no-rlimits >avahi.log 2>&1 &
wait_for grep -q "startup complete" avahi.log
start_printer() {
    ippeveprinter -d spool -k -n localhost -p 8631 -f application/pdf -r off -s 3600 -v Test >printer.log 2>&1 &
    printer=$!
    wait_for bash -c "exec 3<>/dev/tcp/127.0.0.1/8631"
}
start_printer
address=ipp://localhost:8631/ipp/print

# The printer receives the documents that would be written to files. It takes one at a time.
print_to_printer() {
    wait_for "$tool" print --printer "$address" "$@"
}
number=0
for pictures in astronaut "astronaut camera"; do
    number=$((number + 1))
    read -ra files <<<"$pictures"
    files=("${files[@]/%/.bmp}")
    files=("${files[@]/#/$samples/}")
    print_to_printer "${files[@]}" --paper a4 --title "page $number"
    expect 0 "$tool" print "${files[@]}" --paper a4 --title "page $number" --to file.pdf
    expect 0 cmp file.pdf "spool/$number-page_$number.pdf"
done

# A document that is not finished is cancelled, also when the program ends.
for action in abandon destroy exit; do
    kill "$printer"
    wait "$printer" 2>/dev/null
    start_printer
    expect 0 "$VIQ_PRINT_HALF" "$action" "$address"
    expect 0 grep -q "Cancel-Job successful" printer.log
done

# The printer disappears.
start_half() { # fails while the printer is busy
    coproc half { exec "$VIQ_PRINT_HALF" wait "$address" 2>half.log; }
    half_pid=$!
    read -r _ <&"${half[0]:-}"
}
wait_for start_half
kill -9 "$printer"
wait "$printer" 2>/dev/null
echo go on >&"${half[1]}"
wait "$half_pid"
expect 1 [ $? = 0 ]
expect 0 grep -q "Printer '$address': " half.log
start_printer

# ---- A print server, whose spool keeps the documents of its queues

cat >cups/cupsd.conf <<END
Listen 127.0.0.1:8632
<Location />
Order allow,deny
Allow all
</Location>
<Policy default>
<Limit All>
Order deny,allow
Allow all
</Limit>
</Policy>
END
cat >cups/cups-files.conf <<END
FileDevice Yes
ServerRoot $work/cups
RequestRoot $work/requests
CacheDir $work/cache
StateDir $work/state
TempDir $work/temp
ErrorLog $work/error_log
AccessLog $work/access_log
PageLog $work/page_log
User lp
Group lp
SystemGroup root
END
chown -R lp:lp requests cache state temp
chmod 755 . cups
export CUPS_SERVER=127.0.0.1:8632
expect 2 "$tool" print --list
cupsd -f -c "$work/cups/cupsd.conf" -s "$work/cups/cups-files.conf" >cupsd.log 2>&1 &
wait_for lpstat -r
for queue in second first; do
    wait_for lpadmin -p "$queue" -E -v file:/dev/null -m raw -D "The $queue"
done
expect 2 "$tool" print "$samples/astronaut.bmp"
expect 0 grep -q "No default printer" <<<"$output"
expect 0 lpadmin -d first
expect 0 "$tool" print --list
expect 0 [ "$output" = "* first"$'\t'"The first"$'\n'"  second"$'\t'"The second" ]
expect 0 "$tool" print "$samples/astronaut.bmp" --paper a4 --to queue.pdf
# A set of options of a queue is a printer of its own.
echo "Dest first/small media=iso_a5_148x210mm" >cups/lpoptions
expect 0 env CUPS_SERVERROOT="$work/cups" "$tool" print --list
expect 0 grep -q "first/small" <<<"$output"
expect 0 "$tool" print "$samples/astronaut.bmp" --paper a4 --to queue.pdf
number=0
for queue in "" second; do
    number=$((number + 1))
    expect 0 "$tool" print "$samples/astronaut.bmp" --paper a4 ${queue:+--printer "$queue"}
    expect 0 cmp queue.pdf "requests/d0000$number-001"
done
expect 2 "$tool" print "$samples/astronaut.bmp" --printer third
expect 0 grep -q "Printer 'third': not found" <<<"$output"
expect 0 cupsreject second
expect 2 "$tool" print "$samples/astronaut.bmp" --printer second
expect 0 grep -q "Printer 'second': does not accept jobs" <<<"$output"

# An unfinished document never becomes a job of the queue.
jobs=$(lpstat -W all | wc -l)
for action in abandon destroy exit; do
    expect 0 "$VIQ_PRINT_HALF" "$action" first
    expect 0 [ "$(lpstat -W all | wc -l)" = "$jobs" ]
done

echo "$((checks - failures)) passed, $failures failed"
[ "$failures" -eq 0 ]
