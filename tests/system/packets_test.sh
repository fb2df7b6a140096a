#!/bin/sh
# packets_test.sh QM-SERVE DRIVER - every packet that qm-serve sends to the
# group, in its order and at its time.
set -u
serve=$1
driver=$2
# shellcheck source=tests/system/netns.sh
. "$(dirname "$0")/netns.sh"

renderer=urn:schemas-upnp-org:device:MediaRenderer:1

# --- Expected packets ---------------------------------------------------------

usn() { [ "$2" = "$1" ] && echo "$1" || echo "$1::$2"; }

alive_set() { # UDN ADDRESS
    for nt in "$1" $root $device $directory $manager $registrar; do
        echo "NOTIFY * HTTP/1.1|HOST: 239.255.255.250:1900|CACHE-CONTROL: max-age=1810|LOCATION: http://$2:9000/QMSDeviceDescription.xml|NT: $nt|NTS: ssdp:alive|SERVER: Linux/2.x.x, UPnP/1.0, qrConnect UPnP SDK/1.0, QuorelMedia UPnP SDK/1.1|USN: $(usn "$1" "$nt")||"
    done
}

byebye_set() { # UDN
    for nt in "$1" $root $device $directory $manager; do
        echo "NOTIFY * HTTP/1.1|HOST: 239.255.255.250:1900|NT: $nt|NTS: ssdp:byebye|USN: $(usn "$1" "$nt")||"
    done
}

search_burst() {
    for st in $renderer $device $renderer $device; do
        echo "M-SEARCH * HTTP/1.1|MX: 10|ST: $st|HOST: 239.255.255.250:1900|MAN: \"ssdp:discover\"||"
    done
}

# --- Captures -----------------------------------------------------------------

captures=

# capture HOST ADDRESS FILE
capture() {
    ip netns exec "$1" "$driver" capture "$2" >"$3" &
    captures="$captures $!"
    await "capture on $1" grep -q ready "$3"
}

end_captures() {
    # The list is words.
    # shellcheck disable=SC2086
    kill $captures
    captures=
}

# The packets of a file: announcements come from port 1900, searches do not.
announcements() { grep "^[0-9]* $2 1900 " "$1" | cut -d' ' -f4-; }
searches() { grep -v "^[0-9]* $2 1900 \|^ready" "$1" | grep "^[0-9]* $2 " | cut -d' ' -f4-; }

# sent FILE NUMBER - the time of the announcement of that number.
sent() { grep ' 1900 NOTIFY' "$1" | sed -n "$2{s/ .*//p;q}"; }

# is_between WHY LOWER UPPER MS
is_between() { check "$1: $4 ms are within $2 and $3" 1 $(($4 >= $2 && $4 <= $3)); }

count() { [ "$(grep -c "NTS: ssdp:$1" "$2")" -ge "$3" ]; }
count_both() { [ $(($(grep -c "NTS: ssdp:$1" left) + $(grep -c "NTS: ssdp:$1" right))) -ge "$2" ]; }

# --- The hosts: a server between two, one more, and one with loopback alone ---

host server
host near
host far
host late
host alone
link server eth0 10.77.1.1 02:00:00:00:01:01 near eth0 10.77.1.2
link server eth1 10.77.2.1 02:00:00:00:01:02 far eth0 10.77.2.2
link late eth0 10.77.4.1 02:00:00:00:04:01 far eth2 10.77.4.2
# A second address in the same /24.
ip -n server addr add 10.77.1.9/24 dev eth0

# The usual wait of ten seconds goes on beside all else.
capture far 10.77.4.2 slow
mkdir slow_data
late_start=$(date +%s%3N)
start late -appdata "$work/slow_data"
late_server=$server

# --- One run ------------------------------------------------------------------

capture_pids=$captures
captures=
capture near 10.77.1.2 left
capture far 10.77.2.2 right
start server -nmcmode 0
check "addresses" \
    "http://127.0.0.1:9000/ http://10.77.1.1:9000/ http://10.77.2.1:9000/" \
    "$(xargs <urls)"
await "two sets on one side" count alive left 12
await "two sets on the other" count alive right 12
# Of the two heartbeats the first that sees a request obeys it.
kill -USR1 "$server"
await "byebye" count_both byebye 5
kill -USR2 "$server"
await "wake-up" count_both alive 30
stop
await "farewell on one side" count byebye left 10
await "farewell on the other" count byebye right 10
end_captures

# expected ADDRESS FILE - what a heartbeat sent, whichever requests it obeyed.
expected() {
    alive_set $udn "$1"
    alive_set $udn "$1"
    [ "$(grep -c NTS:.ssdp:byebye "$2")" -eq 10 ] || byebye_set $udn
    [ "$(grep -c NTS:.ssdp:alive "$2")" -eq 12 ] || alive_set $udn "$1"
    byebye_set $udn
    byebye_set $udn
}
for side in "10.77.1.1 left" "10.77.2.1 right"; do
    address=${side% *}
    file=${side#* }
    check "announcements of $address" "$(expected "$address" "$file")" \
        "$(announcements "$file" "$address")"
    check "searches of $address" "$(search_burst)" "$(searches "$file" "$address")"
    check "packets of others on the side of $address" "" \
        "$(grep -v "^ready\|^[0-9]* $address " "$file")"
    is_between "second set" 205 600 $(($(sent "$file" 7) - $(sent "$file" 6)))
done
check "byebyes in all" 25 "$(cat left right | grep -c NTS:.ssdp:byebye)"
check "alives in all" 30 "$(cat left right | grep -c NTS:.ssdp:alive)"

# --- An end without a farewell ------------------------------------------------

start server -nmcmode 0 -ip 10.77.1.1
kill -9 "$server"
wait "$server" 2>/dev/null
capture near 10.77.1.2 again
start server -nmcmode 0 -ip 10.77.1.1
await "sets after the end" count alive again 12
stop
await "farewell" count byebye again 20
end_captures
check "byebye goes first" \
    "$(byebye_set $udn; byebye_set $udn
       alive_set $udn 10.77.1.1; alive_set $udn 10.77.1.1
       byebye_set $udn; byebye_set $udn)" "$(announcements again 10.77.1.1)"
is_between "alive after byebye" 495 900 $(($(sent again 11) - $(sent again 10)))

# --- Loopback alone -----------------------------------------------------------

# A machine without a MAC has an identity, too.
nobody=uuid:55056f72-656c-4d65-64a8-424242424242
capture alone 127.0.0.1 own
start alone -nmcmode 0
check "the loopback address" http://127.0.0.1:9000/ "$(cat urls)"
await "sets on loopback" count alive own 12
stop
await "farewell" count byebye own 10
check "packets on loopback" \
    "$(alive_set $nobody 127.0.0.1; alive_set $nobody 127.0.0.1
       byebye_set $nobody; byebye_set $nobody)" "$(announcements own 127.0.0.1)"
end_captures

# --- The wait of ten seconds --------------------------------------------------

await "sets after ten seconds" count alive slow 12
is_between "first set" 10000 11500 $(($(sent slow 1) - late_start))
server=$late_server
stop
captures=$capture_pids
end_captures
finish
