#!/bin/sh
# discovery_test.sh QM-SERVE QM-FIND DRIVER - qm-serve and qm-find as other
# hosts and other programs see them.
set -u
serve=$1
find=$2
driver=$3
# shellcheck source=tests/system/netns.sh
. "$(dirname "$0")/netns.sh"

# Three hosts, each with a network of its own to each of the others.
host server
host near
host far
link server eth0 10.77.1.1 02:00:00:00:01:01 near eth0 10.77.1.2
link server eth1 10.77.2.1 02:00:00:00:01:02 far eth0 10.77.2.2
link near eth1 10.77.3.1 02:00:00:00:02:02 far eth1 10.77.3.2

ip netns exec far "$find" --watch >watched &
watcher=$!
start server -nmcmode 0 -friendlyname 'A & B on %HOSTNAME%'
await "announcement" grep -q "^found.$udn" watched

# --- The device ---------------------------------------------------------------

get() { on near curl -s "$@"; }

url=http://10.77.1.1:9000
get $url/QMSDeviceDescription.xml >description
check "friendly name" \
    "<friendlyName>A &amp; B on $(hostname | cut -d. -f1 | cut -c1-64)</friendlyName>" \
    "$(grep friendlyName description)"
check "UDN" "<UDN>$udn</UDN>" "$(grep '<UDN>' description)"
# element, type of what it leads to
while read -r element type; do
    sed -n "s:.*<$element>\([^<]*\)</$element>.*:\1:p" description >paths
    while read -r path; do
        check "$path" "200 $type" \
            "$(get -o /dev/null -w '%{http_code} %{content_type}' "$url$path")"
    done <paths
done <<END
SCPDURL text/xml; charset="utf-8"
url image/png
presentationURL text/html; charset=utf-8
END
check "actions" "3 5" "$(for name in ConnectionManager ContentDirectory; do
    get "$url/$name.xml" | grep -c '<action>'
done | xargs)"

# --- Requests as clients send them --------------------------------------------

# why, request, the target that is answered or "" for none; "@" is the device.
while IFS=';' read -r why request target; do
    # The requests hold escapes.
    # shellcheck disable=SC2059
    check "$why" "$target" \
        "$(printf "$(echo "$request" | sed "s/@/$device/")" |
            on near "$driver" ask 10.77.1.2)"
done <<END
plain;M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nMAN: "ssdp:discover"\r\nMX: 2\r\nST: @\r\n\r\n;$device
other case and no blanks;M-SEARCH * HTTP/1.1\r\nst:@\r\nMan:"SSDP:Discover"\r\nmx:5\r\n\r\n;$device
many blanks, no quotes;M-SEARCH * HTTP/1.1\r\nST :  @ \t\r\nMAN: ssdp:discover\r\nMX:\t1 \r\n\r\n;$device
bare line feeds, no end;M-SEARCH * HTTP/1.1\nST: @\nMAN: "ssdp:discover"\nMX: 0;$device
unknown target;M-SEARCH * HTTP/1.1\r\nST: urn:other\r\nMAN: "ssdp:discover"\r\nMX: 2\r\n\r\n;
target in other case;M-SEARCH * HTTP/1.1\r\nST: SSDP:ALL\r\nMAN: "ssdp:discover"\r\nMX: 2\r\n\r\n;
no target;M-SEARCH * HTTP/1.1\r\nMAN: "ssdp:discover"\r\nMX: 2\r\n\r\n;
no MX;M-SEARCH * HTTP/1.1\r\nST: @\r\nMAN: "ssdp:discover"\r\n\r\n;
MX of no number;M-SEARCH * HTTP/1.1\r\nST: @\r\nMAN: "ssdp:discover"\r\nMX: 2s\r\n\r\n;
negative MX;M-SEARCH * HTTP/1.1\r\nST: @\r\nMAN: "ssdp:discover"\r\nMX: -1\r\n\r\n;
no MAN;M-SEARCH * HTTP/1.1\r\nST: @\r\nMX: 2\r\n\r\n;
other MAN;M-SEARCH * HTTP/1.1\r\nST: @\r\nMAN: "ssdp:discovery"\r\nMX: 2\r\n\r\n;
target behind the head;M-SEARCH * HTTP/1.1\r\nMAN: "ssdp:discover"\r\nMX: 2\r\n\r\nST: @\r\n;
other method;NOTIFY * HTTP/1.1\r\nST: @\r\nMAN: "ssdp:discover"\r\nMX: 2\r\n\r\n;
END

# --- Other programs -----------------------------------------------------------

# Each in the background, with the USNs that it finds.
discover() {
    on "$1" gssdp-discover -i eth0 -n 4 -t "$2" >"$3" &
    searches="$searches $!"
}
usns() { sed -n 's/^ *USN: *//p' "$1" | LC_ALL=C sort -u; }

searches=
if command -v minidlnad >/dev/null; then
    mkdir -p other/media other/db
    printf '%s\n' network_interface=eth0 port=8200 media_dir="$work/other/media" \
        db_dir="$work/other/db" log_dir="$work/other" friendly_name=Other >other/conf
    ip netns exec server minidlnad -S -f "$work/other/conf" \
        -P "$work/other/pid" >/dev/null 2>&1 &
    minidlna=$!
    on near "$find" --watch >beside &
    await "qm-find finds minidlna" grep -q ':8200/' beside
    await "and qm-serve" grep -q "$udn" beside
    kill $minidlna
    await "minidlna takes leave" grep -q ^gone beside
else
    echo "skipped: minidlna is not installed"
fi

if command -v gssdp-discover >/dev/null; then
    discover near ssdp:all all
    discover near urn:other none
    discover far $udn elsewhere
    for target in $root $udn $device $directory $manager $registrar; do
        discover near "$target" "target $target"
    done
    # The list is words.
    # shellcheck disable=SC2086
    wait $searches
    for target in $root $device $directory $manager $registrar; do
        check "$target" "$udn::$target" "$(usns "target $target")"
    done
    check "UDN" $udn "$(usns "target $udn")"
    check "unknown target" "" "$(usns none)"
    check "ssdp:all" \
        "$(printf '%s\n' $udn $udn::$registrar $udn::$device $udn::$manager \
            $udn::$directory $udn::$root | LC_ALL=C sort)" "$(usns all)"
    check "location on the searcher's network" http://10.77.2.1:9000/QMSDeviceDescription.xml \
        "$(sed -n 's/^ *Location: *//p' elsewhere | sort -u)"
else
    echo "skipped: gssdp-tools is not installed"
fi

# --- qm-find ------------------------------------------------------------------

on near "$find" -t 2 >found
check "exit status of qm-find" 0 $?
banner='Linux/2.x.x, UPnP/1.0, qrConnect UPnP SDK/1.0, QuorelMedia UPnP SDK/1.1'
check "what qm-find prints" \
    "$(printf 'found\t%s\t%s\t%s\t%s' $udn $device \
        $url/QMSDeviceDescription.xml "$banner")" "$(cat found)"

stop
await "farewell" grep -q "^gone.$udn" watched
start server -nmcmode 0
returned() { [ "$(grep -c "^found.$udn" watched)" -eq 2 ]; }
await "return" returned
kill -INT $watcher
wait $watcher
check "exit status of a watching qm-find" 0 $?
stop
finish
